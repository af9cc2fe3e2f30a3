// Tests what happens when memory runs out, each time in a process of its own whose memory is
// limited. Sanitizers need more than any limit, so these tests pause under them.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "mtllib/char_string.h"
#include "plugin/error_chain.h"
#include "qutils/mem_stream.h"
#include "qutils/registry.h"
#include "qutils/text_builder.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define MTLLIB_UNDER_SANITIZER 1
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define MTLLIB_UNDER_SANITIZER 1
#endif

namespace {

using QUtils::CharString;
using QUtils::PMemStream;
using QUtils::TextBuilder;

constexpr std::size_t kMegabyte = 1U << 20U;

class OutOfMemoryDeathTest : public testing::Test {
 protected:
  void SetUp() override {
#ifdef MTLLIB_UNDER_SANITIZER
    GTEST_SKIP() << "a sanitizer reserves more memory than the limit";
#endif
  }
};

// Leaves the process room for `bytes` more than it has.
void limitMemory(std::size_t bytes) {
  long pages = 0;
  std::FILE* file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr || std::fscanf(file, "%ld", &pages) != 1) std::_Exit(2);
  std::fclose(file);
  const rlim_t size = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
  const rlimit limit = {size + bytes, size + bytes};
  if (setrlimit(RLIMIT_AS, &limit) != 0) std::_Exit(2);
}

// Takes every block of `size` bytes that is left, and gives them all back.
class Exhaustion {
 public:
  explicit Exhaustion(std::size_t size) {
    limitMemory(kMegabyte);
    while (auto* block = static_cast<void**>(std::malloc(size))) {
      *block = blocks_;
      blocks_ = block;
    }
  }
  ~Exhaustion() {
    while (blocks_ != nullptr) {
      void* block = blocks_;
      blocks_ = *static_cast<void**>(blocks_);
      std::free(block);
    }
  }
  Exhaustion(const Exhaustion&) = delete;
  Exhaustion& operator=(const Exhaustion&) = delete;

 private:
  void* blocks_ = nullptr;
};

// Ends the process with the text for the test to read.
[[noreturn]] void finish(const char* text) {
  std::fprintf(stderr, "<%s>\n", text);
  std::_Exit(0);
}
[[noreturn]] void finish(const ErrorChain& error) {
  finish(errorChainToString(error).text());
}

[[noreturn]] void loseSetErrorsRecord() {
  ErrorChain chain = makeError("Old::chain", 5, "kept");
  const ErrorChain keep = chain;
  {
    const Exhaustion exhaustion(sizeof(ErrorRecord));
    setError(chain, "New::record", -1, "lost");
  }
  finish(chain);
}

TEST_F(OutOfMemoryDeathTest, SetErrorLeavesTheChainAsItWas) {
  EXPECT_EXIT(loseSetErrorsRecord(), testing::ExitedWithCode(0), "<\\[Old::chain\\] 5: kept>");
}

[[noreturn]] void losePushErrorsRecord() {
  ErrorChain chain = makeError("Old::chain", 5, "kept");
  {
    const Exhaustion exhaustion(sizeof(ErrorRecord));
    pushError(chain, "New::record", -1, "lost");
  }
  finish(chain);
}

TEST_F(OutOfMemoryDeathTest, PushErrorLeavesTheCausesChainIntact) {
  EXPECT_EXIT(losePushErrorsRecord(), testing::ExitedWithCode(0), "<\\[Old::chain\\] 5: kept>");
}

[[noreturn]] void makeHugeText() {
  limitMemory(kMegabyte);
  CharString text = CharString::withSize(std::int64_t{1} << 40);
  finish(text.data() == nullptr && text.empty() ? "empty" : "not empty");
}

TEST_F(OutOfMemoryDeathTest, ATextThatIsTooLargeIsEmpty) {
  EXPECT_EXIT(makeHugeText(), testing::ExitedWithCode(0), "<empty>");
}

