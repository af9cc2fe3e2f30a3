// Implements Session. The pool's callbacks are passed to the exchange that started the request,
// which is its token.
#include "update/session.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

#include "mtllib/char_string.h"
#include "qutils/system_proxy.h"
#include "rules/address.h"
#include "rules/ascii.h"
#include "rules/wildcard_match.h"
#include "update/connection_text.h"
#include "update/retries.h"
#include "update/system.h"

namespace mtlupdate {

namespace {

using Krell::Err;
using Krell::Networking::CallbackContext;
using Krell::Networking::CertificateProblem;
using Krell::Networking::ConnectionError;
using Krell::Networking::FailureDetail;
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

// Whether it can be connected to, as far as its form shows.
bool isServer(const Server& server) {
  constexpr int kHighestPort = 65535;
  return !server.host.empty() && server.host.find_first_of("@/?# ") == server.host.npos &&
         server.port >= 1 && server.port <= kHighestPort;
}

Failure usage(std::string text, const std::string& about) {
  return {Failure::Kind::kUsage, std::move(text), about};
}

Failure outOfResources() {
  return {Failure::Kind::kMemory, "there is not enough memory, or no more threads are available"};
}

Failure usage(std::string text, const std::string& about, Failure::Cause cause) {
  Failure failure = usage(std::move(text), mtlrules::withoutUserName(about));
  failure.cause = cause;
  return failure;
}

// What "%40" and the like stand for.
std::string percentDecoded(std::string_view text) {
  std::string decoded;
  while (!text.empty()) {
    unsigned byte = 0;
    const bool isCode =
        text.front() == '%' && text.size() >= 3 &&
        std::from_chars(text.data() + 1, text.data() + 3, byte, 16).ptr == text.data() + 3;
    decoded += isCode ? static_cast<char>(byte) : text.front();
    text.remove_prefix(isCode ? 3 : 1);
  }
  return decoded;
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

Outcome chooseProxy(const SessionOptions& options, bool isHttps, Proxy& proxy) {
  Outcome failure = options.proxy ? parseProxy(*options.proxy, proxy)
                                  : findSystemProxy(options.address, isHttps, proxy);
  if (!options.proxyUser.empty()) {
    proxy.user = options.proxyUser;
    proxy.password = options.proxyPassword;
  }
  return failure;
}

// What a URL's query may have in it.
bool isQuery(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 0x20 && byte < 0x7F && c != '#';
  });
}

// What the networking library says itself, or what would change how an answer is read.
bool isOwnField(const std::string& name) {
  constexpr std::array<std::string_view, 10> kOwn{
      "host",  "connection", "content-length", "transfer-encoding",   "accept-encoding",
      "range", "if-range",   "user-agent",     "proxy-authorization", "upgrade"};
  return std::any_of(kOwn.begin(), kOwn.end(),
                     [&](std::string_view own) { return mtlrules::equalsIgnoringCase(name, own); });
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

void onError(CallbackContext* context, const ConnectionError* error, ReqTokenGeneralType* token) {
  exchangeOf(token).onFailure(*error, context->client->failureDetail());
}

// The pool keeps its clients in a row.
void onComplete(CallbackContext* context, ReqTokenGeneralType* token) {
  auto& pool = *static_cast<HttpClientPool*>(context->userPointer);
  exchangeOf(token).onEnd(static_cast<int>(context->client - &pool.client(0)));
}

bool setField(Headers& headers, const char* name, const std::string& value) {
  return headers.internalSet(name, Headers::kZeroTerminated, value.c_str(),
                             static_cast<int>(value.size()), 1, nullptr) != 0;
}

std::string textOf(const ErrorChain& chain) {
  return chain ? chain.head->message : "";
}

}  // namespace

std::string Proxy::text() const {
  const bool isIpv6 = host.find(':') != host.npos;
  return host.empty() ? "" : (isIpv6 ? '[' + host + ']' : host) + ':' + std::to_string(port);
}

Outcome parseProxy(const std::string& address, Proxy& proxy) {
  proxy = {};
  if (address.empty()) return {};
  const AddressParts parts = mtlrules::splitAddress(address);
  std::string_view text = parts.server;
  if (const std::size_t at = text.rfind('@'); at != text.npos) {
    const std::string_view user = text.substr(0, at);
    const std::size_t colon = std::min(user.find(':'), user.size());
    proxy.user = percentDecoded(user.substr(0, colon));
    proxy.password = percentDecoded(user.substr(std::min(colon + 1, user.size())));
    text.remove_prefix(at + 1);
  }
  Server server = serverFrom(text, kHttpPort);
  const bool isPlain = parts.path.empty() || parts.path == "/";
  if (parts.scheme == AddressParts::Scheme::kHttp && isPlain && isServer(server)) {
    proxy.host = std::move(server.host);
    proxy.port = server.port;
    return {};
  }
  proxy = {};
  return usage("the proxy's address is not of the form HOST:PORT", address,
               Failure::Cause::kProxySetting);
}

Outcome findSystemProxy(const std::string& address, bool isHttps, Proxy& proxy) {
  const Server server = serverFrom(mtlrules::splitAddress(address).server, 0);
  std::string found = systemProxy(server.host, isHttps);
  // A scheme of its own stands behind the one that all have.
  constexpr std::string_view kScheme = "http://";
  if (found.find("://", kScheme.size()) != found.npos) found.erase(0, kScheme.size());
  return parseProxy(found, proxy);
}

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
  const auto refuse = [&](const char* text) {
    return usage(text, options.address, Failure::Cause::kAddress);
  };
  if (mtlrules::hasUserName(address)) return refuse("the address has a user name");
  if (parts.scheme == AddressParts::Scheme::kOther || !isServer(server)) {
    return refuse("not an address of http or https");
  }
  if (!options.fields.empty() && !isHttps) {
    return usage("request fields are only sent over https", options.address,
                 Failure::Cause::kNotHttps);
  }
  if (!isQuery(options.query))
    return usage("the query has characters that are not allowed in a URL", "");
  if (!options.query.empty()) query_ = '?' + options.query;
  server_ = (isHttps ? "https://" : "http://") + std::string(parts.server);
  path_ = parts.path;
  Proxy proxy;
  if (Outcome failure = chooseProxy(options, isHttps, proxy)) return failure;
  proxy_ = proxy.text();
  if (Outcome failure = context_.start()) return failure;

