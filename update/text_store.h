// A TextStore keeps many short texts in little memory. Each stays at its address until the store
// is destroyed, even if the store is moved.
#ifndef MTLLIB_UPDATE_TEXT_STORE_H_
#define MTLLIB_UPDATE_TEXT_STORE_H_

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace mtlupdate {

/// One that was moved from may only be assigned to or destroyed.
class TextStore {
 public:
  /// A copy of the text.
  std::string_view keep(std::string_view text);

 private:
  std::vector<std::unique_ptr<char[]>> blocks_;
  char* next_ = nullptr;
  std::size_t room_ = 0;  ///< Behind `next_`, in the last block.
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_TEXT_STORE_H_
