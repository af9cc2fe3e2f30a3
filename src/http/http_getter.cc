// Creates and destroys the getter: turns the remote address into a configured pool of clients.
#include "http/http_getter.h"

#include <memory>
#include <new>

#include "http/address.h"
#include "http/proxy_choice.h"
#include "mtllib/allocation.h"
#include "plugin/error_chain.h"

using Krell::Networking::getKrellNetworkingContext;
using Krell::Networking::Headers;
using Krell::Networking::HttpClient;
using Krell::Networking::HttpClientPool;
using QUtils::CharString;

namespace {

constexpr const char* kInitTag = "DownloaderImpl::initHttpGetter";
constexpr const char* kUserAgent = "mtldownloader";

int defaultPort(Address::Kind kind) {
  return kind == Address::kHttps ? 443 : 80;
}

const char* textOrNull(const CharString& text) {
  return text.empty() ? nullptr : text.text();
}

// Every call is made whatever the others return; `chain` has the result.
void configurePool(HttpGetter& getter, const Address& server, const CharString& proxyHost,
                   int proxyPort, ErrorChain& chain) {
  HttpClientPool& pool = getter.pool;
  Krell::Err err;
  pool.setMode(err, HttpClientPool::kBackground);
  pool.setServer(err, server.host.text(), server.port, nullptr);
  if (server.kind == Address::kHttps) {
    pool.setSSLContext(err, getKrellNetworkingContext()->clientSsl);
  }
  pool.setProxyServer(err, textOrNull(proxyHost), proxyPort);
  pool.setCallbacks(err, getter.callbacks, &getter);
  Headers headers;
  headers.internalSet("User-Agent", Headers::kStaticText, kUserAgent, Headers::kZeroTerminated, 1,
                      nullptr);
  pool.setHeaders(err, headers, 0);
  if (err.chain) chain = err.chain;
}

}  // namespace

HttpGetter::HttpGetter(HostCallback* hostCallback)
    : requestSlots{},
      callback(hostCallback),
      totalBytes(0),
      receivedBytes(0),
      lastPermille(0),
      lastMegabytes(0),
      callbacks{HttpClient::kSerialized, responseSentCb, responseStatusCb, responseProgressCb,
                responseErrorCb,         nullptr,        nullptr} {}

void destroyHttpGetter(HttpGetter* getter, bool freeMemory) {
  getter->pool.destroy();
  getter->~HttpGetter();
  if (freeMemory) QUtils::qfree(getter);
}

HttpGetter* makeHttpGetter(DownloaderSettings& settings, HostCallback& callback,
                           CharString& remotePath) {
  void* block = QUtils::qmalloc(sizeof(HttpGetter));
  if (block == nullptr) {
    ErrorChain chain = makeError(kInitTag, -1, "Out of memory");
    callback.reportError(&chain);
    return nullptr;
  }
  // Handed out only when complete: the next run would take it for a working getter.
  const auto destroy = [](HttpGetter* getter) { destroyHttpGetter(getter, true); };
  std::unique_ptr<HttpGetter, decltype(destroy)> getter(new (block) HttpGetter(&callback), destroy);
  getter->pool.initialize(kHttpClientCount);

  ErrorChain chain;
  Address server = splitAddress(settings.remoteAddress.text());
  if (!server.path.empty()) remotePath = server.path;
  if (server.kind == Address::kUnknown) {
    pushError(chain, kInitTag, -1, "Unkown addressing scheme");
  } else {
    if (server.port < 0) server.port = defaultPort(server.kind);
    CharString proxyHost;
    int proxyPort = 80;
    getHttpProxyForAddr(settings, callback, server.host.text(), proxyHost, proxyPort);
    configurePool(*getter, server, proxyHost, proxyPort, chain);
  }
  if (!chain) return getter.release();

  pushError(chain, kInitTag, -1, "Could not use download URL \"%s\"",
            settings.remoteAddress.text());
  callback.reportError(&chain);
  return nullptr;
}
