// The exported functions of the pool and its clients, which pass their work on to TransferEngine.
#include "net/http_client.h"

#include <new>
#include <utility>

#include "plugin/error_chain.h"
#include "server_address.h"
#include "transfer_engine.h"

namespace Krell {
namespace Networking {

krbool HttpClient::request(Err& err, const char* path, unsigned method, ReqTokenGeneralType* token,
                           Buffer* body, ReqIDGeneralType** id) {
  if (method != kGet || body != nullptr || id != nullptr) {
    setError(err.chain, "HttpClient::request", -1, "Unsupported kind of request");
    return 0;
  }
  return engine_->start(index_, path, token, err.chain) ? 1 : 0;
}

krbool HttpClient::request(Err& err, const RequestOptions& options) {
  const bool badRange = options.firstByte < 0
                            ? options.lastByte >= 0
                            : options.lastByte >= 0 && options.lastByte < options.firstByte;
  if ((options.method != kGet && options.method != kHead) || badRange) {
    setError(err.chain, "HttpClient::request", -1, "Unsupported kind of request");
    return 0;
  }
  return engine_->start(index_, options, err.chain) ? 1 : 0;
}

krbool HttpClient::waitForRequestCompletion(ReqIDGeneralType* id) {
  if (id != nullptr) return 0;
  engine_->waitFinished(index_);
  return 1;
}

FailureDetail HttpClient::failureDetail() const {
  return engine_->failureDetail(index_);
}

TransferEngine* HttpClientPool::engine(Err& err, const char* tag) const {
  if (clients_ != nullptr) return clients_->engine_;
  if (!err.chain) setError(err.chain, tag, -1, "The pool is not initialized");
  return nullptr;
}

krbool HttpClientPool::initialize(int clientCount) {
  if (clients_ != nullptr || clientCount < 1) return 0;
  clients_ = new (std::nothrow) HttpClient[static_cast<std::size_t>(clientCount)];
  if (clients_ == nullptr) return 0;
  TransferEngine* shared = nullptr;
  try {
    shared = new TransferEngine(clients_, clientCount);
  } catch (const std::bad_alloc&) {
    delete[] std::exchange(clients_, nullptr);
    return 0;
  }
  clientCount_ = clientCount;
  for (int index = 0; index < clientCount; ++index) {
    clients_[index].engine_ = shared;
    clients_[index].index_ = index;
  }
  return 1;
}

krbool HttpClientPool::setMode(Err& err, unsigned mode) {
  constexpr const char* kTag = "HttpClientPool::setMode";
  if (engine(err, kTag) == nullptr) return 0;
  if (mode != kBackground) {
    pushError(err.chain, kTag, -1, "Unsupported mode %u", mode);
    return 0;
  }
  if (getKrellNetworkingContext()->clientSsl == nullptr) {
    pushError(err.chain, kTag, -1, "The networking context is not initialized");
    return 0;
  }
  mode_ = static_cast<std::int32_t>(mode);
  return 1;
}

krbool HttpClientPool::setServer(Err& err, const char* host, int port, IP* bindTo) {
  constexpr const char* kTag = "HttpClientPool::setServer";
  TransferEngine* to = engine(err, kTag);
  if (to == nullptr) return 0;
  if (bindTo != nullptr || !isHostName(host) || !isPort(port)) {
    pushError(err.chain, kTag, -1, "Invalid server \"%s\", port %d", host, port);
    return 0;
  }
  to->configuration().host = host;
  to->configuration().port = port;
  return 1;
}

krbool HttpClientPool::setSSLContext(Err& err, const ClientSSLConfiguration* configuration) {
  constexpr const char* kTag = "HttpClientPool::setSSLContext";
  TransferEngine* to = engine(err, kTag);
  if (to == nullptr) return 0;
  if (configuration == nullptr) {
    pushError(err.chain, kTag, -1, "No TLS configuration");
    return 0;
  }
  to->configuration().tls = true;
  to->configuration().ssl = *configuration;
  return 1;
}

krbool HttpClientPool::setTrustedAuthorities(Err& err, const char* file) {
  TransferEngine* to = engine(err, "HttpClientPool::setTrustedAuthorities");
  if (to == nullptr) return 0;
  to->configuration().ssl = {file, ""};
  return 1;
}

krbool HttpClientPool::setProxyServer(Err& err, const char* host, int port) {
  constexpr const char* kTag = "HttpClientPool::setProxyServer";
  TransferEngine* to = engine(err, kTag);
  if (to == nullptr) return 0;
  if (host == nullptr) {
    to->configuration().proxyHost.clear();
    return 1;
  }
  if (!isHostName(host) || !isPort(port)) {
    pushError(err.chain, kTag, -1, "Invalid proxy \"%s\", port %d", host, port);
    return 0;
  }
  to->configuration().proxyHost = host;
  to->configuration().proxyPort = port;
  return 1;
}

krbool HttpClientPool::setProxyCredentials(Err& err, const char* user, const char* password) {
  TransferEngine* to = engine(err, "HttpClientPool::setProxyCredentials");
  if (to == nullptr) return 0;
  to->configuration().proxyUser = user;
  to->configuration().proxyPassword = password;
  return 1;
}

krbool HttpClientPool::setTimeLimits(Err& err, int connectMilliseconds, int stallSeconds) {
  constexpr const char* kTag = "HttpClientPool::setTimeLimits";
  TransferEngine* to = engine(err, kTag);
  if (to == nullptr) return 0;
  if (connectMilliseconds < 0 || stallSeconds < 0) {
    pushError(err.chain, kTag, -1, "Invalid time limit");
    return 0;
  }
  TransferLimits& limits = to->configuration().limits;
  if (connectMilliseconds > 0) limits.connectMilliseconds = connectMilliseconds;
  if (stallSeconds > 0) limits.stallSeconds = stallSeconds;
  return 1;
}

krbool HttpClientPool::setCallbacks(Err& err, const HttpClient::Callbacks& callbacks,
                                    void* userPointer) {
  TransferEngine* to = engine(err, "HttpClientPool::setCallbacks");
  if (to == nullptr) return 0;
  to->configuration().callbacks = callbacks;
  to->configuration().userPointer = userPointer;
  return 1;
}

krbool HttpClientPool::setHeaders(Err& err, Headers& headers, krbool append) {
  TransferEngine* to = engine(err, "HttpClientPool::setHeaders");
  if (to == nullptr) return 0;
  auto& list = to->configuration().headers.list;
  if (append == 0) list.clear();
  list.insert(list.end(), headers.fields().list.begin(), headers.fields().list.end());
  return 1;
}

krbool HttpClientPool::setCompletionCallback(Err& err, HttpClient::CompletionCallback callback) {
  TransferEngine* to = engine(err, "HttpClientPool::setCompletionCallback");
  if (to == nullptr) return 0;
  to->configuration().onComplete = callback;
  return 1;
}

krbool HttpClientPool::setFieldCallback(Err& err, HttpClient::FieldCallback callback) {
  TransferEngine* to = engine(err, "HttpClientPool::setFieldCallback");
  if (to == nullptr) return 0;
  to->configuration().onField = callback;
  return 1;
}

krbool HttpClientPool::setRoomCallback(Err& err, HttpClient::RoomCallback callback) {
  TransferEngine* to = engine(err, "HttpClientPool::setRoomCallback");
  if (to == nullptr) return 0;
  to->configuration().onRoom = callback;
  return 1;
}

krbool HttpClientPool::setRateLimit(Err& err, long long bytesPerSecond) {
  constexpr const char* kTag = "HttpClientPool::setRateLimit";
  TransferEngine* to = engine(err, kTag);
  if (to == nullptr) return 0;
  if (bytesPerSecond < 0) {
    pushError(err.chain, kTag, -1, "Invalid rate");
    return 0;
  }
  to->configuration().bytesPerSecond = bytesPerSecond;
  return 1;
}

HttpClient* HttpClientPool::waitAvailable(int* index) {
  HttpClient* const clients = clients_;
  if (clients == nullptr) return nullptr;
  const int available = clients->engine_->waitAvailable();
  if (available < 0) return nullptr;
  if (index != nullptr) *index = available;
  return clients + available;
}

void HttpClientPool::destroy() {
  if (clients_ == nullptr) return;
  delete clients_->engine_;
  delete[] clients_;
  clients_ = nullptr;
  clientCount_ = 0;
}

}  // namespace Networking
}  // namespace Krell
