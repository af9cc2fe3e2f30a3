// How progress looks at every width.
#include "mtlsync/progress_line.h"

#include <gtest/gtest.h>

#include <limits>

#include "common/display_width.h"

namespace mtlsync {
namespace {

const Progress kHalfway{"Downloading files", 450, 8550000, 19, 12300000, 3};

TEST(ProgressLine, ShowsAsMuchAsFits) {
  EXPECT_EQ(progressLine(kHalfway, 79),
            "Downloading files  [=======>         ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left");
  EXPECT_EQ(progressLine(kHalfway, 60),
            "[=======>         ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left");
  EXPECT_EQ(progressLine(kHalfway, 40), " 45%  8.6 / 19 MB  12.3 MB/s  0:03 left");
  EXPECT_EQ(progressLine(kHalfway, 30), " 45%  8.6 / 19 MB  12.3 MB/s");
  EXPECT_EQ(progressLine(kHalfway, 20), " 45%  8.6 / 19 MB");
  EXPECT_EQ(progressLine(kHalfway, 6), " 45%");
}

TEST(ProgressLine, ShowsTheFileWhereThereIsRoom) {
  Progress progress = kHalfway;
  progress.file = "textures/wood/oak.tx";
  EXPECT_EQ(progressLine(progress, 99),
            "Downloading files  [====>     ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left  "
            "textures/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, 79),
            "[====>     ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left  textures/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, 72),
            "[====>     ]   45%  8.6 / 19 MB  12.3 MB/s  0:03 left  ...es/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, 60),
            " 45%  8.6 / 19 MB  12.3 MB/s  0:03 left  ...ures/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, 36), " 45%  8.6 / 19 MB  ...es/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, 30), " 45%  8.6 / 19 MB  12.3 MB/s");
  progress.permille = Progress::kUnknown;
  EXPECT_EQ(progressLine(progress, 79),
            "Downloading files  8.6 / 19 MB  12.3 MB/s  textures/wood/oak.tx");
  EXPECT_EQ(progressLine(progress, 45), "8.6 / 19 MB  12.3 MB/s  textures/wood/oak.tx");
}

TEST(ProgressLine, KeepsItsShapeFromFileToFile) {
  Progress progress = kHalfway;
  for (int columns = 20; columns <= 120; ++columns) {
    progress.file = "a";
    const std::string line = progressLine(progress, columns);
    progress.file = std::string(100, 'a');
    const std::size_t shape = line.find_last_not_of('a') + 1;
    EXPECT_EQ(progressLine(progress, columns).substr(0, shape), line.substr(0, shape)) << columns;
  }
}

TEST(ProgressLine, LeavesOutWhatIsUnknown) {
  EXPECT_EQ(progressLine({"Downloading files", 0, 0, 19}, 79),
            "Downloading files  [>                                      ]    0%  0.0 / 19 MB");
  EXPECT_EQ(progressLine({"Downloading files", 500, 4200}, 40),
            "[============>           ]   50%  4.2 kB");
  EXPECT_EQ(progressLine({"Getting file list"}, 79), "Getting file list  0 bytes");
  EXPECT_EQ(progressLine({"Getting file list", Progress::kUnknown, 1234567, 0, 2000000}, 79),
            "Getting file list  1.2 MB  2.0 MB/s");
  EXPECT_EQ(progressLine({"Getting file list"}, 10), "Getting...");
}

TEST(ProgressLine, IsFullAtTheEndAndBeyond) {
  const std::string full =
      "Downloading files  [========================================]  100%  19.0 / 19 MB";
  EXPECT_EQ(progressLine({"Downloading files", 1000, 19000000, 19}, 90), full);
  EXPECT_EQ(progressLine({"Downloading files", 5000, 19000000, 19}, 90), full);
}

TEST(ProgressLine, FitsEveryWidth) {
  const Progress huge{"Downloading files",
                      1000,
                      std::numeric_limits<std::int64_t>::max(),
                      std::numeric_limits<std::int64_t>::max() / 1000000,
                      9e18,
                      1e15};
  for (int columns = 0; columns <= 200; ++columns) {
    for (int permille = Progress::kUnknown; permille <= 1000; permille += 77) {
      Progress progress = kHalfway;
      progress.permille = permille;
      EXPECT_LE(progressLine(progress, columns).size(), static_cast<std::size_t>(columns));
      progress.file = "木材/\xF0\x9F\x8C\xB3/a long name of a file";
      EXPECT_LE(common::displayWidth(progressLine(progress, columns)), columns);
    }
    EXPECT_LE(progressLine(huge, columns).size(), static_cast<std::size_t>(columns));
  }
}

TEST(ProgressNote, IsShort) {
  EXPECT_EQ(progressNote(kHalfway), "Downloading files: 45 % (8.6 of 19 MB)");
  EXPECT_EQ(progressNote({"Downloading files", 100, 4200}), "Downloading files: 10 % (4.2 kB)");
  EXPECT_EQ(progressNote({"Getting file list"}), "Getting file list");
}

TEST(ProgressNote, NeverShowsMoreThanTheTotal) {
  Progress progress = kHalfway;
  progress.bytes = 19999999;
  EXPECT_EQ(progressNote(progress), "Downloading files: 45 % (19.0 of 19 MB)");
}

}  // namespace
}  // namespace mtlsync
