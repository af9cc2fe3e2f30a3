// What tests of the server need: a client, and the server with a library.
#ifndef MTLLIB_TESTS_TOOLS_MTLPUBLISH_SERVE_FIXTURE_H_
#define MTLLIB_TESTS_TOOLS_MTLPUBLISH_SERVE_FIXTURE_H_

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/temp_dir.h"

struct Answer {
  CURLcode result = CURLE_OK;
  long status = 0;
  std::string body;
  std::uint64_t size = 0;
  /// The length that the server announces; -1 when it does not.
  curl_off_t announced = -1;
  /// New connections that were made.
  long connects = 0;
  /// Names in lower case.
  std::map<std::string, std::string> headers;
};

/// Keeps one connection.
class Client {
 public:
  using Headers = std::vector<std::string>;

  Client() { curl_easy_setopt(curl_.get(), CURLOPT_PATH_AS_IS, 1L); }

  Answer get(const std::string& url, const Headers& headers = {}) {
    curl_easy_setopt(curl_.get(), CURLOPT_HTTPGET, 1L);
    return request(url, headers);
  }
  Answer head(const std::string& url, const Headers& headers = {}) {
    curl_easy_setopt(curl_.get(), CURLOPT_NOBODY, 1L);
    return request(url, headers);
  }
  /// With a target that no URL can have.
  Answer getTarget(const std::string& url, const char* target) {
    curl_easy_setopt(curl_.get(), CURLOPT_REQUEST_TARGET, target);
    Answer answer = get(url);
    curl_easy_setopt(curl_.get(), CURLOPT_REQUEST_TARGET, nullptr);
    return answer;
  }
  Answer post(const std::string& url, const char* body) {
    curl_easy_setopt(curl_.get(), CURLOPT_POSTFIELDS, body);
    return request(url, {});
  }

 private:
  static std::size_t receive(const char* data, std::size_t /*one*/, std::size_t count,
                             void* context) {
    auto* answer = static_cast<Answer*>(context);
    answer->size += count;
    if (answer->size < 1'000'000) answer->body.append(data, count);
    return count;
  }

  static std::size_t receiveHeader(const char* data, std::size_t /*one*/, std::size_t count,
                                   void* context) {
    const std::string line(data, count);
    const std::size_t colon = line.find(": ");
    if (colon == line.npos) return count;
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(), [](char c) {
      return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    });
    static_cast<Answer*>(context)->headers[name] = line.substr(colon + 2, count - colon - 4);
    return count;
  }

  Answer request(const std::string& url, const Headers& headers) {
    Answer answer;
    curl_slist* list = nullptr;
    for (const std::string& header : headers)
      list = curl_slist_append(list, header.c_str());
    curl_easy_setopt(curl_.get(), CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl_.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_.get(), CURLOPT_TIMEOUT, 60L);
    curl_easy_setopt(curl_.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl_.get(), CURLOPT_WRITEFUNCTION, &receive);
    curl_easy_setopt(curl_.get(), CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(curl_.get(), CURLOPT_HEADERFUNCTION, &receiveHeader);
    curl_easy_setopt(curl_.get(), CURLOPT_HEADERDATA, &answer);
    answer.result = curl_easy_perform(curl_.get());
    curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &answer.status);
    curl_easy_getinfo(curl_.get(), CURLINFO_NUM_CONNECTS, &answer.connects);
    curl_easy_getinfo(curl_.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &answer.announced);
    curl_easy_setopt(curl_.get(), CURLOPT_HTTPHEADER, nullptr);
    curl_slist_free_all(list);
    return answer;
  }

  struct Cleanup {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
  };
  std::unique_ptr<CURL, Cleanup> curl_{curl_easy_init()};
};

class Serve : public testing::Test {
 protected:
  Serve() {
    std::filesystem::create_directory(dir_.path() / "lib");
    add("filelist.json", "[]\n");
    add("id.txt", "1\n");
  }

  void add(const std::string& path, const std::string& content) {
    writeFile(dir_ / ("lib/" + path), content);
  }

  /// Starts the server; urls begin with what it prints.
  void start(const std::vector<std::string>& options = {"--quiet"}) {
    std::vector<std::string> arguments{MTLPUBLISH, "serve", dir_ / "lib"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    server_ = std::make_unique<ChildProcess>(arguments);
    const std::string line = server_->readLine();
    const std::string prefix = "Serving " + dir_ / "lib" + " at ";
    ASSERT_THAT(line, testing::StartsWith(prefix + "http://127.0.0.1:"));
    url_ = line.substr(prefix.size());
  }

  TempDir dir_;
  std::unique_ptr<ChildProcess> server_;
  std::string url_;
};

#endif  // MTLLIB_TESTS_TOOLS_MTLPUBLISH_SERVE_FIXTURE_H_
