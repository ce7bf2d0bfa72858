// Ownership and small helpers for libcurl's C handles, shared by the service's units.
//
// Every handle lives in a std::unique_ptr with its destroy function. `ensureCurlInitialized`
// runs curl's global set-up exactly once per process, before the first handle is made.
//
//   internal::ensureCurlInitialized();
//   internal::CurlUrl url = internal::parseUrl("https://api.pluvo.app");
//   if (!url) ...;  // not an absolute URL
//
// Thread safety: the helpers may run on any thread; a handle belongs to one thread at a time.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace pluvo::service::internal {

struct CurlEasyDeleter {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct CurlShareDeleter {
  void operator()(CURLSH* handle) const { curl_share_cleanup(handle); }
};
struct CurlUrlDeleter {
  void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
};
struct CurlSlistDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct CurlFreeDeleter {
  void operator()(char* text) const { curl_free(text); }
};

using CurlEasy = std::unique_ptr<CURL, CurlEasyDeleter>;
using CurlShare = std::unique_ptr<CURLSH, CurlShareDeleter>;
using CurlUrl = std::unique_ptr<CURLU, CurlUrlDeleter>;
using CurlSlist = std::unique_ptr<curl_slist, CurlSlistDeleter>;
using CurlString = std::unique_ptr<char, CurlFreeDeleter>;

// curl_global_init, once per process.
void ensureCurlInitialized();

// Parses an absolute URL of any scheme; nullptr when curl cannot read it.
CurlUrl parseUrl(const std::string& text);

// One part of a parsed URL (CURLUPART_SCHEME, CURLUPART_HOST, ...); nullopt when it is absent.
std::optional<std::string> urlPart(CURLU* url, CURLUPart part);

}  // namespace pluvo::service::internal
