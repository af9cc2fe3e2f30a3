// A Transcript records what happened in a test, line by line and in order: what was reported to
// the host, what was requested from the server, what is on disk.
#ifndef MTLLIB_TESTS_SUPPORT_TRANSCRIPT_H_
#define MTLLIB_TESTS_SUPPORT_TRANSCRIPT_H_

#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// May be written to by several threads at once.
class Transcript {
 public:
  using Action = std::function<void()>;

  /// Writes `name` where lines contain `text`, which differs from run to run or from
  /// system to system. Names given earlier are looked for first.
  void substitute(const std::string& text, const std::string& name);

  /// Runs `action` once, as soon as a line that begins with `beginning` was written, on
  /// the thread that wrote it and before that thread continues.
  void after(const std::string& beginning, Action action);

  void add(std::string line);

  /// Forgets the lines.
  void clear();

  /// The lines, each with its line break.
  std::string text() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::pair<std::string, std::string>> substitutions_;
  std::list<std::pair<std::string, Action>> actions_;
  std::string text_;
};

/// Everything below `root`, a line each, sorted: "on disk: maps/a.tx \"content\"". Only
/// empty directories have a line of their own: "on disk: maps/".
std::vector<std::string> describeTree(const std::string& root);

#endif  // MTLLIB_TESTS_SUPPORT_TRANSCRIPT_H_
