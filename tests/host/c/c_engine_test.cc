// Tests the engine through the C functions, which use it unless the module is asked for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <limits>
#include <string>
#include <vector>

#include "mtlhost.h"
#include "support/no_access.h"
#include "support/published_library.h"
#include "support/scripted_server.h"
#include "support/socket.h"
#include "support/temp_dir.h"
#include "update/lock.h"
#include "update/system.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

std::string textOf(const mtlhost_amount& amount) {
  return std::to_string(amount.files) + " with " + std::to_string(amount.bytes);
}

std::string textOf(const mtlhost_file& file) {
  EXPECT_EQ(file.size, sizeof(mtlhost_file));
  static const char* const kinds[] = {"?",       "fetched", "copied",     "withdrawn",
                                      "removed", "skipped", "damaged",    "missing",
                                      "extra",   "changed", "wrong size", "unreadable"};
  std::string text = std::string(kinds[file.kind]) + " " + file.path;
  if (file.bytes >= 0) text += " of " + std::to_string(file.bytes);
  if (*file.source != '\0') text += std::string(" from ") + file.source;
  return text + file.reason;
}

Lines textsOf(const mtlhost_file* const* files, std::size_t count) {
  Lines lines;
  for (std::size_t i = 0; i < count; ++i)
    lines.push_back(textOf(*files[i]));
  return lines;
}

class CEngine : public testing::Test {
 protected:
  CEngine() {
    options_.size = sizeof(options_);
    options_.remote_address = address_.c_str();
    options_.target_directory = copy_.c_str();
    options_.proxy_mode = MTLHOST_PROXY_NONE;
    options_.callback = [](const mtlhost_event* event, void* user) {
      return static_cast<CEngine*>(user)->onEvent_(*event);
    };
    options_.user = this;
  }
  ~CEngine() override { mtlhost_close(library_); }

  mtlhost_library* open() {
    mtlhost_close(library_);
    EXPECT_EQ(mtlhost_open(&options_, &library_, nullptr), MTLHOST_OK);
    return library_;
  }
  const mtlhost_result& result() { return *mtlhost_last_result(library_); }
  Lines differences() { return textsOf(result().differences, result().difference_count); }
  std::string failure() { return mtlhost_error_message(mtlhost_last_error(library_)); }
  /// A copy of "a", "b" and "c", of which the library then changes "b", and has "d" in the place of
  /// "c", with the content of "a".
  void publishAnew() {
    published_.publish("one", {{"a", "aa"}, {"b", "b"}, {"c", "ccc"}});
    EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
    published_.publish("two", {{"a", "aa"}, {"b", "BBBB"}, {"d", "aa"}});
  }

  TempDir dir_;
  ScriptedServer server_;
  PublishedLibrary published_{server_, "/lib"};
  const std::string address_ = published_.address();
  const std::string copy_ = dir_ / "copy";
  std::function<int(const mtlhost_event& event)> onEvent_ = [](const mtlhost_event&) { return 0; };
  mtlhost_options options_{};
  mtlhost_library* library_ = nullptr;
};

TEST_F(CEngine, SaysWhatItDid) {
  publishAnew();
  EXPECT_EQ(textOf(result().fetched), "3 with 6");
  options_.flags = MTLHOST_PRUNE;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  EXPECT_EQ(result().size, sizeof(mtlhost_result));
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_NONE);
  EXPECT_EQ(result().is_changed, 1);
  EXPECT_STREQ(result().stamp, "two");
  EXPECT_EQ(textOf(result().fetched), "1 with 4");
  EXPECT_EQ(textOf(result().copied), "1 with 2");
  EXPECT_EQ(textOf(result().removed), "1 with 3");
  EXPECT_EQ(textOf(result().withdrawn), "0 with 0");
  EXPECT_EQ(textOf(result().unchanged), "1 with 2");
  EXPECT_GT(result().received_bytes, 4);
  EXPECT_GT(result().commit_microseconds, 0);
  const auto pathsOf = [](const char* const* paths, std::size_t count) {
    return Lines(paths, paths + count);
  };
  EXPECT_THAT(pathsOf(result().changed_paths, result().changed_count), ElementsAre("b", "d"));
  EXPECT_THAT(pathsOf(result().removed_paths, result().removed_count), ElementsAre("c"));
}