  connectionCount_ = options.connections;
  if (pool_.initialize(connectionCount_) == 0) return outOfResources();
  Err err;
  pool_.setServer(err, server.host.c_str(), server.port, nullptr);
  if (err.chain) return usage(textOf(err.chain), options.address, Failure::Cause::kAddress);
  if (isHttps) {
    pool_.setSSLContext(err, getKrellNetworkingContext()->clientSsl);
    if (!options.caFile.empty()) pool_.setTrustedAuthorities(err, options.caFile.c_str());
  }
  if (Outcome failure = useProxy(proxy)) return failure;
  return configurePool(options);
}

Outcome Session::useProxy(const Proxy& proxy) {
  Err err;
  pool_.setProxyServer(err, proxy.host.empty() ? nullptr : proxy.host.c_str(), proxy.port);
  pool_.setProxyCredentials(err, proxy.user.c_str(), proxy.password.c_str());
  if (!err.chain) return {};
  return usage(textOf(err.chain), proxy_, Failure::Cause::kProxySetting);
}

// What does not depend on the address.
Outcome Session::configurePool(const SessionOptions& options) {
  Err err;
  pool_.setMode(err, HttpClientPool::kBackground);
  pool_.setTimeLimits(err, options.connectMilliseconds, options.stallSeconds);
  pool_.setCallbacks(
      err, {HttpClient::kSerialized, nullptr, onStatus, onData, onError, nullptr, nullptr}, &pool_);
  pool_.setCompletionCallback(err, onComplete);
  pool_.setFieldCallback(err, onField);
  pool_.setRoomCallback(err, onRoom);
  pool_.setRateLimit(err, options.bytesPerSecond);
  if (err.chain) return usage(textOf(err.chain), "");
  return setFields(options);
}

