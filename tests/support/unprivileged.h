// Makes file permissions apply to tests that are run by root, too.
#ifndef MTLLIB_TESTS_SUPPORT_UNPRIVILEGED_H_
#define MTLLIB_TESTS_SUPPORT_UNPRIVILEGED_H_

#include <memory>

/// While it lives, root's calling thread, and what it starts, has no more rights than an
/// ordinary user in whose folder the test programs lie: they can be run, and the files of
/// the test's directories opened as their permissions say. Does nothing for other users.
class Unprivileged {
 public:
  Unprivileged();
  ~Unprivileged();
  Unprivileged(const Unprivileged&) = delete;
  Unprivileged& operator=(const Unprivileged&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

#endif  // MTLLIB_TESTS_SUPPORT_UNPRIVILEGED_H_
