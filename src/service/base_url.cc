#include "service/base_url.h"

#include <optional>

#include "base/text.h"
#include "service/internal/curl.h"

namespace pluvo::service {
namespace {

struct Candidate {
  std::string_view key;
  std::string_view value;
};

std::optional<Candidate> candidate(const InfoDictionary& info) {
  for (std::string_view key : kBaseURLKeys) {
    const std::string* value = info.text(key);
    if (value == nullptr) continue;
    std::string_view trimmed = trimWhitespace(*value);
    if (trimmed.empty()) continue;
    if (trimmed.find("$(") != std::string_view::npos) continue;
    if (equalsIgnoringAsciiCase(trimmed, "not_configured")) continue;
    return Candidate{key, trimmed};
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

BaseURLChoice chooseBaseURL(const InfoDictionary& info) {
  // A candidate that does not parse means the default, never the next key. The default itself
  // parses (a test holds it to that).
  auto found = candidate(info);
  if (!found) return {std::string(kDefaultBaseURL), std::nullopt};
  std::string text(found->value);
  if (hasSchemeAndHost(text)) return {std::move(text), std::nullopt};
  return {std::string(kDefaultBaseURL),
          "base URL \"" + text + "\" (" + std::string(found->key) +
              ") has no scheme or host and was ignored; " + std::string(kDefaultBaseURL) +
              " is used; write it as http://HOST:PORT or https://HOST"};
}

std::string resolveBaseURL(const InfoDictionary& info) { return chooseBaseURL(info).url; }

}  // namespace pluvo::service
