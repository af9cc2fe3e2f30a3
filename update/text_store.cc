// Stores texts in blocks; each block is filled before the next one is allocated.
#include "update/text_store.h"

#include <algorithm>
#include <utility>

namespace mtlupdate {

namespace {

constexpr std::size_t kBlock = 65536;

}  // namespace

std::string_view TextStore::keep(std::string_view text) {
  if (text.size() > room_) {
    const std::size_t size = std::max(kBlock, text.size());
    std::unique_ptr<char[]> block(new char[size]);
    next_ = blocks_.emplace_back(std::move(block)).get();
    room_ = size;
  }
  char* const kept = next_;
  std::copy(text.begin(), text.end(), kept);
  next_ += text.size();
  room_ -= text.size();
  return {kept, text.size()};
}

}  // namespace mtlupdate
