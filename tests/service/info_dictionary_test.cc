// Reading the bundle's information dictionary: binary property lists, text values told apart
// from values of other types, and an error naming the file for each kind of unusable file.
// (XML property lists are read in the base URL tests, from the bundled Info.plist; hostile ones
// are refused by the reader the shared defaults use, and tested there.)
#include "service/info_dictionary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdlib>
#include <memory>

#include "support/test_support.h"

namespace pluvo::service {
namespace {

TEST(InfoDictionaryTest, ReadsBinaryPropertyListsAndTellsMistypedFromAbsent) {
  plist_t root = plist_new_dict();
  plist_dict_set_item(root, "PluvoAPIBaseURL", plist_new_string("https://bin.pluvo.test"));
  plist_dict_set_item(root, "PLUVO_API_BASE_URL", plist_new_uint(42));
  char* bytes = nullptr;
  uint32_t length = 0;
  plist_to_bin(root, &bytes, &length);
  plist_free(root);
  std::unique_ptr<char, decltype(&std::free)> owned(bytes, &std::free);

  Expected<InfoDictionary> info = parseInfoDictionary(std::string_view(bytes, length));

  ASSERT_TRUE(info.has_value()) << info.error().message;
  EXPECT_EQ(info->entries, (decltype(info->entries){{"PluvoAPIBaseURL", "https://bin.pluvo.test"},
                                                    {"PLUVO_API_BASE_URL", std::nullopt}}));
  EXPECT_EQ(info->text("PLUVO_API_BASE_URL"), nullptr);
}

// Found by fuzzing: libplist's copying getter aborted the process on such a text.
TEST(InfoDictionaryTest, ATextHoldingANulByteIsPresentButNotText) {
  const std::string bytes = std::string(R"(<?xml version="1.0"?><plist version="1.0"><dict>
  <key>PluvoAPIBaseURL</key><string>https://a.test)") +
                            std::string(1, '\0') + R"(.evil.test</string>
  <key>CFBundleName</key><string>Pluvo</string></dict></plist>)";
  Expected<InfoDictionary> info = parseInfoDictionary(bytes);
  ASSERT_TRUE(info.has_value()) << info.error().message;
  EXPECT_EQ(info->entries, (decltype(info->entries){{"PluvoAPIBaseURL", std::nullopt},
                                                    {"CFBundleName", "Pluvo"}}));
}

TEST(InfoDictionaryTest, UnusableFilesGiveAnErrorNamingTheFile) {
  testing::TemporaryDirectory folder;
  const std::filesystem::path file = folder.path() / "Info.plist";
  const std::pair<std::optional<std::string>, std::string> cases[] = {
      {std::nullopt, "cannot open " + file.string() + ": No such file or directory"},
      {"", file.string() + ": not a property list (the file is empty)"},
      {"PluvoAPIBaseURL = https://x.test\n", file.string() + ": not a property list"},
      {R"(<?xml version="1.0"?><plist version="1.0"><array><string>a</string></array></plist>)",
       file.string() + ": the property list's top level is not a dictionary"},
  };
  for (const auto& [bytes, error] : cases) {
    if (bytes) testing::writeFileBytes(file, *bytes);
    Expected<InfoDictionary> info = loadInfoDictionary(file);
    EXPECT_EQ(info ? "no error" : info.error().message, error);
  }
}

}  // namespace
}  // namespace pluvo::service
