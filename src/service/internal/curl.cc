#include "service/internal/curl.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace pluvo::service::internal {

namespace {

// The ABI version Debian's libcurl4 packages (OpenSSL, GnuTLS or NSS flavour) all provide.
constexpr const char* kLibrary = "libcurl.so.4";

[[noreturn]] void cannotLoad(const char* what) {
  std::fprintf(stderr,
               "pluvo: cannot load %s (%s); install libcurl4 (Debian: apt-get install libcurl4)\n",
               kLibrary, what);
  std::abort();
}

template <typename Function>
void bind(void* library, Function& slot, const char* name) {
  void* found = ::dlsym(library, name);
  if (found == nullptr) cannotLoad(name);
  slot = reinterpret_cast<Function>(found);
}

CurlApi load() {
  // Never closed: libcurl keeps global state for the process's lifetime.
  void* library = ::dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) cannotLoad(::dlerror());
  CurlApi api{};
  bind(library, api.global_init, "curl_global_init");
  bind(library, api.easy_init, "curl_easy_init");
  bind(library, api.easy_setopt, "curl_easy_setopt");
  bind(library, api.easy_perform, "curl_easy_perform");
  bind(library, api.easy_getinfo, "curl_easy_getinfo");
  bind(library, api.easy_strerror, "curl_easy_strerror");
  bind(library, api.easy_cleanup, "curl_easy_cleanup");
  bind(library, api.share_init, "curl_share_init");
  bind(library, api.share_setopt, "curl_share_setopt");
  bind(library, api.share_cleanup, "curl_share_cleanup");
  bind(library, api.slist_append, "curl_slist_append");
  bind(library, api.slist_free_all, "curl_slist_free_all");
  bind(library, api.url, "curl_url");
  bind(library, api.url_set, "curl_url_set");
  bind(library, api.url_get, "curl_url_get");
  bind(library, api.url_cleanup, "curl_url_cleanup");
  bind(library, api.free, "curl_free");
  bind(library, api.getdate, "curl_getdate");
  return api;
}

}  // namespace

const CurlApi& curl() {
  static const CurlApi api = load();
  return api;
}

void ensureCurlInitialized() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (curl().global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
      std::fputs("pluvo: libcurl could not be initialised\n", stderr);
      std::abort();
    }
  });
}

CurlUrl parseUrl(const std::string& text) {
  CurlUrl url(curl().url());
  if (!url) return nullptr;
  // Any scheme parses, so that the caller decides which ones it accepts.
  if (curl().url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
      CURLUE_OK) {
    return nullptr;
  }
  return url;
}

std::optional<std::string> urlPart(CURLU* url, CURLUPart part) {
  char* raw = nullptr;
  if (curl().url_get(url, part, &raw, 0) != CURLUE_OK || raw == nullptr) return std::nullopt;
  CurlString owned(raw);
  return std::string(owned.get());
}

}  // namespace pluvo::service::internal
