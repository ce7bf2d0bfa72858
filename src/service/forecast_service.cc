#include "service/forecast_service.h"

#include <system_error>
#include <utility>

#include "service/base_url.h"

namespace pluvo::service {
namespace {

std::string baseURLFor(platform::Environment& env, const std::optional<InfoDictionary>& given) {
  if (given) return resolveBaseURL(*given);
  std::optional<std::filesystem::path> path = findInfoDictionary();
  if (!path) return resolveBaseURL({});
  Expected<InfoDictionary> bundled = loadInfoDictionary(*path);
  if (!bundled) {
    env.diagnose("Pluvo API information dictionary unusable, default base URL used: " +
                 bundled.error().message);
    return resolveBaseURL({});
  }
  return resolveBaseURL(*bundled);
}

TransportConfiguration completed(platform::Environment& env, TransportConfiguration transport) {
  if (!transport.cache.directory) {
    if (auto caches = env.cachesDirectory()) transport.cache.directory = *caches / "http-cache";
  }
  if (!transport.clock) transport.clock = [&env] { return toWallTime(env.now()); };
  return transport;
}

}  // namespace

ForecastService::ForecastService(platform::Environment& env, ForecastServiceOptions options)
    : env_(env),
      baseURL_(baseURLFor(env, options.info)),
      transport_(completed(env, std::move(options.transport))) {}

}  // namespace pluvo::service
