// Decides which proxy, if any, the pool connects through.
#ifndef MTLLIB_HTTP_PROXY_CHOICE_H_
#define MTLLIB_HTTP_PROXY_CHOICE_H_

#include "mtllib/char_string.h"
#include "mtllib/downloader_settings.h"
#include "mtllib/host_callback.h"

/// Decides whether to connect to `host` through a proxy; an empty proxy host means
/// directly. Every decision is logged.
void getHttpProxyForAddr(const DownloaderSettings& settings, HostCallback& callback,
                         const char* host, QUtils::CharString& proxyHost, int& proxyPort);

#endif  // MTLLIB_HTTP_PROXY_CHOICE_H_
