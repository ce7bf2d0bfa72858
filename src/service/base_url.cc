#include "service/base_url.h"

#include <optional>

#include "base/text.h"
#include "service/internal/curl.h"

namespace pluvo::service {
namespace {

std::optional<std::string_view> candidate(const InfoDictionary& info) {
  for (std::string_view key : kBaseURLKeys) {
    const std::string* value = info.text(key);
    if (value == nullptr) continue;
    std::string_view trimmed = trimWhitespace(*value);
    if (trimmed.empty()) continue;
    if (trimmed.find("$(") != std::string_view::npos) continue;
    if (equalsIgnoringAsciiCase(trimmed, "not_configured")) continue;
    return trimmed;
  }
  return std::nullopt;
}

bool hasSchemeAndHost(const std::string& text) {
  internal::CurlUrl url = internal::parseUrl(text);
  if (!url) return false;
  auto scheme = internal::urlPart(url.get(), CURLUPART_SCHEME);
  auto host = internal::urlPart(url.get(), CURLUPART_HOST);
  return scheme && !scheme->empty() && host && !host->empty();
}

}  // namespace

std::string resolveBaseURL(const InfoDictionary& info) {
  // A candidate that does not parse means the default, never the next key. The default itself
  // parses (a test holds it to that).
  if (auto found = candidate(info)) {
    std::string text(*found);
    if (hasSchemeAndHost(text)) return text;
  }
  return std::string(kDefaultBaseURL);
}

}  // namespace pluvo::service
