// Tests what an update leaves behind about the files of a copy.
#include "update/state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>

#include "support/temp_dir.h"

namespace {

using mtlupdate::Digest;
using mtlupdate::Folder;
using mtlupdate::KnownFile;
using mtlupdate::Sha256;
using mtlupdate::State;
using mtlupdate::stateBytes;
using mtlupdate::stateFrom;

KnownFile fileOf(std::string_view path, std::uint64_t size) {
  KnownFile file;
  file.path = path;
  file.identity = {size, -5, 77};
  return file;
}

State someState() {
  State state;
  state.address = "https://library.example/a";
  state.subPath = "sub";
  state.stamp = std::string("1\0\n2", 4);
  KnownFile file = fileOf("b/c.tx", 5'000'000'000);
  file.sha256.emplace();
  file.sha256->fill(0xAB);
  file.isPlaced = true;
  state.add(file);
  state.add(fileOf("a", 1));
  return state;
}

/// The bytes with the digest that they ought to have.
std::string sealed(const std::string& content) {
  Sha256 sha256;
  sha256.update(content);
  const Digest digest = sha256.finish().value_or(Digest{});
  return content + std::string(digest.begin(), digest.end());
}

TEST(State, IsReadAsItWasWritten) {
  const std::optional<State> read = stateFrom(stateBytes(someState()));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->address, "https://library.example/a");
  EXPECT_EQ(read->subPath, "sub");
  EXPECT_EQ(read->stamp, std::string("1\0\n2", 4));
  ASSERT_EQ(read->files().size(), 2U);
  EXPECT_EQ(read->files()[0].path, "a");
  const KnownFile* file = read->find("b/c.tx");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->identity, (mtlupdate::FileIdentity{5'000'000'000, -5, 77}));
  EXPECT_EQ(mtlupdate::hexText(file->sha256).substr(0, 4), "abab");
  EXPECT_TRUE(file->isPlaced);
  EXPECT_FALSE(read->find("a")->isPlaced);
  EXPECT_EQ(read->find("a")->sha256, std::nullopt);
  EXPECT_EQ(read->find("b"), nullptr);
}

TEST(State, KeepsApartWhatWasPlacedAndWhatHasADigest) {
  State state;
  KnownFile placed = fileOf("placed", 1);
  placed.isPlaced = true;
  state.add(placed);
  KnownFile digested = fileOf("digested", 1);
  digested.sha256.emplace();
  state.add(digested);
  const std::optional<State> read = stateFrom(stateBytes(state));
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->find("placed")->isPlaced);
  EXPECT_EQ(read->find("placed")->sha256, std::nullopt);
  EXPECT_FALSE(read->find("digested")->isPlaced);
  EXPECT_EQ(read->find("digested")->sha256, Digest{});
}

TEST(State, FindsFilesInAnyOrder) {
  State state;
  for (const char* path : {"a", "b", "c", "d"})
    state.add(fileOf(path, 1));
  for (const char* path : {"c", "c", "d", "d", "a", "b", "d", "c", "a"}) {
    ASSERT_NE(state.find(path), nullptr) << path;
    EXPECT_EQ(state.find(path)->path, path);
    EXPECT_EQ(state.find("bb"), nullptr);
  }
}

TEST(State, KeepsTheLastOfSeveralWithTheSamePath) {
  State state;
  state.add(fileOf("b", 1));
  state.add(fileOf("a", 2));
  state.add(fileOf("b", 3));
  EXPECT_EQ(state.find("b")->identity.size, 3U);
  state.add(fileOf("b", 4));
  EXPECT_EQ(state.find("b")->identity.size, 4U);
  EXPECT_EQ(state.files().size(), 2U);
}

TEST(State, IsNoneWhereverItIsCutOrChanged) {
  const std::string bytes = stateBytes(someState());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    EXPECT_FALSE(stateFrom(bytes.substr(0, i))) << i;
    std::string changed = bytes;
    changed[i] = static_cast<char>(changed[i] ^ 1);
    EXPECT_FALSE(stateFrom(changed)) << i;
  }
  EXPECT_FALSE(stateFrom(bytes + "x"));
}

TEST(State, IsNoneWhereverItIsCutAndSealedAgain) {
  const std::string bytes = stateBytes(someState());
  const std::string content = bytes.substr(0, bytes.size() - 32);
  EXPECT_TRUE(stateFrom(sealed(content)));
  for (std::size_t i = 0; i < content.size(); ++i)
    EXPECT_FALSE(stateFrom(sealed(content.substr(0, i)))) << i;
  EXPECT_FALSE(stateFrom(sealed(content + "x")));
}

TEST(State, NamesNothingOutsideTheCopy) {
  for (const char* path : {"../a", "a/../../b", "/a", "a//b", "", "."}) {
    State state;
    state.add(fileOf(path, 1));
    EXPECT_FALSE(stateFrom(stateBytes(state))) << path;
  }
}

TEST(State, IsEmptyWhereThereIsNoGoodOne) {
  const TempDir dir;
  Folder folder;
  ASSERT_FALSE(folder.open(dir / "copy", true));
  EXPECT_TRUE(mtlupdate::readState(folder).files().empty());
  writeFile(dir / "copy/.mtllib/state", "damaged");
  EXPECT_TRUE(mtlupdate::readState(folder).files().empty());
  writeFile(dir / "copy/.mtllib/state", stateBytes(someState()));
  EXPECT_EQ(mtlupdate::readState(folder).files().size(), 2U);
}

}  // namespace