// No value is shown: it may be a secret.
Outcome Session::setFields(const SessionOptions& options) {
  Err err;
  Headers headers;
  if (!setField(headers, "User-Agent", options.userAgent)) {
    return usage("is not the name of a program", options.userAgent);
  }
  for (const auto& [name, value] : options.fields) {
    if (isOwnField(name) || !setField(headers, name.c_str(), value)) {
      return usage("is not a request field that can be set", name);
    }
  }
  pool_.setHeaders(err, headers, 0);
  if (err.chain) return usage(textOf(err.chain), "");
  return {};
}

std::string Session::fileTarget(std::string_view relative) const {
  return mtlrules::urlPath(path_, relative);
}

std::string Session::listTarget(std::string_view subPath, std::string_view name) const {
  return mtlrules::listUrlPath(path_, subPath, name);
}

Outcome Session::start(int connection, const Request& request, Exchange& exchange) {
  const std::string target = std::string(request.target) + query_;
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

namespace {

Failure::Cause causeOf(CertificateProblem problem) {
  switch (problem) {
    case CertificateProblem::kUnknownAuthority:
      return Failure::Cause::kUnknownAuthority;
    case CertificateProblem::kNotValidNow:
      return Failure::Cause::kCertificateNotNow;
    case CertificateProblem::kOtherName:
      return Failure::Cause::kOtherName;
    case CertificateProblem::kNoAuthorities:
      return Failure::Cause::kNoAuthorities;
    case CertificateProblem::kUnknown:
      break;
  }
  return Failure::Cause::kUnknown;
}

Failure::Cause causeOf(std::uint32_t reason, const FailureDetail& detail) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  constexpr int kProxyAuthenticationRequired = 407;
  if (reason == CONNECTION_ERROR_TIMEOUT) {
    return detail.wasConnected ? Failure::Cause::kStalled : Failure::Cause::kNotConnected;
  }
  if (reason == CONNECTION_ERROR_PROXY && detail.proxyStatus != 0) {
    return detail.proxyStatus == kProxyAuthenticationRequired ? Failure::Cause::kProxyPassword
                                                              : Failure::Cause::kProxyRefused;
  }
  return causeOf(detail.certificate);
}

}  // namespace

Failure failureOf(const ConnectionError& error, const FailureDetail& detail) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  const std::uint32_t reason = error.code & kReasonBits;
  const Failure::Cause cause = causeOf(reason, detail);
  std::string text = connectionCauseText(cause);
  if (text.empty()) text = connectionReasonText(reason);
  constexpr int kNoSuchProxy = 5;  // Of libcurl.
  const bool hasSystemNumber = (error.code & CONNECTION_ERROR_SYSTEM_NUMBER) != 0;
  if (reason == CONNECTION_ERROR_PROXY && (hasSystemNumber || error.underlying == kNoSuchProxy)) {
    text = "the proxy could not be reached";
  }
  const bool isTransient = isTransientReason(reason) && cause != Failure::Cause::kProxyPassword;
  Failure failure{Failure::Kind::kNetwork, text, {}, isTransient, reason};
  if (reason == CONNECTION_ERROR_MEMORY) failure.kind = Failure::Kind::kMemory;
  failure.cause = cause;
  if ((error.code & CONNECTION_ERROR_RULE_NUMBER) != 0) {
    failure.text.append(": ").append(brokenRuleText(error.underlying));
  } else if ((error.code & CONNECTION_ERROR_SYSTEM_NUMBER) != 0) {
    failure.text.append(": ").append(systemText({error.underlying, std::system_category()}));
  }
  return failure;
}

}  // namespace mtlupdate
