// A PublishedLibrary is a library on a test's server: files, the list with their digests, and the
// stamp.
#ifndef MTLLIB_TESTS_SUPPORT_PUBLISHED_LIBRARY_H_
#define MTLLIB_TESTS_SUPPORT_PUBLISHED_LIBRARY_H_

#include <map>
#include <string>

#include "support/scripted_server.h"
#include "update/sha256.h"

class PublishedLibrary {
 public:
  using Files = std::map<std::string, std::string>;

  /// At `path` of the server, which must live longer.
  PublishedLibrary(ScriptedServer& server, std::string path)
      : server_(server), path_(std::move(path)) {}

  /// As it is published.
  const std::string& list() const { return list_; }
  std::string address() const { return server_.address() + path_; }

  /// Publishes these files, and nothing else, under the stamp.
  void publish(const std::string& stamp, const Files& files, bool hasDigests = true) {
    for (const auto& [name, content] : files_)
      server_.remove(path_ + "/" + name);
    files_ = files;
    list_ = "[";
    for (const auto& [name, content] : files) {
      server_.serve(path_ + "/" + name, content);
      mtlupdate::Sha256 sha256;
      sha256.update(content);
      list_ += (list_.size() > 1 ? ",{\"path\":\"" : "{\"path\":\"") + name +
               "\",\"size\":" + std::to_string(content.size());
      if (hasDigests) list_ += ",\"sha256\":\"" + mtlupdate::hexText(sha256.finish()) + "\"";
      list_ += "}";
    }
    list_ += "]\n";
    server_.serve(path_ + "/filelist.json", list_);
    server_.serve(path_ + "/id.txt", stamp);
    server_.forgetRequests();
  }

 private:
  ScriptedServer& server_;
  const std::string path_;
  Files files_;
  std::string list_;
};

#endif  // MTLLIB_TESTS_SUPPORT_PUBLISHED_LIBRARY_H_
