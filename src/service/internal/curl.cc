#include "service/internal/curl.h"

#include <dlfcn.h>

#include <cstdlib>

namespace pluvo::service::internal {

namespace {

// The ABI version Debian's libcurl4 packages (OpenSSL, GnuTLS or NSS flavour) all provide.
constexpr const char* kLibrary = "libcurl.so.4";

Error cannotLoad(std::string_view what) {
  return Error{"cannot load " + std::string(kLibrary) + " (" + std::string(what) +
               "); install libcurl4 (Debian: apt-get install libcurl4)"};
}

template <typename Function>
bool bind(void* library, Function& slot, const char* name) {
  void* found = ::dlsym(library, name);
  slot = reinterpret_cast<Function>(found);
  return found != nullptr;
}

Expected<CurlApi> load() {
  // Never closed: libcurl keeps global state for the process's lifetime.
  void* library = ::dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* why = ::dlerror();
    return std::unexpected(cannotLoad(why != nullptr ? why : "not found"));
  }
  CurlApi api{};
  const char* missing = nullptr;
  auto need = [&](auto& slot, const char* name) {
    if (missing == nullptr && !bind(library, slot, name)) missing = name;
  };
  need(api.global_init, "curl_global_init");
  need(api.global_cleanup, "curl_global_cleanup");
  need(api.easy_init, "curl_easy_init");
  need(api.easy_setopt, "curl_easy_setopt");
  need(api.easy_perform, "curl_easy_perform");
  need(api.easy_getinfo, "curl_easy_getinfo");
  need(api.easy_strerror, "curl_easy_strerror");
  need(api.easy_cleanup, "curl_easy_cleanup");
  need(api.share_init, "curl_share_init");
  need(api.share_setopt, "curl_share_setopt");
  need(api.share_cleanup, "curl_share_cleanup");
  need(api.slist_append, "curl_slist_append");
  need(api.slist_free_all, "curl_slist_free_all");
  need(api.url, "curl_url");
  need(api.url_set, "curl_url_set");
  need(api.url_get, "curl_url_get");
  need(api.url_cleanup, "curl_url_cleanup");
  need(api.free, "curl_free");
  need(api.getdate, "curl_getdate");
  if (missing != nullptr) return std::unexpected(cannotLoad(std::string(missing) + " is missing"));
  return api;
}

}  // namespace

const Expected<CurlApi>& loadCurl() {
  static const Expected<CurlApi> api = load();
  return api;
}

const CurlApi& curl() {
  const Expected<CurlApi>& api = loadCurl();
  if (!api) std::abort();  // a handle or a checked caller implies a loaded library
  return *api;
}

CurlLibrary::CurlLibrary() {
  const Expected<CurlApi>& api = loadCurl();
  if (!api) {
    error_ = api.error().message;
  } else if (CURLcode code = api->global_init(CURL_GLOBAL_DEFAULT); code != CURLE_OK) {
    error_ = std::string("libcurl could not be set up: ") + api->easy_strerror(code);
  }
}

CurlLibrary::~CurlLibrary() {
  if (!error_) curl().global_cleanup();
}

CurlUrl parseUrl(const std::string& text) {
  if (!loadCurl()) return nullptr;
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
