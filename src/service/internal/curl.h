// libcurl, loaded when the program first needs it, and ownership and small helpers for its C
// handles, shared by the service's units.
//
// The program does not link libcurl: most commands never fetch, and libcurl with its TLS stack
// (OpenSSL, HTTP/2, SSH, Kerberos, LDAP...) costs a fresh process some 6 MB of resident memory
// and a few milliseconds of loading. `loadCurl()` opens libcurl.so.4 on its first call and
// returns the table of the functions the service uses, or why the library cannot be loaded;
// every call goes through that table (`curl()` once it is loaded). The loaded library is the
// only thing the service keeps for the process, as the dynamic loader would for a linked one.
//
// Every handle lives in a std::unique_ptr with its destroy function. A transport holds a
// `CurlLibrary` for as long as it makes requests: libcurl counts the holders of its global
// set-up itself (thread-safely since 7.84), so the service keeps no set-up of its own. Parsing
// URLs needs the library loaded but no set-up.
//
//   internal::CurlUrl url = internal::parseUrl("https://api.pluvo.app");
//   if (!url) ...;  // not an absolute URL, or no libcurl to parse it with
//   internal::curl().easy_setopt(handle, CURLOPT_URL, "https://api.pluvo.app/...");
//
// Thread safety: the helpers may run on any thread; a handle belongs to one thread at a time.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"

namespace pluvo::service::internal {

// The libcurl functions the service calls, with libcurl's own types.
struct CurlApi {
  decltype(&::curl_global_init) global_init;
  decltype(&::curl_global_cleanup) global_cleanup;
  decltype(&::curl_easy_init) easy_init;
  decltype(&::curl_easy_setopt) easy_setopt;
  decltype(&::curl_easy_perform) easy_perform;
  decltype(&::curl_easy_getinfo) easy_getinfo;
  decltype(&::curl_easy_strerror) easy_strerror;
  decltype(&::curl_easy_cleanup) easy_cleanup;
  decltype(&::curl_share_init) share_init;
  decltype(&::curl_share_setopt) share_setopt;
  decltype(&::curl_share_cleanup) share_cleanup;
  decltype(&::curl_slist_append) slist_append;
  decltype(&::curl_slist_free_all) slist_free_all;
  decltype(&::curl_url) url;
  decltype(&::curl_url_set) url_set;
  decltype(&::curl_url_get) url_get;
  decltype(&::curl_url_cleanup) url_cleanup;
  decltype(&::curl_free) free;
  decltype(&::curl_getdate) getdate;
};

// Loads libcurl on the first call (thread-safe); later calls return the same answer. The error
// names the library and the package to install.
const Expected<CurlApi>& loadCurl();

// The loaded table. Only for code that already holds a handle or has checked `loadCurl`;
// calling it without a loaded libcurl is a programming error and aborts.
const CurlApi& curl();

struct CurlEasyDeleter {
  void operator()(CURL* handle) const { curl().easy_cleanup(handle); }
};
struct CurlShareDeleter {
  void operator()(CURLSH* handle) const { curl().share_cleanup(handle); }
};
struct CurlUrlDeleter {
  void operator()(CURLU* handle) const { curl().url_cleanup(handle); }
};
struct CurlSlistDeleter {
  void operator()(curl_slist* list) const { curl().slist_free_all(list); }
};
struct CurlFreeDeleter {
  void operator()(char* text) const { curl().free(text); }
};

using CurlEasy = std::unique_ptr<CURL, CurlEasyDeleter>;
using CurlShare = std::unique_ptr<CURLSH, CurlShareDeleter>;
using CurlUrl = std::unique_ptr<CURLU, CurlUrlDeleter>;
using CurlSlist = std::unique_ptr<curl_slist, CurlSlistDeleter>;
using CurlString = std::unique_ptr<char, CurlFreeDeleter>;

// libcurl loaded and globally set up for as long as the object lives; `error` says why not.
class CurlLibrary {
 public:
  CurlLibrary();
  ~CurlLibrary();
  CurlLibrary(const CurlLibrary&) = delete;
  CurlLibrary& operator=(const CurlLibrary&) = delete;
  bool ready() const { return !error_; }
  // What failed, for the message of a request that cannot be made.
  const std::optional<std::string>& error() const { return error_; }

 private:
  std::optional<std::string> error_;
};

// Parses an absolute URL of any scheme; nullptr when curl cannot read it (or cannot be loaded).
CurlUrl parseUrl(const std::string& text);

// One part of a parsed URL (CURLUPART_SCHEME, CURLUPART_HOST, ...); nullopt when it is absent.
std::optional<std::string> urlPart(CURLU* url, CURLUPart part);

}  // namespace pluvo::service::internal
