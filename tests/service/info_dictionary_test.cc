#include "service/info_dictionary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdlib>

#include "support/test_support.h"

namespace pluvo::service {
namespace {

using ::testing::HasSubstr;

TEST(InfoDictionaryTest, ReadsBinaryPropertyListsAndTellsMistypedFromAbsent) {
  plist_t root = plist_new_dict();
  plist_dict_set_item(root, "PluvoAPIBaseURL", plist_new_string("https://bin.pluvo.test"));
  plist_dict_set_item(root, "PLUVO_API_BASE_URL", plist_new_uint(42));
  char* bytes = nullptr;
  uint32_t length = 0;
  plist_to_bin(root, &bytes, &length);
  plist_free(root);
  ASSERT_NE(bytes, nullptr);
  std::string binary(bytes, length);
  std::free(bytes);
  pluvo::testing::TemporaryDirectory folder;
  pluvo::testing::writeFileBytes(folder.path() / "Info.plist", binary);

  Expected<InfoDictionary> info = loadInfoDictionary(folder.path() / "Info.plist");

  ASSERT_TRUE(info.has_value()) << info.error().message;
  ASSERT_NE(info->text("PluvoAPIBaseURL"), nullptr);
  EXPECT_EQ(*info->text("PluvoAPIBaseURL"), "https://bin.pluvo.test");
  EXPECT_EQ(info->text("PLUVO_API_BASE_URL"), nullptr);
  EXPECT_TRUE(info->entries.contains("PLUVO_API_BASE_URL"));
  EXPECT_FALSE(info->entries.contains("CFBundleIdentifier"));
}

TEST(InfoDictionaryTest, UnusableFilesGiveAnErrorNamingTheFile) {
  pluvo::testing::TemporaryDirectory folder;
  const std::filesystem::path missing = folder.path() / "missing.plist";
  const std::filesystem::path empty = folder.path() / "empty.plist";
  const std::filesystem::path garbage = folder.path() / "garbage.plist";
  const std::filesystem::path array = folder.path() / "array.plist";
  pluvo::testing::writeFileBytes(empty, "");
  pluvo::testing::writeFileBytes(garbage, "PluvoAPIBaseURL = https://x.test\n");
  pluvo::testing::writeFileBytes(
      array,
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>a</string></array></plist>");

  EXPECT_EQ(loadInfoDictionary(missing).error().message,
            "cannot read " + missing.string() + ": No such file or directory");
  EXPECT_EQ(loadInfoDictionary(empty).error().message,
            empty.string() + ": not a property list (the file is empty)");
  EXPECT_EQ(loadInfoDictionary(garbage).error().message,
            garbage.string() + ": not a property list");
  EXPECT_EQ(loadInfoDictionary(array).error().message,
            array.string() + ": the property list's top level is not a dictionary");
}

}  // namespace
}  // namespace pluvo::service
