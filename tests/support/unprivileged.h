// File permissions that hold for tests run by root too.
#ifndef MTLLIB_TESTS_SUPPORT_UNPRIVILEGED_H_
#define MTLLIB_TESTS_SUPPORT_UNPRIVILEGED_H_

#include <unistd.h>

/// While it lives, root's rights are put aside: the files of the test's directories can
/// be read as their permissions say, and not written. Does nothing for other users.
class Unprivileged {
 public:
  // Both identities: a program that is started with two different ones is in secure mode,
  // where a sanitizer does not obey the environment.
  Unprivileged() : changed_(geteuid() == 0 && setresuid(kNobody, kNobody, 0) == 0) {}
  ~Unprivileged() {
    if (changed_ && setresuid(0, 0, 0) != 0) _exit(1);
  }
  Unprivileged(const Unprivileged&) = delete;
  Unprivileged& operator=(const Unprivileged&) = delete;

 private:
  static constexpr uid_t kNobody = 65534;
  bool changed_;
};

#endif  // MTLLIB_TESTS_SUPPORT_UNPRIVILEGED_H_
