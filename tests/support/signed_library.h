// A SignedLibrary is a library on a test's server, signed with a key of the test's own.
#ifndef MTLLIB_TESTS_SUPPORT_SIGNED_LIBRARY_H_
#define MTLLIB_TESTS_SUPPORT_SIGNED_LIBRARY_H_

#include <string>
#include <utility>

#include "signing/release_comment.h"
#include "signing/secret_key.h"
#include "signing/signature.h"
#include "support/published_library.h"

class SignedLibrary {
 public:
  using Files = PublishedLibrary::Files;

  /// In seconds since 1970: of the first release, which is the serial of it, too.
  static constexpr std::int64_t kFirstTime = 1700000000;

  /// At `path` of the server, which must live longer.
  SignedLibrary(ScriptedServer& server, std::string path)
      : server_(server), path_(path), library_(server, std::move(path)) {
    release.library = "oak";
    release.serial = kFirstTime - 1;
    release.published = kFirstTime - 1;
  }

  std::string publicKey() const { return mtlsigning::publicKeyText(key.publicKey()); }
  std::string address() const { return library_.address(); }
  const std::string& list() const { return library_.list(); }
  const std::string& stamp() const { return stamp_; }

  /// Publishes these files, and nothing else, as the next release.
  void publish(const Files& files, bool hasDigests = true) {
    ++release.serial;
    ++release.published;
    library_.publish("", files, hasDigests);
    serveStamp(signedStamp(list()));
  }

  /// The stamp of such a list in this release.
  std::string signedStamp(const std::string& list) {
    release.list.size = list.size();
    return mtlsigning::signatureFile(key.sign(list, mtlsigning::commentText(release)));
  }

  /// Has the server answer with these, whoever signed them.
  void serveStamp(const std::string& stamp) {
    stamp_ = stamp;
    server_.serve(path_ + "/id.txt", stamp);
    server_.forgetRequests();
  }
  void serveList(const std::string& list) { server_.serve(path_ + "/filelist.json", list); }

  mtlsigning::SecretKey key = *mtlsigning::SecretKey::generate();
  mtlsigning::Release release{};  ///< The one that was published last.

 private:
  ScriptedServer& server_;
  const std::string path_;
  PublishedLibrary library_;
  std::string stamp_;
};

#endif  // MTLLIB_TESTS_SUPPORT_SIGNED_LIBRARY_H_