TEST_F(CEngine, HasAnEmptyResultBeforeTheFirstOperation) {
  open();
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_NONE);
  EXPECT_EQ(result().is_changed, 0);
  EXPECT_STREQ(result().stamp, "");
  EXPECT_EQ(result().changed_count, 0U);
  EXPECT_EQ(mtlhost_last_plan(library_), nullptr);
  EXPECT_EQ(mtlhost_last_result(nullptr), nullptr);
  EXPECT_EQ(mtlhost_last_plan(nullptr), nullptr);
}

TEST_F(CEngine, PlansWithoutWritingAnything) {
  publishAnew();
  EXPECT_EQ(mtlhost_plan(open()), MTLHOST_UPDATE_AVAILABLE);
  const mtlhost_update_plan* plan = mtlhost_last_plan(library_);
  ASSERT_NE(plan, nullptr);
  EXPECT_EQ(plan->size, sizeof(mtlhost_update_plan));
  EXPECT_THAT(textsOf(plan->files, plan->file_count),
              ElementsAre("fetched b of 4", "copied d of 2 from a", "withdrawn c of 3"));
  EXPECT_EQ(textOf(plan->fetched), "1 with 4");
  EXPECT_EQ(textOf(plan->copied), "1 with 2");
  EXPECT_EQ(textOf(plan->replaced), "1 with 1");
  EXPECT_EQ(textOf(plan->removed), "0 with 0");
  EXPECT_EQ(textOf(plan->withdrawn), "1 with 3");
  EXPECT_EQ(textOf(plan->unchanged), "1 with 2");
  EXPECT_EQ(plan->unknown_sizes, 0);
  EXPECT_GT(plan->space_needed, 0);
  EXPECT_GT(plan->space_available, plan->space_needed);
  EXPECT_EQ(readFile(copy_ + "/b"), "b");
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_OK);
  EXPECT_EQ(mtlhost_last_plan(library_), nullptr) << "of another operation";
  EXPECT_EQ(mtlhost_plan(library_), MTLHOST_OK);
  EXPECT_EQ(mtlhost_last_plan(library_)->file_count, 0U);
}

TEST_F(CEngine, PlansWithTheConflictsThatItPassesOver) {
  published_.publish("one", {{"a", "aa"}});
  writeFile(copy_ + "/a/b", "of the user");
  EXPECT_EQ(mtlhost_plan(open()), MTLHOST_UPDATE_AVAILABLE);
  const mtlhost_update_plan* plan = mtlhost_last_plan(library_);
  ASSERT_EQ(plan->file_count, 1U);
  EXPECT_EQ(plan->files[0]->kind, MTLHOST_FILE_SKIPPED);
  EXPECT_STREQ(plan->files[0]->path, "a");
  EXPECT_EQ(plan->files[0]->bytes, -1);
  EXPECT_STRNE(plan->files[0]->reason, "");
}

TEST_F(CEngine, VerifiesAndRepairs) {
  published_.publish("one", {{"a", "a"}, {"b", "b"}, {"c", "c"}});
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  EXPECT_EQ(mtlhost_verify(library_), MTLHOST_OK);
  EXPECT_EQ(textOf(result().compared), "3 with 3");
  writeFile(copy_ + "/b", "x");
  std::filesystem::remove(copy_ + "/c");
  writeFile(copy_ + "/d", "");
  writeFile(copy_ + "/a", "aa");
  EXPECT_EQ(mtlhost_verify(library_), MTLHOST_DIFFERENT);
  EXPECT_THAT(differences(),
              testing::UnorderedElementsAre("wrong size a", "damaged b", "missing c", "extra d"));
  EXPECT_EQ(mtlhost_repair(library_), MTLHOST_OK);
  EXPECT_EQ(textOf(result().fetched), "3 with 3");
  EXPECT_THAT(differences(), IsEmpty());
  EXPECT_EQ(readFile(copy_ + "/b"), "b");
}

