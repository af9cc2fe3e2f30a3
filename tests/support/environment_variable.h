// An EnvironmentVariable is a variable of the environment that a test sets for a while.
#ifndef MTLLIB_TESTS_SUPPORT_ENVIRONMENT_VARIABLE_H_
#define MTLLIB_TESTS_SUPPORT_ENVIRONMENT_VARIABLE_H_

#include <cstdlib>
#include <list>
#include <string>

/// While it lives, the variable has a value of the test's. Afterwards it has the one that it
/// had before, or an empty one, which is the same as none to those who read it here.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const std::string& value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    set(value);
  }
  ~EnvironmentVariable() { set(before_); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  void set(const std::string& value) {
    // putenv keeps the pointer for as long as the program runs. Windows has no setenv.
    static std::list<std::string>& assignments = *new std::list<std::string>;
    putenv(assignments.emplace_back(name_ + "=" + value).data());
  }

  std::string name_;
  std::string before_;
};

#endif  // MTLLIB_TESTS_SUPPORT_ENVIRONMENT_VARIABLE_H_
