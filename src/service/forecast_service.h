// The forecast service as the program owns it: the base URL, resolved once, and the one HTTP
// transport that all of the program's chart requests share (connections, DNS answers, TLS
// sessions, and the response cache in <caches>/http-cache/, memory only without a caches
// folder). The program makes one and keeps it for as long as it makes requests; nothing in the
// service is process-wide.
//
// The base URL comes from the information dictionary handed in (the CLI's --info), else from the
// first dictionary of `infoDictionarySearchPath()` (the user's, the bundle's, the installed one);
// an unreadable one is one diagnostic line and the default. Cached answers age on the environment's
// clock.
//
//   ForecastService service(env);
//   PluvoWidgetRefreshCoordinator coordinator(env, store, service.client());
//
// Thread safety: `client` and the transport may be used from any thread; the service must
// outlive its clients.
#pragma once

#include <optional>
#include <string>

#include "platform/environment.h"
#include "service/chart_api_client.h"
#include "service/http_transport.h"
#include "service/info_dictionary.h"

namespace pluvo::service {

struct ForecastServiceOptions {
  std::optional<InfoDictionary> info{};  // default: the bundle's Info.plist, if there is one
  // The transport's limits; its cache folder and clock are filled in from the environment.
  TransportConfiguration transport{};
};

class ForecastService {
 public:
  explicit ForecastService(platform::Environment& env, ForecastServiceOptions options = {});
  ForecastService(const ForecastService&) = delete;
  ForecastService& operator=(const ForecastService&) = delete;

  const std::string& baseURL() const { return baseURL_; }
  HttpTransport& transport() { return transport_; }
  // A client of this service's base URL and transport.
  ChartAPIClient client() { return ChartAPIClient(env_, baseURL_, transport_); }

 private:
  platform::Environment& env_;
  const std::string baseURL_;
  HttpTransport transport_;
};

}  // namespace pluvo::service
