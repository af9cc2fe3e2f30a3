// Implements Session. The pool's callbacks are passed to the exchange that started the request,
// which is its token.
#include "update/session.h"

#include <algorithm>
#include <system_error>

#include "mtllib/char_string.h"
#include "qutils/system_proxy.h"
#include "rules/address.h"
#include "rules/wildcard_match.h"
#include "update/connection_text.h"
#include "update/retries.h"
#include "update/system.h"

namespace mtlupdate {

namespace {

using Krell::Err;
using Krell::Networking::CallbackContext;
using Krell::Networking::ConnectionError;
using Krell::Networking::getKrellNetworkingContext;
using Krell::Networking::Headers;
using Krell::Networking::HttpClient;
using Krell::Networking::HttpClientPool;
using Krell::Networking::parseServerWithPort;
using Krell::Networking::ReqTokenGeneralType;
using Krell::Networking::Response;
using Krell::Networking::TransferProgress;
using mtlrules::AddressParts;
using QUtils::CharString;

constexpr std::uint32_t kReasonBits = 0xFFF;
constexpr int kHttpPort = 80;
constexpr int kHttpsPort = 443;

struct Server {
  std::string host;
  int port = -1;
};

Server serverFrom(std::string_view text, int usualPort) {
  Server server{{}, usualPort};
  if (text.empty()) return server;
  CharString host;
  parseServerWithPort(text.data(), text.data() + text.size(), host, server.port);
  server.host = host.text();
  return server;
}

Failure usage(std::string text, const std::string& about) {
  return {Failure::Kind::kUsage, std::move(text), about};
}

Failure outOfResources() {
  return {Failure::Kind::kMemory, "there is not enough memory, or no further thread to be had"};
}

// The proxy of the user's settings for the host; "" for none.
std::string systemProxy(const std::string& host, bool isHttps) {
  QUtils::SystemProxySettings settings;
  if (QUtils::readSystemProxySettings(settings, false) || settings.enabled == 0) return {};
  const bool isBypassed = std::any_of(
      settings.bypassList.begin(), settings.bypassList.end(), [&](const CharString& pattern) {
        return mtlrules::wildcardMatch(pattern.text(), host.c_str(), 0) != 0;
      });
  if (isBypassed) return {};
  return (isHttps ? settings.httpsProxy : settings.httpProxy).text();
}

Outcome chooseProxy(const SessionOptions& options, const std::string& host, bool isHttps,
                    Server& proxy) {
  const std::string text = options.proxy ? *options.proxy : systemProxy(host, isHttps);
  const AddressParts parts = mtlrules::splitAddress(text);
  const bool isUsable =
      parts.scheme == AddressParts::Scheme::kHttp && (parts.path.empty() || parts.path == "/");
  if (isUsable) {
    proxy = serverFrom(parts.server, kHttpPort);
    return {};
  }
  // A setting that is meant for other programs is as good as none.
  if (!options.proxy) return {};
  return usage("the proxy's address is not of the form HOST:PORT", text);
}

ReqTokenGeneralType* tokenOf(Exchange& exchange) {
  return reinterpret_cast<ReqTokenGeneralType*>(&exchange);
}
Exchange& exchangeOf(ReqTokenGeneralType* token) {
  return *reinterpret_cast<Exchange*>(token);
}

void onField(CallbackContext* /*context*/, ReqTokenGeneralType* token, const char* name,
             const char* value) {
  exchangeOf(token).onField(name, value);
}

HttpClient::Room onRoom(CallbackContext* /*context*/, ReqTokenGeneralType* token) {
  return exchangeOf(token).room();
}

void onStatus(CallbackContext* /*context*/, ReqTokenGeneralType* token,
              const std::uint32_t* status) {
  exchangeOf(token).onStatus(static_cast<int>(*status));
}

void onData(CallbackContext* /*context*/, ReqTokenGeneralType* token, TransferProgress* progress,
            Response* response) {
  const Response::Bytes bytes = response->takeBytes();
  if (!exchangeOf(token).onBytes(std::string_view(bytes.data, bytes.size))) progress->abort = 1;
}

void onError(CallbackContext* /*context*/, const ConnectionError* error,
             ReqTokenGeneralType* token) {
  exchangeOf(token).onFailure(*error);
}

// The pool keeps its clients in a row.
void onComplete(CallbackContext* context, ReqTokenGeneralType* token) {
  auto& pool = *static_cast<HttpClientPool*>(context->userPointer);
  exchangeOf(token).onEnd(static_cast<int>(context->client - &pool.client(0)));
}

void setField(Headers& headers, const char* name, const std::string& value) {
  headers.internalSet(name, Headers::kZeroTerminated, value.c_str(), static_cast<int>(value.size()),
                      1, nullptr);
}

std::string textOf(const ErrorChain& chain) {
  return chain ? chain.head->message : "";
}

}  // namespace

Outcome Session::Context::start() {
  CharString error;
  started_ = state_.initializeDefault("mtlupdate", error);
  if (started_ != 0) return {};
  return Failure{Failure::Kind::kMemory, error.text()};
}

Outcome Session::open(const SessionOptions& options, std::unique_ptr<Session>& session) {
  std::unique_ptr<Session> opened(new Session);
  if (Outcome failure = opened->configure(options)) return failure;
  session = std::move(opened);
  return {};
}

Session::~Session() {
  pool_.destroy();
}

Outcome Session::configure(const SessionOptions& options) {
  const std::string address = mtlrules::withoutTrailingSlashes(options.address);
  const AddressParts parts = mtlrules::splitAddress(address);
  const bool isHttps = parts.scheme == AddressParts::Scheme::kHttps;
  const Server server = serverFrom(parts.server, isHttps ? kHttpsPort : kHttpPort);
  if (parts.scheme == AddressParts::Scheme::kOther || server.host.empty()) {
    return usage("not an address of http or https", options.address);
  }
  server_ = (isHttps ? "https://" : "http://") + std::string(parts.server);
  path_ = parts.path;
  Server proxy;
  if (Outcome failure = chooseProxy(options, server.host, isHttps, proxy)) return failure;
  if (!proxy.host.empty()) proxy_ = proxy.host + ':' + std::to_string(proxy.port);
  if (Outcome failure = context_.start()) return failure;

  Err err;
  connectionCount_ = options.connections;
  if (pool_.initialize(connectionCount_) == 0) return outOfResources();
  pool_.setMode(err, HttpClientPool::kBackground);
  pool_.setServer(err, server.host.c_str(), server.port, nullptr);
  if (isHttps) pool_.setSSLContext(err, getKrellNetworkingContext()->clientSsl);
  pool_.setProxyServer(err, proxy.host.empty() ? nullptr : proxy.host.c_str(), proxy.port);
  pool_.setCallbacks(
      err, {HttpClient::kSerialized, nullptr, onStatus, onData, onError, nullptr, nullptr}, &pool_);
  pool_.setCompletionCallback(err, onComplete);
  pool_.setFieldCallback(err, onField);
  pool_.setRoomCallback(err, onRoom);
  pool_.setRateLimit(err, options.bytesPerSecond);
  Headers headers;
  setField(headers, "User-Agent", options.userAgent);
  pool_.setHeaders(err, headers, 0);
  if (err.chain) return usage(textOf(err.chain), options.address);
  return {};
}

std::string Session::fileTarget(std::string_view relative) const {
  return mtlrules::urlPath(path_, relative);
}

std::string Session::listTarget(std::string_view subPath, std::string_view name) const {
  return mtlrules::listUrlPath(path_, subPath, name);
}

Outcome Session::start(int connection, const Request& request, Exchange& exchange) {
  const std::string target(request.target);
  Headers fields;
  if (request.pastCaches) {
    setField(fields, "Cache-Control", "no-cache");
    setField(fields, "Pragma", "no-cache");
  }
  if (!request.ifRange.empty()) setField(fields, "If-Range", std::string(request.ifRange));
  HttpClient::RequestOptions options;
  options.path = target.c_str();
  options.token = tokenOf(exchange);
  if (request.headOnly) options.method = HttpClient::kHead;
  if (request.firstByte > 0) options.firstByte = static_cast<std::int64_t>(request.firstByte);
  options.fields = &fields;
  options.mostBodyBytes = request.mostBytes;
  Err err;
  // Targets are well-formed, and the connection is idle.
  if (pool_.client(connection).request(err, options) != 0) return {};
  return outOfResources();
}

void Session::waitUntilIdle(int connection) {
  pool_.client(connection).waitForRequestCompletion(nullptr);
}

Failure failureOf(const ConnectionError& error) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  const std::uint32_t reason = error.code & kReasonBits;
  Failure failure{
      Failure::Kind::kNetwork, connectionReasonText(reason), {}, isTransientReason(reason), reason};
  if (reason == CONNECTION_ERROR_MEMORY) failure.kind = Failure::Kind::kMemory;
  if ((error.code & CONNECTION_ERROR_RULE_NUMBER) != 0) {
    failure.text.append(": ").append(brokenRuleText(error.underlying));
  } else if ((error.code & CONNECTION_ERROR_SYSTEM_NUMBER) != 0) {
    failure.text.append(": ").append(systemText({error.underlying, std::system_category()}));
  }
  return failure;
}

}  // namespace mtlupdate
