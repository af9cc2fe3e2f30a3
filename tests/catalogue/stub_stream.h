// A StubStream is a stream in memory that fails on demand.
#ifndef MTLLIB_TESTS_CATALOGUE_STUB_STREAM_H_
#define MTLLIB_TESTS_CATALOGUE_STUB_STREAM_H_

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "plugin/error_chain.h"
#include "qutils/mem_stream.h"

/// Counts what it is asked for. The operations fail, or lie, as the fields say.
class StubStream final : public QUtils::PMemStream {
 public:
  StubStream() : PMemStream(64) {}

  ErrorChain Read(void* bytes, std::int32_t count, std::uint32_t& read) override {
    readSizes.push_back(count);
    read = 0;
    if (static_cast<int>(readSizes.size()) > goodReads) {
      return makeError("StubStream::Read", 23, "unreadable");
    }
    return PMemStream::Read(bytes, std::min(count, longestRead), read);
  }
  ErrorChain Write(const void* bytes, std::uint32_t count, std::uint32_t& written) override {
    writeSizes.push_back(count);
    written = 0;
    if (static_cast<int>(writeSizes.size()) > goodWrites) {
      return makeError("StubStream::Write", 112, "disk full");
    }
    return PMemStream::Write(bytes, std::min(count, longestWrite), written);
  }
  ErrorChain Seek(std::int64_t target) override {
    ++seeks;
    if (!seekable) return makeError("StubStream::Seek", 131, "not seekable");
    return PMemStream::Seek(target);
  }
  std::int64_t GetSize() override { return claimedSize.value_or(PMemStream::GetSize()); }

  int goodReads = 1000000;
  int goodWrites = 1000000;
  std::int32_t longestRead = INT32_MAX;
  std::uint32_t longestWrite = UINT32_MAX;
  bool seekable = true;
  std::optional<std::int64_t> claimedSize;

  std::vector<std::int64_t> readSizes;
  std::vector<std::int64_t> writeSizes;
  int seeks = 0;
};

#endif  // MTLLIB_TESTS_CATALOGUE_STUB_STREAM_H_