TEST_F(CEngine, SaysWhyAFileCannotBeRead) {
  published_.publish("one", {{"a", "a"}});
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  const NoAccess closed({std::filesystem::u8path(copy_ + "/a")});
  EXPECT_EQ(mtlhost_verify(library_), MTLHOST_DIFFERENT);
  ASSERT_EQ(result().difference_count, 1U);
  EXPECT_EQ(result().differences[0]->kind, MTLHOST_FILE_UNREADABLE);
  EXPECT_STRNE(result().differences[0]->reason, "");
}

TEST_F(CEngine, ReportsThePlanAndEachFile) {
  publishAnew();
  Lines lines;
  onEvent_ = [&](const mtlhost_event& event) {
    EXPECT_EQ(event.plan != nullptr, event.kind == MTLHOST_EVENT_PLANNED);
    EXPECT_EQ(event.file != nullptr, event.kind == MTLHOST_EVENT_FILE);
    if (event.plan != nullptr) {
      lines.push_back("planned " + textOf(event.plan->fetched));
      EXPECT_EQ(event.plan->file_count, 3U);
    }
    if (event.file != nullptr) {
      lines.push_back(textOf(*event.file));
      EXPECT_STREQ(event.text, event.file->path);
    }
    return 0;
  };
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  ASSERT_THAT(lines, testing::SizeIs(4));
  EXPECT_EQ(lines.front(), "planned 1 with 4");
  EXPECT_THAT(lines, testing::UnorderedElementsAre("planned 1 with 4", "fetched b of 4",
                                                   "copied d of 2 from a", "withdrawn c of 3"));
}

TEST_F(CEngine, ReportsProgressInBytes) {
  published_.publish("one", {{"a", std::string(2500000, 'a')}});
  std::int64_t done = 0;
  std::int64_t total = 0;
  onEvent_ = [&](const mtlhost_event& event) {
    if (event.kind != MTLHOST_EVENT_PROGRESS) {
      EXPECT_EQ(event.bytes_done, -1);
      EXPECT_EQ(event.bytes_total, -1);
      EXPECT_EQ(event.bytes_per_second, 0);
      EXPECT_EQ(event.seconds_left, -1);
    } else if (std::string(event.text) == "Downloading files") {
      EXPECT_GE(event.bytes_done, done);
      done = event.bytes_done;
      total = event.bytes_total;
    }
    return 0;
  };
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  EXPECT_EQ(done, 2500000);
  EXPECT_EQ(total, 2500000);
}

TEST_F(CEngine, GivesPathsInValidUtf8) {
  published_.publish("one", {{"\xFF", "a"}});
  server_.serve("/lib/%FF", "a");
  EXPECT_EQ(mtlhost_plan(open()), MTLHOST_UPDATE_AVAILABLE);
  EXPECT_STREQ(mtlhost_last_plan(library_)->files[0]->path, "\xEF\xBF\xBD");
}

TEST_F(CEngine, SaysWhatKindOfFailureItMet) {
  options_.tries = 1;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_NETWORK);
  EXPECT_EQ(mtlhost_error_http_status(mtlhost_last_error(library_)), 404);
  EXPECT_EQ(mtlhost_error_connection_reason(mtlhost_last_error(library_)), 0);
  EXPECT_EQ(mtlhost_error_http_status(nullptr), 0);
  EXPECT_EQ(mtlhost_error_connection_reason(nullptr), 0);
  options_.flags = MTLHOST_USE_MODULE;
  for (const auto operation : {mtlhost_plan, mtlhost_verify, mtlhost_repair}) {
    EXPECT_EQ(operation(open()), MTLHOST_FAILED);
    EXPECT_EQ(result().failure, MTLHOST_FAILURE_USAGE);
  }
}

TEST_F(CEngine, SaysWhichConnectionFailed) {
  options_.tries = 1;
  options_.remote_address = "http://127.0.0.1:1/lib";
  EXPECT_EQ(mtlhost_check(open()), MTLHOST_FAILED);
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_NETWORK);
  EXPECT_EQ(mtlhost_error_connection_reason(mtlhost_last_error(library_)), 2);
  EXPECT_EQ(mtlhost_error_http_status(mtlhost_last_error(library_)), 0);
}

