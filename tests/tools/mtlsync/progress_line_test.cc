// Tests how progress looks at every width.
#include "mtlsync/progress_line.h"

#include <gtest/gtest.h>

#include <limits>

#include "common/display_width.h"

namespace mtlsync {
namespace {

using mtlhost::Progress;

/// As the module is followed, whose totals are rounded.
const Progress kHalfway{"Downloading files", 450, 8, 19, 8550000, Progress::kUnknown, 12300000, 3};

TEST(ProgressLine, ShowsAsMuchAsFits) {
  EXPECT_EQ(progressLine(kHalfway, "", 79),
            "Downloading files  [=======>         ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left");
  EXPECT_EQ(progressLine(kHalfway, "", 60),
            "[=======>         ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left");
  EXPECT_EQ(progressLine(kHalfway, "", 40), " 45%  8.6 / 19 MB  12.3 MB/s  0:03 left");
  EXPECT_EQ(progressLine(kHalfway, "", 30), " 45%  8.6 / 19 MB  12.3 MB/s");
  EXPECT_EQ(progressLine(kHalfway, "", 20), " 45%  8.6 / 19 MB");
  EXPECT_EQ(progressLine(kHalfway, "", 6), " 45%");
}

TEST(ProgressLine, ShowsTheFileWhereThereIsRoom) {
  const std::string file = "textures/wood/oak.tx";
  Progress progress = kHalfway;
  EXPECT_EQ(progressLine(progress, file, 99),
            "Downloading files  [====>     ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left  "
            "textures/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, file, 79),
            "[====>     ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left  textures/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, file, 72),
            "[====>     ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left  ...es/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, file, 60),
            " 45%  8.6 / 19 MB  12.3 MB/s  0:03 left  ...ures/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, file, 36), " 45%  8.6 / 19 MB  ...es/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, file, 30), " 45%  8.6 / 19 MB  12.3 MB/s");
  progress.permille = Progress::kUnknown;
  EXPECT_EQ(progressLine(progress, file, 79),
            "Downloading files  8.6 / 19 MB  12.3 MB/s  textures/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, file, 45), "8.6 / 19 MB  12.3 MB/s  textures/wood/oak.tx");
}

TEST(ProgressLine, KeepsItsShapeFromFileToFile) {
  for (int columns = 20; columns <= 120; ++columns) {
    const std::string line = progressLine(kHalfway, "a", columns);
    const std::string file(100, 'a');
    const std::size_t shape = line.find_last_not_of('a') + 1;
    EXPECT_EQ(progressLine(kHalfway, file, columns).substr(0, shape), line.substr(0, shape))
        << columns;
  }
}

TEST(ProgressLine, LeavesOutWhatIsUnknown) {
  EXPECT_EQ(progressLine({"Downloading files", 0, 0, 19}, "", 79),
            "Downloading files  [>                                      ]    0%  0.0 / 19 MB");
  EXPECT_EQ(progressLine({"Downloading files", 500, 0, -1, 4200}, "", 40),
            "[============>           ]   50%  4.2 kB");
  EXPECT_EQ(progressLine({"Getting file list"}, "", 79), "Getting file list  0 bytes");
  EXPECT_EQ(progressLine({"Getting file list", -1, 1, -1, 1234567, -1, 2000000}, "", 79),
            "Getting file list  1.2 MB  2.0 MB/s");
  EXPECT_EQ(progressLine({"Getting file list"}, "", 10), "Getting...");
}

TEST(ProgressLine, ShowsExactTotals) {
  EXPECT_EQ(progressLine({"Downloading files", 500, 9, 18, 9500000, 19040000}, "", 30),
            " 50%  9.5 / 19.0 MB");
  EXPECT_EQ(progressLine({"Downloading files", 500, 0, 0, 4200, 8300}, "", 30),
            " 50%  4.2 kB / 8.3 kB");
}

TEST(ProgressLine, IsFullAtTheEndAndBeyond) {
  const std::string full =
      "Downloading files  [========================================]  100%  19.0 / 19 MB";
  EXPECT_EQ(progressLine({"Downloading files", 1000, 19, 19, 19000000}, "", 90), full);
  EXPECT_EQ(progressLine({"Downloading files", 5000, 19, 19, 19000000}, "", 90), full);
}

TEST(ProgressLine, FitsEveryWidth) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const Progress huge{
      "Downloading files", 1000, kMost / 1000000, kMost / 1000000, kMost, kMost, 9e18, 1e15};
  for (int columns = 0; columns <= 200; ++columns) {
    for (int permille = Progress::kUnknown; permille <= 1000; permille += 77) {
      Progress progress = kHalfway;
      progress.permille = permille;
      EXPECT_LE(progressLine(progress, "", columns).size(), static_cast<std::size_t>(columns));
      const std::string file = "木材/\xF0\x9F\x8C\xB3/a long name of a file";
      EXPECT_LE(common::displayWidth(progressLine(progress, file, columns)), columns);
    }
    EXPECT_LE(progressLine(huge, "", columns).size(), static_cast<std::size_t>(columns));
  }
}

TEST(ProgressNote, IsShort) {
  EXPECT_EQ(progressNote(kHalfway), "Downloading files: 45 % (8.6 of 19 MB)");
  EXPECT_EQ(progressNote({"Downloading files", 100, 0, -1, 4200}),
            "Downloading files: 10 % (4.2 kB)");
  EXPECT_EQ(progressNote({"Getting file list"}), "Getting file list");
}

TEST(ProgressNote, NeverShowsMoreThanTheTotal) {
  Progress progress = kHalfway;
  progress.bytesDone = 19999999;
  EXPECT_EQ(progressNote(progress), "Downloading files: 45 % (19.0 of 19 MB)");
}

}  // namespace
}  // namespace mtlsync
