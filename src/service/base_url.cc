#include "service/base_url.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <system_error>

#include "service/internal/curl.h"

namespace pluvo::service {
namespace {

// White space and line breaks at either end, including the Unicode ones a pasted value may
// carry (no-break space, line separator, ideographic space, ...), in UTF-8.
constexpr std::array<std::string_view, 25> kBlanks = {" ",
                                                      "\t",
                                                      "\n",
                                                      "\v",
                                                      "\f",
                                                      "\r",
                                                      "\xC2\x85",
                                                      "\xC2\xA0",
                                                      "\xE1\x9A\x80",
                                                      "\xE2\x80\x80",
                                                      "\xE2\x80\x81",
                                                      "\xE2\x80\x82",
                                                      "\xE2\x80\x83",
                                                      "\xE2\x80\x84",
                                                      "\xE2\x80\x85",
                                                      "\xE2\x80\x86",
                                                      "\xE2\x80\x87",
                                                      "\xE2\x80\x88",
                                                      "\xE2\x80\x89",
                                                      "\xE2\x80\x8A",
                                                      "\xE2\x80\xA8",
                                                      "\xE2\x80\xA9",
                                                      "\xE2\x80\xAF",
                                                      "\xE2\x81\x9F",
                                                      "\xE3\x80\x80"};

std::string_view trimBlanks(std::string_view text) {
  for (bool trimmed = true; trimmed && !text.empty();) {
    trimmed = false;
    for (std::string_view blank : kBlanks) {
      if (text.starts_with(blank)) {
        text.remove_prefix(blank.size());
        trimmed = true;
      }
      if (text.ends_with(blank)) {
        text.remove_suffix(blank.size());
        trimmed = true;
      }
    }
  }
  return text;
}

bool equalsIgnoringAsciiCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

std::optional<std::string_view> candidate(const InfoDictionary& info) {
  for (std::string_view key : kBaseURLKeys) {
    const std::string* value = info.text(key);
    if (value == nullptr) continue;
    std::string_view trimmed = trimBlanks(*value);
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

// The process's resolution; guarded by `mutex`: `installed`, `resolved`.
struct ProcessBaseURL {
  std::mutex mutex;
  std::optional<InfoDictionary> installed;
  std::optional<std::string> resolved;
};

ProcessBaseURL& processBaseURL() {
  static ProcessBaseURL* instance = new ProcessBaseURL();  // lives as long as the process
  return *instance;
}

}  // namespace

std::string resolveBaseURL(const InfoDictionary& info) {
  internal::ensureCurlInitialized();
  if (auto found = candidate(info)) {
    std::string text(*found);
    if (hasSchemeAndHost(text)) return text;
  }
  if (!hasSchemeAndHost(std::string(kDefaultBaseURL))) {
    std::fputs("pluvo: the default forecast service URL does not parse\n", stderr);
    std::abort();
  }
  return std::string(kDefaultBaseURL);
}

bool useInfoDictionary(InfoDictionary info) {
  ProcessBaseURL& process = processBaseURL();
  std::lock_guard lock(process.mutex);
  if (process.resolved) return false;
  process.installed = std::move(info);
  return true;
}

std::string defaultBaseURL() {
  ProcessBaseURL& process = processBaseURL();
  std::lock_guard lock(process.mutex);
  if (!process.resolved) {
    if (!process.installed) {
      std::filesystem::path path = bundleInfoDictionaryPath();
      std::error_code error;
      if (std::filesystem::exists(path, error)) {
        // An unreadable dictionary selects nothing: the default applies, as without one.
        if (auto loaded = loadInfoDictionary(path)) process.installed = std::move(*loaded);
      }
    }
    process.resolved = resolveBaseURL(process.installed.value_or(InfoDictionary{}));
  }
  return *process.resolved;
}

}  // namespace pluvo::service
