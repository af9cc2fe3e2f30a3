// Tests the buffer between received bytes and a stream.
#include "net/buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "evbuffer.h"
#include "net/http_client.h"
#include "plugin/error_chain.h"
#include "qutils/mem_stream.h"

namespace {

using Krell::Buffer;
using Krell::Evbuffer;
using Krell::Networking::Response;
using QUtils::PMemStream;

/// Takes `limit` bytes of each write; reports error 112 once it holds `capacity`.
class NarrowStream final : public PMemStream {
 public:
  NarrowStream(std::uint32_t limit, std::int64_t capacity)
      : PMemStream(16), limit_(limit), capacity_(capacity) {}
  ErrorChain Write(const void* bytes, std::uint32_t count, std::uint32_t& written) override {
    ++writes;
    if (GetSize() >= capacity_) return makeError("NarrowStream::Write", 112, "disk full");
    return PMemStream::Write(bytes, std::min(count, limit_), written);
  }

  int writes = 0;

 private:
  std::uint32_t limit_;
  std::int64_t capacity_;
};

std::string contentOf(PMemStream& stream) {
  std::string content(static_cast<std::size_t>(stream.GetSize()), '\0');
  stream.Seek(0);
  EXPECT_FALSE(stream.ReadBuffer(content.data(), static_cast<std::uint32_t>(content.size())));
  return content;
}

class BufferTest : public testing::Test {
 protected:
  krbool save(const char* text, QUtils::PStream* stream) {
    bytes_ = Evbuffer{text, std::string(text).size()};
    response_.data = &bytes_;
    Buffer buffer;
    EXPECT_NE(response_.getResponseData(buffer), 0);
    return buffer.saveTo(err_, stream);
  }

  Evbuffer bytes_{};
  Response response_;
  Krell::Err err_;
};

TEST_F(BufferTest, AppendsToTheStream) {
  PMemStream stream(16);
  EXPECT_NE(save("one, ", &stream), 0);
  EXPECT_NE(save("", &stream), 0);
  EXPECT_NE(save("two", &stream), 0);
  EXPECT_FALSE(err_.chain);
  EXPECT_EQ(contentOf(stream), "one, two");
}

TEST_F(BufferTest, DropsTheBytesWithoutAStream) {
  EXPECT_NE(save("abc", nullptr), 0);
  EXPECT_FALSE(err_.chain);
}

TEST_F(BufferTest, HandsOnTheErrorOfTheStream) {
  NarrowStream stream(100, 0);
  EXPECT_EQ(save("abc", &stream), 0);
  ASSERT_TRUE(err_.chain);
  EXPECT_STREQ(err_.chain.head->tag, "NarrowStream::Write");
  EXPECT_STREQ(err_.chain.head->message, "disk full");
  EXPECT_EQ(err_.chain.head->code, 112);
  EXPECT_EQ(err_.chain.head->next, nullptr);
  EXPECT_EQ(err_.chain.head->refCount, 1U);
}

TEST_F(BufferTest, CountsAShortWriteAsAFailureAndDoesNotTryAgain) {
  NarrowStream stream(2, 100);
  EXPECT_EQ(save("abcde", &stream), 0);
  ASSERT_TRUE(err_.chain);
  EXPECT_STREQ(err_.chain.head->tag, "Buffer::saveTo");
  EXPECT_STREQ(err_.chain.head->message, "2 of 5 bytes written");
  EXPECT_EQ(err_.chain.head->code, -1);
  EXPECT_EQ(stream.writes, 1);
  EXPECT_EQ(contentOf(stream), "ab");
}

TEST_F(BufferTest, TakesTheBytesOfAResponseOnce) {
  PMemStream stream(16);
  EXPECT_NE(save("abc", &stream), 0);
  EXPECT_EQ(response_.data, nullptr);
  Buffer again;
  EXPECT_NE(response_.getResponseData(again), 0);
  EXPECT_NE(again.saveTo(err_, &stream), 0);
  EXPECT_EQ(contentOf(stream), "abc");
}

TEST_F(BufferTest, ABodysBytesCanBeTakenWhereTheyAre) {
  bytes_ = Evbuffer{"abc", 3};
  response_.data = &bytes_;
  const auto taken = response_.takeBytes();
  EXPECT_EQ(taken.data, bytes_.bytes);
  EXPECT_EQ(taken.size, 3U);
  EXPECT_EQ(response_.takeBytes().size, 0U);
}

TEST_F(BufferTest, ReplacesWhatTheBufferHeld) {
  Evbuffer old{"old", 3};
  Buffer buffer;
  buffer.storage = &old;
  bytes_ = Evbuffer{"new", 3};
  response_.data = &bytes_;
  response_.getResponseData(buffer);
  EXPECT_EQ(old.size, 0U);
  PMemStream stream(16);
  EXPECT_NE(buffer.saveTo(err_, &stream), 0);
  EXPECT_EQ(contentOf(stream), "new");
}

TEST(InternalEvbufferFree, ForgetsTheBytes) {
  Evbuffer bytes{"abc", 3};
  Krell::internalEvbufferFree(&bytes);
  EXPECT_EQ(bytes.bytes, nullptr);
  EXPECT_EQ(bytes.size, 0U);
  Krell::internalEvbufferFree(nullptr);
}

}  // namespace