TEST_F(CEngine, ExplainsAFailureToUsers) {
  options_.tries = 1;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  const mtlhost_error* error = mtlhost_last_error(library_);
  EXPECT_EQ(mtlhost_error_kind(error), MTLHOST_KIND_ANSWER);
  EXPECT_EQ(mtlhost_error_about(error), address_ + "/id.txt");
  EXPECT_EQ(mtlhost_error_sentence(error),
            "Could not fetch " + address_ +
                "/id.txt: the server answered with HTTP status 404: there is no such file.");
  EXPECT_STREQ(mtlhost_error_hint(error),
               "Check the address: a library has the files id.txt and filelist.json there.");
}

TEST_F(CEngine, ExplainsNothingWhereThereIsNothing) {
  EXPECT_EQ(mtlhost_error_kind(nullptr), MTLHOST_KIND_OTHER);
  for (const char* text :
       {mtlhost_error_about(nullptr), mtlhost_error_sentence(nullptr), mtlhost_error_hint(nullptr)})
    EXPECT_STREQ(text, "");
}

TEST_F(CEngine, SendsRequestsAsItIsTold) {
  options_.tries = 1;
  options_.query = "sig=secret";
  options_.user_agent = "modeller/2.1";
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(server_.requestLines(), Lines{"GET /lib/id.txt?sig=secret"});
  EXPECT_EQ(server_.requests().back().header("User-Agent"), "modeller/2.1");
  EXPECT_THAT(failure(), testing::Not(HasSubstr("secret")));
  const char* const field = "Authorization: Bearer secret";
  options_.fields = &field;
  options_.field_count = 1;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(mtlhost_error_kind(mtlhost_last_error(library_)), MTLHOST_KIND_ADDRESS)
      << "they are sent over https alone";
  options_.field_count = 0;
  mtlhost_library* none = nullptr;
  EXPECT_EQ(mtlhost_open(&options_, &none, nullptr), MTLHOST_WRONG_USE);
}

TEST_F(CEngine, TriesAsOftenAsItIsTold) {
  server_.serveStatus("/lib/id.txt", 503, "busy");
  options_.tries = 2;
  EXPECT_EQ(mtlhost_check(open()), MTLHOST_FAILED);
  EXPECT_EQ(server_.requests().size(), 2U);
}

TEST_F(CEngine, KeepsTheLimitsOfSizes) {
  published_.publish("one", {{"a", "aaaa"}, {"b", "bbbb"}});
  options_.largest_file = 3;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_LIMIT);
  options_.largest_file = 4;
  options_.largest_total = 7;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_LIMIT);
  options_.largest_total = 1000;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
}

TEST_F(CEngine, KeepsTheLimitOfTime) {
  published_.publish("one", {{"a", "a"}});
  server_.hold("/lib/a");
  options_.max_seconds = 1;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_LIMIT);
  server_.release("/lib/a");
  options_.max_seconds = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
}

TEST_F(CEngine, FetchesEverythingWhenAsked) {
  published_.publish("one", {{"a", "a"}, {"b", "b"}});
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  options_.flags = MTLHOST_FULL;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  EXPECT_EQ(textOf(result().fetched), "2 with 2");
}

TEST_F(CEngine, RemovesMostOfACopyOnlyWhenAsked) {
  published_.publish("one", {{"a", "a"}, {"b", "b"}, {"c", "c"}});
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  published_.publish("two", {{"a", "a"}});
  options_.flags = MTLHOST_PRUNE;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_USAGE);
  options_.flags = MTLHOST_PRUNE_MOST;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  EXPECT_EQ(textOf(result().removed), "2 with 2");
}

TEST_F(CEngine, FailsOrWaitsWhileAnotherRunIsAtWork) {
  published_.publish("one", {{"a", "a"}});
  mtlupdate::Folder folder;
  ASSERT_FALSE(folder.open(copy_, true));
  mtlupdate::Lock lock;
  ASSERT_FALSE(lock.take(folder));
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_ANOTHER_RUN);
  EXPECT_THAT(failure(), HasSubstr("another run is using this folder"));
  options_.flags = MTLHOST_WAIT;
  int waited = 0;
  onEvent_ = [&](const mtlhost_event& event) {
    if (event.kind == MTLHOST_EVENT_WAITING && ++waited == 2) lock = {};
    return 0;
  };
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK);
  EXPECT_EQ(waited, 2);
}

