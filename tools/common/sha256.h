// SHA-256 of bytes that arrive in pieces.
#ifndef MTLLIB_TOOLS_COMMON_SHA256_H_
#define MTLLIB_TOOLS_COMMON_SHA256_H_

#include <memory>
#include <string>
#include <string_view>

namespace common {

class Sha256 {
 public:
  Sha256();
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  void update(std::string_view bytes);

  /// The digest in 64 lower-case hexadecimal digits; empty when the system's
  /// cryptography library refused to work. Nothing may follow.
  std::string finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace common

#endif  // MTLLIB_TOOLS_COMMON_SHA256_H_
