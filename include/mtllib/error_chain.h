/// @file
/// ErrorRecord and ErrorChain: how every failure of the library is described.
///
/// @since 1.0
#ifndef MTLLIB_ERROR_CHAIN_H_
#define MTLLIB_ERROR_CHAIN_H_

#include <cstddef>
#include <cstdint>
#include <utility>

/// One failure: what an operation was doing when it failed. The record that `next`
/// points at is the cause, and so on down to the first failure.
///
/// The same declaration is shared by the host, the library and its networking
/// library, so the fields keep this order and these widths.
struct ErrorRecord {
  /// Static text that names the reporting function, for example
  /// "DownloaderImpl::saveFile"; may be null. Neither copied nor freed.
  const char* tag;
  /// What happened, zero-terminated; empty if there is nothing to say. Longer messages are cut at
  /// 510 characters.
  char message[512];
  /// -1 for the library's own checks, -2 for an inconsistent internal state, a
  /// system error code (Win32 numbering on every platform) for failed system calls.
  std::int32_t code;
  /// The cause, owned by this record; null when there is none.
  ErrorRecord* next;
  /// Frees this record; belongs to the module that made it.
  void (*deleter)(void* record);
  /// Number of holders. Plain, not atomic: a chain stays on one thread at a time.
  std::uint32_t refCount;
};

static_assert(sizeof(void*) == 8, "the shared records are laid out for 64-bit systems");
static_assert(offsetof(ErrorRecord, tag) == 0, "record layout");
static_assert(offsetof(ErrorRecord, message) == 8, "record layout");
static_assert(offsetof(ErrorRecord, code) == 520, "record layout");
static_assert(offsetof(ErrorRecord, next) == 528, "record layout");
static_assert(offsetof(ErrorRecord, deleter) == 536, "record layout");
static_assert(offsetof(ErrorRecord, refCount) == 544, "record layout");
static_assert(sizeof(ErrorRecord) == 552, "record layout");

/// Holds the newest record of a chain; null means that there is no error.
///
/// Copying adds a reference to the newest record; the last holder frees every
/// record through that record's own deleter. A host may copy the chain that
/// HostCallback::reportError hands it, and keep the copy as long as it likes.
class ErrorChain {
 public:
  /// No error.
  ErrorChain() noexcept = default;
  /// Shares the other's chain.
  ErrorChain(const ErrorChain& other) noexcept : head(other.head) {
    if (head != nullptr) ++head->refCount;
  }
  /// Takes the other's chain and leaves it without an error.
  ErrorChain(ErrorChain&& other) noexcept : head(std::exchange(other.head, nullptr)) {}
  /// Releases the chain that was held, and holds the other's.
  ErrorChain& operator=(ErrorChain other) noexcept {
    std::swap(head, other.head);
    return *this;
  }
  inline ~ErrorChain();

  /// True when there is an error.
  explicit operator bool() const noexcept { return head != nullptr; }

  /// The newest record; null when there is no error.
  ErrorRecord* head = nullptr;
};

static_assert(sizeof(ErrorChain) == sizeof(void*), "an ErrorChain is one pointer");

/// Drops one reference to `record`. The last one releases the record's cause in the same way and
/// then calls the record's own deleter on the record.
inline void releaseErrorRecord(ErrorRecord* record) noexcept {
  if (record == nullptr || --record->refCount != 0) return;
  releaseErrorRecord(std::exchange(record->next, nullptr));
  record->deleter(record);
}

/// Drops the holder's reference; afterwards the holder is always null.
inline void releaseErrorChain(ErrorChain& chain) noexcept {
  releaseErrorRecord(std::exchange(chain.head, nullptr));
}

ErrorChain::~ErrorChain() {
  releaseErrorChain(*this);
}

#endif  // MTLLIB_ERROR_CHAIN_H_
