// Fetching the list of a library.
#ifndef MTLLIB_TOOLS_LIBRARY_LIST_LIST_FETCH_H_
#define MTLLIB_TOOLS_LIBRARY_LIST_LIST_FETCH_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace library_list {

/// The certificates of trusted authorities; an empty name means the system's own.
struct TrustStore {
  std::string file;
  std::string directory;
};

/// What the variables CURL_CA_BUNDLE, SSL_CERT_DIR and SSL_CERT_FILE ask for.
/// `variable` gives the value of a variable in UTF-8, "" when there is none.
TrustStore trustStoreOf(const std::function<std::string(const char* name)>& variable);

struct FetchRequest {
  std::string url;
  std::string userAgent;
  /// "HOST:PORT"; "" for none. When not set, it is what the environment says.
  std::optional<std::string> proxy;
  TrustStore trust;
  std::int64_t largestSize = 1073741824;  ///< 1 GiB, beyond which clients read no list.
  /// How long a connection may take to be made, TLS and proxy included.
  std::chrono::milliseconds connectLimit{30000};
  /// How long no byte may arrive.
  std::chrono::seconds stallLimit{60};
  /// Asked again and again, with the bytes so far, whether to stop.
  std::function<bool(std::int64_t)> stop;
};

struct FetchResult {
  enum class Outcome { kFetched, kStopped, kFailed };
  Outcome outcome = Outcome::kFailed;
  std::string text;
  std::string problem;  ///< Why it failed, in words.
};

/// Gets the URL, of http or https, with certificates verified and no redirect followed.
FetchResult fetchList(const FetchRequest& request);

}  // namespace library_list

#endif  // MTLLIB_TOOLS_LIBRARY_LIST_LIST_FETCH_H_
