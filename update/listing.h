// A Listing holds the files that a library's list asks its clients to keep, in the list's order
// and in little memory.
#ifndef MTLLIB_UPDATE_LISTING_H_
#define MTLLIB_UPDATE_LISTING_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rules/list_entry.h"
#include "update/sha256.h"
#include "update/text_store.h"

namespace mtlupdate {

/// One file. The texts belong to the Listing that the entry is from.
struct Entry {
  /// Where the file is, relative to the folder of the copy: in the one way to write it
  /// (mtlrules::plainPath), always below the folder.
  std::string_view path;
  /// Where the library has it, relative to the library's address: the same, or the path of the
  /// lossy variant.
  std::string_view remotePath;
  std::optional<std::uint64_t> size;  ///< In bytes, of what is fetched.
  std::optional<Digest> sha256;       ///< Of what is fetched.
  /// kAlways or kMissing: entries that are never fetched are not in a Listing.
  mtlrules::DownloadPolicy policy = mtlrules::DownloadPolicy::kAlways;
};

/// Grows without moving what it holds: entries and their texts stay where they are until the
/// Listing is destroyed, also when it is moved. One that was moved from may only be assigned to or
/// destroyed.
class Listing {
 public:
  /// Copies the texts of the entry.
  void add(const Entry& entry) {
    Entry kept = entry;
    kept.path = texts_.keep(entry.path);
    kept.remotePath = entry.remotePath == entry.path ? kept.path : texts_.keep(entry.remotePath);
    if (size_ % kBlock == 0) blocks_.emplace_back().reserve(kBlock);
    blocks_.back().push_back(kept);
    ++size_;
  }

  /// Other addresses of the library, which the list names. Those behind the first
  /// mtlrules::kMostMirrors do not count.
  void addMirror(std::string_view address) {
    if (mirrors_.size() < mtlrules::kMostMirrors) mirrors_.emplace_back(address);
  }
  const std::vector<std::string>& mirrors() const { return mirrors_; }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  const Entry& operator[](std::size_t number) const {
    return blocks_[number / kBlock][number % kBlock];
  }

  class Iterator {
   public:
    Iterator(const Listing& listing, std::size_t number) : listing_(&listing), number_(number) {}
    const Entry& operator*() const { return (*listing_)[number_]; }
    Iterator& operator++() {
      ++number_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return number_ != other.number_; }

   private:
    const Listing* listing_;
    std::size_t number_;
  };

  Iterator begin() const { return {*this, 0}; }
  Iterator end() const { return {*this, size_}; }

 private:
  static constexpr std::size_t kBlock = 256;

  std::vector<std::vector<Entry>> blocks_;  // Each of them full before the next is begun.
  std::size_t size_ = 0;
  TextStore texts_;
  std::vector<std::string> mirrors_;
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_LISTING_H_
