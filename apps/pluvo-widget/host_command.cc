// `host --out DIR [--once]`: the widget host daemon, wired to the program's real storage,
// forecast service and clock. The logic lives in src/host; this file only assembles it.
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

#include "activity/rain_window.h"
#include "activity_render/draw.h"
#include "app/place_setting.h"
#include "command_registry.h"
#include "commands.h"
#include "extension_stack.h"
#include "host/host_environment.h"
#include "host/kernel_events.h"
#include "host/widget_host.h"
#include "platform/system_environment.h"
#include "widgets/widget_view.h"

namespace pluvo::cli {

namespace {

// The host's images: each kind at the phone's size and 3x, as PNG, in the --profile asked for.
// The pixels are kept from drawing to drawing (render::SurfacePool).
host::WidgetDrawer drawerFor(const CommandContext& context, platform::Environment& env,
                             std::shared_ptr<render::SurfacePool> surfaces) {
  return [profile = context.profile, panel = context.panel, &env, surfaces = std::move(surfaces)](
             std::string_view kind,
             const timeline::PluvoWidgetEntry& entry) -> Expected<host::DrawnWidget> {
    auto image =
        widgets::renderWidget(kind, entry.snapshot, entry.date,
                              {.epaper = epaperFor(profile, panel), .surfaces = surfaces.get()});
    if (!image) return std::unexpected(image.error());
    return host::DrawnWidget{
        .png = std::move(image->bytes),
        .accessibilityText = withCredit(std::move(image->accessibilityText), app::dataCredit(env))};
  };
}

// Tells a service manager that started the host (systemd's Type=notify) that the first round is
// drawn: one datagram on $NOTIFY_SOCKET, a path or, with a leading '@', an abstract name.
void notifyReady() {
  const char* path = std::getenv("NOTIFY_SOCKET");
  if (path == nullptr || path[0] == '\0') return;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const size_t length = std::strlen(path);
  if (length >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, path, length);
  if (path[0] == '@') address.sun_path[0] = '\0';
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return;
  static constexpr std::string_view kMessage = "READY=1\nSTATUS=Every widget drawn\n";
  if (::sendto(fd, kMessage.data(), kMessage.size(), MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr*>(&address),
               socklen_t(offsetof(sockaddr_un, sun_path) + length)) < 0) {
    std::cerr << "pluvo-widget: cannot tell the service manager the host is ready on " << path
              << ": " << std::strerror(errno) << '\n';
  }
  ::close(fd);
}

// The host's Live Activity images: every presentation at 3x, as PNG, each with the description
// `activity render` writes beside its image, the activity's id first.
Expected<std::vector<host::ActivityImage>> drawActivity(TimeZone deviceZone,
                                                        const activity::ActivityFile& file,
                                                        Instant now,
                                                        render::SurfacePool& surfaces) {
  auto drawn = activity_render::drawActivity(
      file, now, {.scale = 3, .deviceZone = deviceZone, .surfaces = &surfaces});
  if (!drawn) return std::unexpected(drawn.error());
  std::vector<host::ActivityImage> result;
  for (activity_render::DrawnPresentation& p : *drawn) {
    std::string fileName = p.fileName;
    DrawnImage image = presentationImage(std::move(p));
    image.names.insert(image.names.begin(), {"id", file.id});
    std::string description = imageDescriptionJson(image, fileName, "color", now);
    result.push_back({.fileName = std::move(fileName),
                      .bytes = std::move(image.bytes),
                      .descriptionJson = std::move(description)});
  }
  return result;
}

}  // namespace

int host(const CommandContext& context, const HostArguments& arguments) {
  // Before any thread exists, so that every thread inherits the mask and the host alone reads
  // these signals.
  host::blockSignals({SIGHUP, SIGINT, SIGTERM});

  platform::SystemEnvironmentOptions options;
  if (!context.containerPath.empty()) options.container = context.containerPath;
  if (!context.cachesPath.empty()) options.caches = context.cachesPath;
  options.deviceZone = context.deviceZone;
  platform::SystemEnvironment system(std::move(options));
  // --now sets where the clock starts; it runs on from there.
  host::HostEnvironment env(system, context.nowGiven ? std::optional(context.now) : std::nullopt);

  auto serviceOptions = forecastServiceOptions(context);
  if (!serviceOptions) return 2;
  ExtensionStack stack(env, std::move(*serviceOptions));

  // Widgets and activities are drawn one at a time on the main loop: one set of kept pixels.
  auto surfaces = std::make_shared<render::SurfacePool>();
  auto widgetHost = host::WidgetHost::open(
      env, stack.provider,
      {.outDir = arguments.outDir,
       .once = arguments.once,
       .drawer = drawerFor(context, env, surfaces),
       .readActivity = activity::decodeActivityFile,
       .activityDrawer =
           [&env, surfaces](const activity::ActivityFile& file, Instant now) {
             return drawActivity(env.deviceTimeZone(), file, now, *surfaces);
           },
       .activityOutputs = {stack.appActivityPart()},
       .handleSignals = true,
       .followSystemTimeZone = !context.zoneGiven && std::getenv("TZ") == nullptr,
       .onIdle =
           [ready = false]() mutable {
             if (!ready) notifyReady();
             ready = true;
           }});
  if (!widgetHost) {
    std::cerr << "pluvo-widget: " << widgetHost.error().message << '\n';
    return 1;
  }
  int status = (*widgetHost)->run();
  // A refresh may still wait on the network: its result is not wanted any more (its writes are
  // already refused), so its request ends now and the pool's workers are joined at once.
  stack.forecasts.transport().cancelAll();
  return status;
}

namespace {

HostArguments hostArguments;
const bool registered = registerCommand(
    {.path = "host",
     .help = "The widget host: keeps every widget current in DIR",
     .example = "pluvo-widget host --out ~/.local/state/pluvo-widgets",
     .options = {{"--out",
                  "The folder of the widgets' entries and images",
                  &hostArguments.outDir,
                  {.required = true}},
                 {"--once", "One round for every kind, then exit", &hostArguments.once}},
     .drawing = DrawingOptions::profileAndPanel,
     .run = [](const CommandContext& c) { return host(c, hostArguments); }});

}  // namespace

}  // namespace pluvo::cli
