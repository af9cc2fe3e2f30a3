// Tests keys that are given as text or as the name of a file.
#include "signing/named_key.h"

#include <gtest/gtest.h>

#include <string>

#include "support/temp_dir.h"

namespace mtlsigning {
namespace {

bool isNothing(const std::string& keyOrFile) {
  const NamedKey named = keyNamed(keyOrFile);
  return !named.key && !named.error;
}

TEST(NamedKey, IsATextOrInAFile) {
  const TempDir dir;
  PublicKey key;
  key.id[0] = 7;
  key.bytes[31] = 9;
  const std::string text = publicKeyText(key);
  EXPECT_TRUE(keyNamed(text).key == key);
  EXPECT_FALSE(keyNamed(text).error);
  const std::string file = dir / "\xC3\xA4.pub";
  writeFile(file, publicKeyFile(key));
  EXPECT_TRUE(keyNamed(file).key == key);
  EXPECT_FALSE(keyNamed(file).error);
}

TEST(NamedKey, IsNotInJustAnyFile) {
  const TempDir dir;
  EXPECT_TRUE(keyNamed(dir / "none").error);
  EXPECT_TRUE(keyNamed("").error);
  EXPECT_TRUE(keyNamed(std::string("\xFF\xFE")).error);
  for (const std::string& content :
       {std::string(), std::string("RWQ"), std::string(1 << 20, 'R')}) {
    writeFile(dir / "file", content);
    EXPECT_TRUE(isNothing(dir / "file")) << content.size();
  }
}

}  // namespace
}  // namespace mtlsigning