TEST_F(CEngine, SaysThatAnUpdateIsUnfinished) {
  published_.publish("one", {{"a", "a"}, {"b", "b"}});
  EXPECT_EQ(mtlhost_is_unfinished(copy_.c_str()), 0);
  EXPECT_EQ(mtlhost_is_unfinished(nullptr), 0);
  server_.remove("/lib/b");
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_FAILED);
  EXPECT_EQ(mtlhost_is_unfinished(copy_.c_str()), 1);
  published_.publish("one", {{"a", "a"}, {"b", "b"}});
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_OK);
  EXPECT_EQ(mtlhost_is_unfinished(copy_.c_str()), 0);
}

TEST_F(CEngine, IsCancelledWhileItPlans) {
  published_.publish("one", {{"a", "a"}});
  server_.hold("/lib/filelist.json");
  open();
  std::promise<void> begun;
  bool hasBegun = false;
  onEvent_ = [&](const mtlhost_event& event) {
    if (event.text == std::string("Getting file list") && !hasBegun) {
      hasBegun = true;
      begun.set_value();
    }
    return 0;
  };
  std::future<int> code = std::async(std::launch::async, [this] { return mtlhost_plan(library_); });
  begun.get_future().wait();
  mtlhost_cancel(library_);
  EXPECT_EQ(code.get(), MTLHOST_CANCELLED);
  EXPECT_EQ(result().failure, MTLHOST_FAILURE_NONE);
  EXPECT_EQ(mtlhost_last_plan(library_)->file_count, 0U);
}

TEST_F(CEngine, GoesOnAtAMirror) {
  published_.publish("one", {{"a", "a"}});
  const Socket taken = Socket::refuseOnLoopback();
  const std::string dead = "http://127.0.0.1:" + std::to_string(taken.port()) + "/lib";
  const char* const mirrors[] = {address_.c_str()};
  options_.remote_address = dead.c_str();
  options_.mirrors = mirrors;
  options_.mirror_count = 1;
  options_.tries = 1;
  EXPECT_EQ(mtlhost_sync(open()), MTLHOST_OK) << failure();
  EXPECT_EQ(readFile(copy_ + "/a"), "a");
}

TEST_F(CEngine, RefusesMirrorsWithoutTheirCountAndACountWithoutThem) {
  const char* const mirrors[] = {address_.c_str(), nullptr};
  const auto refusal = [&](const char* const* given, std::size_t count) {
    mtlhost_options options = options_;
    options.mirrors = given;
    options.mirror_count = count;
    mtlhost_error* error = nullptr;
    EXPECT_EQ(mtlhost_open(&options, &library_, &error), MTLHOST_WRONG_USE);
    EXPECT_STREQ(mtlhost_error_message(error),
                 "mtlhost_open() needs each of the mirrors, and their count");
    mtlhost_free_error(error);
  };
  refusal(mirrors, 0);
  refusal(nullptr, 1);
  refusal(mirrors, 2);
}

TEST_F(CEngine, RefusesNegativeNumbers) {
  for (std::int64_t mtlhost_options::*field :
       {&mtlhost_options::bytes_per_second, &mtlhost_options::largest_file,
        &mtlhost_options::largest_total, &mtlhost_options::max_seconds}) {
    mtlhost_options options = options_;
    options.*field = -1;
    mtlhost_error* error = nullptr;
    EXPECT_EQ(mtlhost_open(&options, &library_, &error), MTLHOST_WRONG_USE);
    EXPECT_STREQ(mtlhost_error_message(error), "mtlhost_open() takes no negative numbers");
    mtlhost_free_error(error);
  }
  options_.tries = -1;
  EXPECT_EQ(mtlhost_open(&options_, &library_, nullptr), MTLHOST_WRONG_USE);
}

}  // namespace