[[noreturn]] void growTextBuilder() {
  TextBuilder text(0x40000000, 0);
  char buffer[4];
  TextBuilder borrowed(buffer, sizeof(buffer), false);
  const std::string large(8 * kMegabyte, 'x');
  limitMemory(kMegabyte);
  text.append("lost");
  borrowed.append("abc");
  borrowed.append(large.c_str());
  finish(text.length() == 0 && text.capacity() == 0 ? borrowed.text() : "not empty");
}

TEST_F(OutOfMemoryDeathTest, TextBuilderDropsWhatDoesNotFit) {
  EXPECT_EXIT(growTextBuilder(), testing::ExitedWithCode(0), "<abc>");
}

[[noreturn]] void writeFirstBlock() {
  limitMemory(kMegabyte);
  PMemStream stream(std::uint64_t{1} << 40);
  std::uint32_t written = 99;
  const ErrorChain error = stream.Write("abc", 3, written);
  if (written != 0 || stream.GetSize() != 0 || stream.Tell() != 0) finish("inconsistent");
  finish(error);
}

TEST_F(OutOfMemoryDeathTest, MemStreamReportsTheFirstBlock) {
  EXPECT_EXIT(writeFirstBlock(), testing::ExitedWithCode(0),
              "<\\[PMemStream::Write\\] -1: Out of memory>");
}

// A stream of three blocks' content in memory for two and a half.
[[noreturn]] void writeBeyondMemory() {
  constexpr std::size_t kBlock = 8 * kMegabyte;
  std::string bytes(3 * kBlock, 'a');
  limitMemory(2 * kBlock + kBlock / 2);
  PMemStream stream(kBlock);
  std::uint32_t written = 0;
  const ErrorChain error =
      stream.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written);
  const bool consistent =
      written == kBlock && stream.GetSize() == kBlock && stream.Tell() == kBlock && stream.IsEof();
  if (!consistent) finish("inconsistent");
  if (stream.Write("more", 4, written) || written != 4) finish("not writable");
  if (stream.Seek(kBlock - 1) || stream.Read(bytes.data(), 10, written) || written != 5 ||
      bytes.compare(0, 6, "amorea") != 0) {
    finish("not readable");
  }
  finish(error);
}

TEST_F(OutOfMemoryDeathTest, MemStreamCountsWhatItTookAndGoesOn) {
  EXPECT_EXIT(writeBeyondMemory(), testing::ExitedWithCode(0),
              "<\\[PMemStream::Write\\] -1: Out of memory>");
}

[[noreturn]] void readHugeCharString() {
  PMemStream stream(64);
  std::uint32_t written = 0;
  if (stream.Write("\xFF\xFF\xFF\x7F short", 10, written) || stream.Seek(0)) finish("no stream");
  CharString text("old");
  limitMemory(64 * kMegabyte);
  const ErrorChain error = stream.ReadCharString(text);
  if (!(text == "old")) finish("text changed");
  finish(error);
}

TEST_F(OutOfMemoryDeathTest, ReadCharStringSurvivesAHugeLength) {
  EXPECT_EXIT(readHugeCharString(), testing::ExitedWithCode(0),
              "<\\[PStream::ReadCharString\\] -1: Out of memory>");
}

// The expanded text has no room beside the text itself.
[[noreturn]] void expandLongText() {
  constexpr std::size_t kLength = 8 * kMegabyte;
  QUtils::RegistryValue value;
  value.type = REG_EXPAND_SZ;
  value.size = (kLength + 1) * sizeof(WCHAR);
  value.data.reset(static_cast<BYTE*>(QUtils::qmalloc(value.size)));
  auto* text = reinterpret_cast<WCHAR*>(value.data.get());
  std::fill_n(text, kLength, u'a');
  text[kLength] = u'\0';
  CharString out("old");
  limitMemory(kMegabyte);
  const int result = QUtils::registryValueToString(value, out);
  std::fprintf(stderr, "<%d, %s>\n", result, out.text());
  std::_Exit(0);
}

TEST_F(OutOfMemoryDeathTest, ATextThatCannotBeExpandedIsNotTaken) {
  EXPECT_EXIT(expandLongText(), testing::ExitedWithCode(0), "<3, old>");
}

}  // namespace
