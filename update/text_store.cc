// Texts go into blocks, each of which is full before the next is begun.
#include "update/text_store.h"

#include <algorithm>

namespace mtlupdate {

namespace {

constexpr std::size_t kBlock = 65536;

}  // namespace

std::string_view TextStore::keep(std::string_view text) {
  if (text.size() > room_) {
    room_ = std::max(kBlock, text.size());
    blocks_.emplace_back(new char[room_]);
    next_ = blocks_.back().get();
  }
  char* const kept = next_;
  std::copy(text.begin(), text.end(), kept);
  next_ += text.size();
  room_ -= text.size();
  return {kept, text.size()};
}

}  // namespace mtlupdate
