// Tests keys through the C functions: what they take, what they refuse, and what comes of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "mtlhost.h"
#include "support/scripted_server.h"
#include "support/signed_library.h"
#include "support/temp_dir.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
namespace fs = std::filesystem;

class CTrust : public testing::Test {
 protected:
  CTrust() {
    options_.size = sizeof(options_);
    options_.remote_address = address_.c_str();
    options_.target_directory = copy_.c_str();
    options_.proxy_mode = MTLHOST_PROXY_NONE;
    options_.tries = 1;
    options_.callback = [](const mtlhost_event* event, void* user) {
      if (event->kind == MTLHOST_EVENT_WARNING) {
        static_cast<CTrust*>(user)->warnings_.emplace_back(event->text);
      }
      return 0;
    };
    options_.user = this;
    pin({oak_.publicKey()});
    oak_.publish({{"a.mtl", "a"}});
  }
  ~CTrust() override { mtlhost_close(library_); }

  void pin(std::vector<std::string> keys) {
    keys_ = std::move(keys);
    pointers_.clear();
    for (const std::string& key : keys_)
      pointers_.push_back(key.c_str());
    options_.keys = keys_.empty() ? nullptr : pointers_.data();
    options_.key_count = pointers_.size();
  }
  mtlhost_library* open() {
    mtlhost_close(library_);
    EXPECT_EQ(mtlhost_open(&options_, &library_, nullptr), MTLHOST_OK);
    return library_;
  }
  /// What the failure to open says.
  std::string refusal(int code) {
    mtlhost_error* error = nullptr;
    mtlhost_library* library = nullptr;
    EXPECT_EQ(mtlhost_open(&options_, &library, &error), code);
    std::string text = mtlhost_error_message(error);
    mtlhost_free_error(error);
    mtlhost_close(library);
    return text;
  }
  int failure() { return mtlhost_last_result(library_)->failure; }
  std::string reason() { return mtlhost_error_message(mtlhost_last_error(library_)); }
  void syncWell() { ASSERT_EQ(mtlhost_sync(open()), MTLHOST_OK) << reason(); }
  std::string copied(const std::string& path) const { return readFile(copy_ + "/" + path); }

  TempDir dir_;
  ScriptedServer server_;
  SignedLibrary oak_{server_, "/oak"};
  const std::string address_ = oak_.address();
  const std::string copy_ = dir_ / "copy";
  std::vector<std::string> keys_;
  std::vector<const char*> pointers_;
  std::vector<std::string> warnings_;
  mtlhost_options options_{};
  mtlhost_library* library_ = nullptr;
};

TEST_F(CTrust, WhatIsNotSignedIsAFailureOfItsOwn) {
  syncWell();
  oak_.publish({{"a.mtl", "A"}});
  oak_.serveStamp("7a1bc3d2");
  for (const auto operation : {mtlhost_check, mtlhost_plan, mtlhost_sync, mtlhost_repair}) {
    EXPECT_EQ(operation(open()), MTLHOST_FAILED);
    EXPECT_EQ(failure(), MTLHOST_FAILURE_UNTRUSTED);
    EXPECT_THAT(reason(), HasSubstr("/oak/id.txt: it is not signed"));
    EXPECT_EQ(mtlhost_last_result(library_)->is_changed, 0);
  }
  EXPECT_EQ(copied("a.mtl"), "a");
}

TEST_F(CTrust, AStampOfWhichAByteIsChangedIsRefused) {
  const std::string stamp = oak_.stamp();
  for (std::size_t i = 0; i < stamp.size(); i += 7) {
    std::string changed = stamp;
    changed[i] = static_cast<char>(changed[i] ^ 1);
    oak_.serveStamp(changed);
    EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED) << i;
    EXPECT_EQ(failure(), MTLHOST_FAILURE_UNTRUSTED) << i;
  }
  EXPECT_FALSE(fs::exists(copy_ + "/a.mtl"));
  EXPECT_FALSE(fs::exists(copy_ + "/id.txt"));
}

