// How every transfer of the programs is set up: as guarded as those of the plug-in.
#ifndef MTLLIB_TOOLS_LIBRARY_LIST_TRANSFER_SETUP_H_
#define MTLLIB_TOOLS_LIBRARY_LIST_TRANSFER_SETUP_H_

#include <curl/curl.h>

#include <memory>
#include <string>

#include "library_list/list_fetch.h"

namespace library_list {

constexpr long kStatusOk = 200;

/// libcurl's state of the process, which is counted.
struct CurlState {
  CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
  CurlState() = default;
  ~CurlState() {
    if (code == CURLE_OK) curl_global_cleanup();
  }
  CurlState(const CurlState&) = delete;
  CurlState& operator=(const CurlState&) = delete;
};

using EasyHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

inline EasyHandle makeEasyHandle() {
  return {curl_easy_init(), &curl_easy_cleanup};
}

/// Sets options until the first one that fails.
class Setter {
 public:
  explicit Setter(CURL* easy) : easy_(easy) {}

  template <typename Value>
  void operator()(CURLoption option, Value value) {
    note(curl_easy_setopt(easy_, option, value));
  }

  /// For what is worth having but not known to every build of libcurl.
  void ifKnown(CURLoption option, const char* value) {
    const CURLcode code = curl_easy_setopt(easy_, option, value);
    if (code != CURLE_NOT_BUILT_IN) note(code);
  }

  CURLcode code() const { return code_; }

 private:
  void note(CURLcode code) {
    if (code_ == CURLE_OK) code_ = code;
  }

  CURL* easy_;
  CURLcode code_ = CURLE_OK;
};

/// What goes for every transfer of `request`, whatever its URL and its body's use.
void setUp(Setter& set, const FetchRequest& request);

std::string tooLargeText(std::int64_t largestSize);
std::string statusText(long status);

}  // namespace library_list

#endif  // MTLLIB_TOOLS_LIBRARY_LIST_TRANSFER_SETUP_H_
