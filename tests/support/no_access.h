// Makes files and folders inaccessible to the code under test.
#ifndef MTLLIB_TESTS_SUPPORT_NO_ACCESS_H_
#define MTLLIB_TESTS_SUPPORT_NO_ACCESS_H_

#include <filesystem>
#include <memory>
#include <vector>

/// While it lives, this process, be it root's, can neither read nor change nor replace what
/// the paths name: by permissions or, on Windows, because it is open and shared with nobody.
class NoAccess {
 public:
  explicit NoAccess(const std::vector<std::filesystem::path>& paths);
  ~NoAccess();
  NoAccess(const NoAccess&) = delete;
  NoAccess& operator=(const NoAccess&) = delete;

  /// The Win32 code with which creating the first of them anew, a file, is refused.
  unsigned code() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

#endif  // MTLLIB_TESTS_SUPPORT_NO_ACCESS_H_
