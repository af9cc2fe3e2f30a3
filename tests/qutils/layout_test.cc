// Tests the records and tables of texts and streams that modules share: orders and widths of their
// fields, types and slots of their operations.
#include <gmock/gmock.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "mtllib/char_string.h"
#include "mtllib/error_chain.h"
#include "qutils/file_stream.h"
#include "qutils/mem_stream.h"
#include "qutils/stream.h"
#include "qutils/text_builder.h"
#include "support/virtual_slot.h"

namespace {

using QUtils::CharString;
using QUtils::CharStringBuffer;
using QUtils::MemBlock;
using QUtils::PFileStream;
using QUtils::PMemStream;
using QUtils::PMemStreamGrowStep;
using QUtils::PStream;
using QUtils::TextBuilder;

// The fields of an object, which it does not show, as they lie in memory.
template <typename Fields, typename Object>
Fields fieldsOf(const Object& object) {
  static_assert(sizeof(Fields) == sizeof(Object));
  Fields fields;
  std::memcpy(&fields, static_cast<const void*>(&object), sizeof(fields));
  return fields;
}

TEST(Layout, OfTexts) {
  EXPECT_TRUE(std::atomic<std::uint32_t>::is_always_lock_free);
  const CharString text("abc");
  const CharStringBuffer* record = nullptr;
  std::memcpy(&record, static_cast<const void*>(&text), sizeof(record));
  EXPECT_EQ(record, text.buffer());
}

struct TextBuilderFields {
  std::uint64_t granularity;
  float growthFactor;
  std::uint32_t flags;
  std::uint64_t capacity;
  std::uint64_t length;
  const char* buffer;
};

TEST(Layout, OfTextBuilders) {
  const auto fresh = fieldsOf<TextBuilderFields>(TextBuilder());
  EXPECT_EQ(fresh.granularity, 1024U);
  EXPECT_EQ(fresh.growthFactor, 0.0F);
  EXPECT_EQ(fresh.flags, 0U);
  EXPECT_EQ(fresh.capacity, 0U);
  EXPECT_EQ(fresh.length, 0U);
  EXPECT_EQ(fresh.buffer, nullptr);
  TextBuilder filled(64, 1.5F);
  filled.append("abc");
  const auto fields = fieldsOf<TextBuilderFields>(filled);
  EXPECT_EQ(fields.granularity, 64U);
  EXPECT_EQ(fields.growthFactor, 1.5F);
  EXPECT_EQ(fields.flags, 0U);
  EXPECT_EQ(fields.capacity, 64U);
  EXPECT_EQ(fields.length, 3U);
  EXPECT_STREQ(fields.buffer, "abc");
}

TEST(TextBuilderFields, ClampTheGrowthFactor) {
  const auto factorOf = [](float requested) {
    return fieldsOf<TextBuilderFields>(TextBuilder(16, requested)).growthFactor;
  };
  EXPECT_EQ(factorOf(-2.0F), 0.0F);
  EXPECT_EQ(factorOf(0.0F), 0.0F);
  EXPECT_EQ(factorOf(0.99F), 0.0F);
  EXPECT_EQ(factorOf(1.0F), 0.0F);
  EXPECT_EQ(factorOf(1.01F), 1.01F);
  EXPECT_EQ(factorOf(1023.5F), 1023.5F);
  EXPECT_EQ(factorOf(1024.0F), 1024.0F);
  EXPECT_EQ(factorOf(1024.5F), 1024.0F);
}

TEST(TextBuilderFields, ClampTheGranularity) {
  const auto granularityOf = [](std::uint64_t requested) {
    return fieldsOf<TextBuilderFields>(TextBuilder(requested, 0)).granularity;
  };
  EXPECT_EQ(granularityOf(0), 16U);
  EXPECT_EQ(granularityOf(0xFFFFFFFFFFFFFFFF), 0x40000000U);
}

TEST(TextBuilderFields, FlagABorrowedBufferUntilItIsLeft) {
  char buffer[8] = "old";
  EXPECT_EQ(fieldsOf<TextBuilderFields>(TextBuilder(buffer, 8, false)).flags, 1U);
  TextBuilder kept(buffer, 8, true);
  EXPECT_EQ(fieldsOf<TextBuilderFields>(kept).flags, 3U);
  kept.append("text that does not fit");
  EXPECT_EQ(fieldsOf<TextBuilderFields>(kept).flags, 0U);
}

struct MemStreamFields {
  const void* operations;
  const MemBlock* head;
  std::uint64_t size;
  const MemBlock* current;
  std::uint64_t position;
  std::int32_t opened;
  std::uint64_t blockSize;
  std::uint64_t blockCount;
  const void* runs;
};

TEST(Layout, OfMemStreams) {
  PMemStream stream(4);
  auto fields = fieldsOf<MemStreamFields>(stream);
  EXPECT_EQ(fields.head, nullptr);
  EXPECT_EQ(fields.size, 0U);
  EXPECT_EQ(fields.current, nullptr);
  EXPECT_EQ(fields.position, 0U);
  EXPECT_EQ(fields.opened, 0);
  EXPECT_EQ(fields.blockSize, 4U);
  EXPECT_FALSE(stream.Open());
  EXPECT_FALSE(stream.WriteString("abcdefg"));
  EXPECT_FALSE(stream.Seek(5));
  fields = fieldsOf<MemStreamFields>(stream);
  EXPECT_EQ(std::string(fields.head->data, 4), "abcd");
  EXPECT_EQ(fields.size, 7U);
  EXPECT_EQ(fields.current, fields.head->next);
  EXPECT_EQ(fields.position, 5U);
  EXPECT_EQ(fields.opened, 1);
  EXPECT_EQ(std::string(fields.current->data, 3), "efg");
  EXPECT_EQ(fields.current->next, nullptr);
  EXPECT_EQ(offsetof(MemBlock, data), 0U);
  EXPECT_EQ(offsetof(MemBlock, next), 8U);
  EXPECT_EQ(sizeof(MemBlock), 16U);
}

TEST(Layout, OfGrowSteps) {
  const PMemStreamGrowStep<0x4000> stream;
  EXPECT_EQ(fieldsOf<MemStreamFields>(stream).blockSize, 16384U);
  EXPECT_TRUE((std::is_base_of_v<PMemStream, PMemStreamGrowStep<0x4000>>));
}

struct FileStreamFields {
  const void* operations;
  std::int32_t openCount;
  const char* fileName;
  std::uint32_t access;
  std::uint32_t shareMode;
  std::uint32_t mode;
  void* handle;
};

TEST(Layout, OfFileStreams) {
  PFileStream stream;
  auto fields = fieldsOf<FileStreamFields>(stream);
  EXPECT_EQ(fields.openCount, 0);
  EXPECT_EQ(fields.fileName, nullptr);
  EXPECT_EQ(fields.access, 0xC0000000U);
  EXPECT_EQ(fields.shareMode, 1U);
  EXPECT_EQ(fields.mode, 2U);
  EXPECT_EQ(fields.handle, nullptr);
  EXPECT_FALSE(stream.SetFileParams("name", 11, 12, 13));
  fields = fieldsOf<FileStreamFields>(stream);
  EXPECT_STREQ(fields.fileName, "name");
  EXPECT_EQ(fields.access, 11U);
  EXPECT_EQ(fields.shareMode, 12U);
  EXPECT_EQ(fields.mode, 13U);
}

TEST(ModesOfFileStreams, HaveTheirNumbers) {
  EXPECT_EQ(QUtils::PFS_MODE_EXISTING, 0);
  EXPECT_EQ(QUtils::PFS_MODE_APPEND, 1);
  EXPECT_EQ(QUtils::PFS_MODE_OPEN_ALWAYS, 2);
  EXPECT_EQ(QUtils::PFS_MODE_CREATE_ALWAYS, 3);
  EXPECT_EQ(QUtils::PFS_MODE_SEQUENTIAL, 0x4);
  EXPECT_EQ(QUtils::PFS_MODE_WRITE_THROUGH, 0x8);
  EXPECT_EQ(QUtils::PFS_MODE_CREATE_NEW, 0x10);
}

TEST(StreamOperations, StandInTheirSlots) {
  using Bytes = void*;
  using ConstBytes = const void*;
  using Count = std::uint32_t&;
  EXPECT_TRUE(std::has_virtual_destructor_v<PStream>);  // in two slots, 0 and 1
  EXPECT_EQ(slotOf<ErrorChain()>(&PStream::Open), 2);
  EXPECT_EQ(slotOf<ErrorChain()>(&PStream::Close), 3);
  EXPECT_EQ(slotOf<ErrorChain()>(&PStream::Flush), 4);
  EXPECT_EQ((slotOf<ErrorChain(ConstBytes, std::uint32_t, Count)>(&PStream::Write)), 5);
  EXPECT_EQ(slotOf<ErrorChain(const char*)>(&PStream::WriteString), 6);
  EXPECT_EQ((slotOf<ErrorChain(const char*, std::uint16_t, Count)>(&PStream::WritePascalStr)), 7);
  EXPECT_EQ((slotOf<ErrorChain(Bytes, std::int32_t, Count)>(&PStream::Read)), 8);
  EXPECT_EQ((slotOf<ErrorChain(Bytes, std::uint32_t)>(&PStream::ReadBuffer)), 9);
  EXPECT_EQ((slotOf<ErrorChain(char*, std::uint16_t&, Count)>(&PStream::ReadPascalStr)), 10);
  EXPECT_EQ((slotOf<ErrorChain(char*, std::uint16_t&, Count)>(&PStream::ReadPascalStr1)), 11);
  EXPECT_EQ(slotOf<ErrorChain(const CharString&)>(&PStream::WriteCharString), 12);
  EXPECT_EQ(slotOf<ErrorChain(CharString&)>(&PStream::ReadCharString), 13);
  EXPECT_EQ(slotOf<ErrorChain(std::int64_t)>(&PStream::Seek), 14);
  EXPECT_EQ(slotOf<ErrorChain(std::int64_t)>(&PStream::SeekOff), 15);
  EXPECT_EQ(slotOf<ErrorChain(std::int64_t)>(&PStream::SeekEnd), 16);
  EXPECT_EQ(slotOf<std::int64_t()>(&PStream::GetSize), 17);
  EXPECT_EQ(slotOf<ErrorChain()>(&PStream::Truncate), 18);
  EXPECT_EQ(slotOf<std::int64_t()>(&PStream::Tell), 19);
  EXPECT_EQ(slotOf<bool()>(&PStream::IsEof), 20);
  EXPECT_EQ(slotOf<int()>(&PStream::IsOpened), 21);
}

TEST(StreamOperations, OfFileStreamsFollowThoseOfAllStreams) {
  using Name = const char*;
  using Word = std::uint32_t;
  EXPECT_EQ((slotOf<ErrorChain(Name, Word, Word, Word)>(&PFileStream::OpenFile)), 22);
  EXPECT_EQ(slotOf<std::int64_t(Name)>(&PFileStream::GetFileSizeByName), 23);
  EXPECT_EQ((slotOf<ErrorChain(Name, Word, Word, Word)>(&PFileStream::SetFileParams)), 24);
  EXPECT_EQ((slotOf<ErrorChain(Name, Word)>(&PFileStream::Create)), 25);
}

// True when the stream declares no operation of its own in the place of the one below: the
// type of a pointer to an operation names the class that declares it.
template <typename Operation>
bool areSame(Operation, Operation) {
  return true;
}
template <typename Own, typename Below>
bool areSame(Own, Below) {
  return false;
}

TEST(StreamOperations, OfTheStringFormatsAreTheSameForAllStreams) {
  EXPECT_TRUE(areSame(&PMemStream::WritePascalStr, &PStream::WritePascalStr));
  EXPECT_TRUE(areSame(&PMemStream::ReadBuffer, &PStream::ReadBuffer));
  EXPECT_TRUE(areSame(&PMemStream::ReadPascalStr, &PStream::ReadPascalStr));
  EXPECT_TRUE(areSame(&PMemStream::ReadPascalStr1, &PStream::ReadPascalStr1));
  EXPECT_TRUE(areSame(&PMemStream::WriteCharString, &PStream::WriteCharString));
  EXPECT_TRUE(areSame(&PMemStream::ReadCharString, &PStream::ReadCharString));
  EXPECT_TRUE(areSame(&PMemStream::Truncate, &PStream::Truncate));
  EXPECT_TRUE(areSame(&PFileStream::WritePascalStr, &PStream::WritePascalStr));
  EXPECT_TRUE(areSame(&PFileStream::ReadBuffer, &PStream::ReadBuffer));
  EXPECT_TRUE(areSame(&PFileStream::ReadPascalStr, &PStream::ReadPascalStr));
  EXPECT_TRUE(areSame(&PFileStream::ReadPascalStr1, &PStream::ReadPascalStr1));
  EXPECT_TRUE(areSame(&PFileStream::WriteCharString, &PStream::WriteCharString));
  EXPECT_TRUE(areSame(&PFileStream::ReadCharString, &PStream::ReadCharString));
  EXPECT_FALSE(areSame(&PFileStream::Truncate, &PStream::Truncate));
}

}  // namespace
