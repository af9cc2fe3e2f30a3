// Runs code in a forked process, for tests of what that may do with objects of its parent.
#ifndef MTLLIB_TESTS_SUPPORT_FORKED_H_
#define MTLLIB_TESTS_SUPPORT_FORKED_H_

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

/// Runs `body()` in a forked process; the text that it returns. A process that hangs is ended,
/// and fails the test.
template <typename Body>
std::string textFromFork(Body body) {
  constexpr unsigned kSeconds = 30;
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  const pid_t child = fork();
  if (child == 0) {
    alarm(kSeconds);
    const std::string text = body();
    _exit(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::string text;
  char buffer[512];
  for (ssize_t count; (count = read(ends[0], buffer, sizeof(buffer))) > 0;)
    text.append(buffer, static_cast<std::size_t>(count));
  close(ends[0]);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "signal or exit status of the forked process";
  return text;
}

#endif  // MTLLIB_TESTS_SUPPORT_FORKED_H_
