// Where the forecast service lives: the base URL of every chart request.
//
// The base URL comes from the information dictionary, keys "PluvoAPIBaseURL" then
// "PLUVO_API_BASE_URL" (the process environment is not consulted). A key is skipped when it is
// absent or not text, or when its trimmed text is empty, still holds an unexpanded build
// setting ("$(PLUVO_API_BASE_URL)"), or reads "not_configured" in any case. The first key that
// survives decides: its text is used as written when it parses with a scheme and a host, and
// otherwise the fixed default is used. A malformed first value deliberately does not fall
// through to the second key, so a typo in the main setting cannot silently route requests to a
// leftover secondary one.
//
//   std::string base = resolveBaseURL(*loadInfoDictionary("Info.plist"));
//
// The program resolves its base URL once and keeps it (`ForecastService`).
// Thread safety: pure.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "service/info_dictionary.h"

namespace pluvo::service {

inline constexpr std::string_view kDefaultBaseURL = "https://api.pluvo.app";
inline constexpr std::array<std::string_view, 2> kBaseURLKeys = {"PluvoAPIBaseURL",
                                                                 "PLUVO_API_BASE_URL"};

// The base URL a dictionary selects, and why a value that was set was not used.
struct BaseURLChoice {
  std::string url;
  // Set when the deciding key's value lacks a scheme or a host: "base URL \"127.0.0.1:8080\"
  // (PluvoAPIBaseURL) has no scheme or host and was ignored; https://api.pluvo.app is used;
  // write it as http://HOST:PORT".
  std::optional<std::string> ignored;
};
BaseURLChoice chooseBaseURL(const InfoDictionary& info);

// The base URL a dictionary selects, or kDefaultBaseURL.
std::string resolveBaseURL(const InfoDictionary& info);

}  // namespace pluvo::service
