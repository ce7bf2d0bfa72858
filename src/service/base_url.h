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
//   std::string base = defaultBaseURL();  // this process's, resolved once
//
// Thread safety: `resolveBaseURL` is pure. `defaultBaseURL` is resolved once per process under a
// lock, even when first called from several threads; `useInfoDictionary` takes effect only
// before that.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "service/info_dictionary.h"

namespace pluvo::service {

inline constexpr std::string_view kDefaultBaseURL = "https://api.pluvo.app";
inline constexpr std::array<std::string_view, 2> kBaseURLKeys = {"PluvoAPIBaseURL",
                                                                 "PLUVO_API_BASE_URL"};

// The base URL a dictionary selects, or kDefaultBaseURL.
std::string resolveBaseURL(const InfoDictionary& info);

// Makes `info` the dictionary that `defaultBaseURL` resolves from (the CLI's --info). Returns
// false, changing nothing, when the base URL has already been resolved.
bool useInfoDictionary(InfoDictionary info);

// The process's base URL. Resolved on first use from the dictionary given to
// `useInfoDictionary`, or else from the bundle's Info.plist beside the executable. Without a
// bundle dictionary, or with an unreadable one, the default applies.
std::string defaultBaseURL();

}  // namespace pluvo::service
