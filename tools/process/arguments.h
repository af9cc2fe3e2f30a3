// What the user typed.
#ifndef MTLLIB_TOOLS_PROCESS_ARGUMENTS_H_
#define MTLLIB_TOOLS_PROCESS_ARGUMENTS_H_

#include <string>
#include <vector>

namespace process {

/// The arguments of the program in UTF-8, its own name first. Patterns are as they were
/// typed where the system leaves them to the program.
class Arguments {
 public:
  /// Takes what main() was given.
  Arguments(int count, const char* const* values);
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  int count() const { return static_cast<int>(pointers_.size()); }
  const char* const* values() const { return pointers_.data(); }

 private:
  static std::vector<std::string> textsOf(int count, const char* const* values);

  std::vector<std::string> texts_;
  std::vector<const char*> pointers_;
};

}  // namespace process

#endif  // MTLLIB_TOOLS_PROCESS_ARGUMENTS_H_
