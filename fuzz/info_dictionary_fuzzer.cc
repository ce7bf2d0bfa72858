// The information dictionary (Info.plist, XML or binary) is a file beside the executable or
// named by --info, and it chooses where forecasts are fetched from. Any bytes must give a
// dictionary or an error, and any dictionary must resolve to a base URL.
#include <cstdint>

#include "fuzz_support.h"
#include "service/base_url.h"
#include "service/info_dictionary.h"

using namespace pluvo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto info = service::parseInfoDictionary(fuzz::asText(data, size));
  if (!info) {
    fuzz::require(!info.error().message.empty(), "a failed parse says why");
    return 0;
  }
  for (const auto& [key, value] : info->entries) {
    const std::string* text = info->text(key);
    fuzz::require(value ? text != nullptr && *text == *value : text == nullptr,
                  "a lookup finds each entry as parsed");
  }
  fuzz::require(!service::resolveBaseURL(*info).empty(), "every dictionary gives a base URL");
  return 0;
}
