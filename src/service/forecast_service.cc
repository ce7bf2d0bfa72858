#include "service/forecast_service.h"

#include <system_error>
#include <utility>

#include "service/base_url.h"

namespace pluvo::service {
namespace {

// The dictionary's choice; a value that was set but could not be used is one log line,
// so that a request failing against the default says why it went there.
std::string chosen(platform::Environment& env, const InfoDictionary& info) {
  BaseURLChoice choice = chooseBaseURL(info);
  if (choice.ignored) env.log("Pluvo API " + *choice.ignored);
  return choice.url;
}

std::string baseURLFor(platform::Environment& env, const std::optional<InfoDictionary>& given) {
  if (given) return chosen(env, *given);
  std::optional<std::filesystem::path> path = findInfoDictionary();
  if (!path) return resolveBaseURL({});
  Expected<InfoDictionary> bundled = loadInfoDictionary(*path);
  if (!bundled) {
    env.diagnose("Pluvo API information dictionary unusable, default base URL used: " +
                 bundled.error().message);
    return resolveBaseURL({});
  }
  return chosen(env, *bundled);
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
