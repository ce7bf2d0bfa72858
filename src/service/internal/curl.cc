#include "service/internal/curl.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace pluvo::service::internal {

void ensureCurlInitialized() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
      std::fputs("pluvo: libcurl could not be initialised\n", stderr);
      std::abort();
    }
  });
}

CurlUrl parseUrl(const std::string& text) {
  CurlUrl url(curl_url());
  if (!url) return nullptr;
  // Any scheme parses, so that the caller decides which ones it accepts.
  if (curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
    return nullptr;
  }
  return url;
}

std::optional<std::string> urlPart(CURLU* url, CURLUPart part) {
  char* raw = nullptr;
  if (curl_url_get(url, part, &raw, 0) != CURLUE_OK || raw == nullptr) return std::nullopt;
  CurlString owned(raw);
  return std::string(owned.get());
}

}  // namespace pluvo::service::internal
