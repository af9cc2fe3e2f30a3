// Tests what an entry of a list means.
#include "rules/list_entry.h"

#include <gtest/gtest.h>

namespace mtlrules {
namespace {

TEST(Policy, HasAWord) {
  for (const DownloadPolicy policy :
       {DownloadPolicy::kAlways, DownloadPolicy::kMissing, DownloadPolicy::kNever}) {
    EXPECT_EQ(policyNamed(wordFor(policy)), policy);
  }
  EXPECT_STREQ(wordFor(DownloadPolicy::kMissing), "missing");
  for (const char* word : {"", "Always", "always ", "sometimes"})
    EXPECT_EQ(policyNamed(word), std::nullopt) << word;
}

TEST(Policy, IsAlwaysWithoutAWordAndNeverWithAnUnknownOne) {
  EXPECT_EQ(policyOf(std::nullopt), DownloadPolicy::kAlways);
  EXPECT_EQ(policyOf("always"), DownloadPolicy::kAlways);
  EXPECT_EQ(policyOf("missing"), DownloadPolicy::kMissing);
  EXPECT_EQ(policyOf("never"), DownloadPolicy::kNever);
  EXPECT_EQ(policyOf(""), DownloadPolicy::kNever);
  EXPECT_EQ(policyOf("Missing"), DownloadPolicy::kNever);
  EXPECT_EQ(policyOf(std::string("always\0", 7)), DownloadPolicy::kNever);
}

TEST(LossyVariant, HasANameOfItsOwn) {
  EXPECT_EQ(lossyVariantOf("maps/oak.tx"), "maps/oak.jpeg.tx");
  EXPECT_EQ(lossyVariantOf(".tx"), ".jpeg.tx");
  EXPECT_EQ(lossyVariantOf("a.jpeg.tx"), "a.jpeg.jpeg.tx");
}

TEST(LossyVariant, IsOfMapsAlone) {
  for (const char* name : {"", "tx", "oak.TX", "oak.tx ", "oak.txt", "oak.mat"})
    EXPECT_EQ(lossyVariantOf(name), std::nullopt) << name;
}

TEST(LossyVariant, NamesItsMap) {
  EXPECT_EQ(mapOfVariant("maps/oak.jpeg.tx"), "maps/oak.tx");
  for (const char* name : {"oak.tx", "oakjpeg.tx", "jpeg.tx", "oak.JPEG.tx"})
    EXPECT_EQ(mapOfVariant(name), std::nullopt) << name;
}

}  // namespace
}  // namespace mtlrules