TEST_F(CTrust, ThereMayBeSeveralKeys) {
  const std::string other = SignedLibrary(server_, "/elm").publicKey();
  pin({other});
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(failure(), MTLHOST_FAILURE_UNTRUSTED);
  EXPECT_THAT(reason(), HasSubstr("which is not one of those given"));
  const std::string file = dir_ / "oak.pub";
  std::ofstream(file, std::ios::binary) << oak_.publicKey() << '\n';
  for (const std::string& key : {oak_.publicKey(), file, readFile(file)}) {
    pin({other, key});
    syncWell();
  }
}

TEST_F(CTrust, AKeyThatCannotBeUsedIsRefused) {
  pin({oak_.publicKey(), "RWQ"});
  EXPECT_EQ(refusal(MTLHOST_FAILED), "\"RWQ\" is neither a public key nor a file that can be read");
}

TEST_F(CTrust, KeysAndTheirCountBelongTogether) {
  const char* const reason = "mtlhost_open() needs each of the keys, and their count";
  options_.key_count = 0;
  EXPECT_EQ(refusal(MTLHOST_WRONG_USE), reason);
  options_.key_count = 1;
  options_.keys = nullptr;
  EXPECT_EQ(refusal(MTLHOST_WRONG_USE), reason);
  const char* const keys[] = {keys_.front().c_str(), nullptr};
  options_.keys = keys;
  options_.key_count = 2;
  EXPECT_EQ(refusal(MTLHOST_WRONG_USE), reason);
  // Half of it lies beyond the record.
  options_.key_count = 1;
  options_.size = offsetof(mtlhost_options, keys);
  EXPECT_EQ(refusal(MTLHOST_WRONG_USE), reason);
}

TEST_F(CTrust, ARecordWithoutKeysHasNone) {
  options_.size = offsetof(mtlhost_options, key_count);
  options_.keys = reinterpret_cast<const char* const*>(1);
  options_.library_name = reinterpret_cast<const char*>(1);
  syncWell();
  EXPECT_FALSE(fs::exists(copy_ + "/.mtllib/trusted"));
}

TEST_F(CTrust, KeysAreCopied) {
  open();
  pin({"RWQ"});
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_OK);
}

TEST_F(CTrust, TheNameIsThatOfTheLibrary) {
  options_.library_name = "elm";
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(failure(), MTLHOST_FAILURE_UNTRUSTED);
  options_.library_name = "oak";
  syncWell();
}

TEST_F(CTrust, AReleaseThatHasExpiredIsTakenOnRequestWithAWarning) {
  oak_.release.expires = SignedLibrary::kFirstTime + 5;
  oak_.publish({{"a.mtl", "A"}});
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(failure(), MTLHOST_FAILURE_UNTRUSTED);
  warnings_.clear();
  options_.flags = MTLHOST_ALLOW_EXPIRED;
  syncWell();
  EXPECT_THAT(warnings_, Contains(HasSubstr("it expired at 2023-11-14T22:13:25Z")));
}

TEST_F(CTrust, ACopyThatHadKeysNeedsThemUntilTheyAreForgotten) {
  syncWell();
  oak_.publish({{"a.mtl", "A"}});
  pin({});
  for (const std::uint32_t module : {0, MTLHOST_USE_MODULE + 0}) {
    options_.flags = module;
    options_.module_file = module != 0 ? MTLLIB_MODULE : nullptr;
    EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
    EXPECT_EQ(failure(), MTLHOST_FAILURE_USAGE);
    EXPECT_THAT(reason(), HasSubstr("this copy was updated with keys"));
  }
  EXPECT_EQ(copied("a.mtl"), "a");
  options_.module_file = nullptr;
  options_.flags = MTLHOST_FORGET_KEYS;
  syncWell();
  options_.flags = 0;
  syncWell();
  EXPECT_EQ(copied("a.mtl"), "A");
}

TEST_F(CTrust, TheModuleTakesNoKeys) {
  options_.module_file = MTLLIB_MODULE;
  EXPECT_THAT(refusal(MTLHOST_FAILED), HasSubstr("the module cannot check signatures"));
}

}  // namespace
