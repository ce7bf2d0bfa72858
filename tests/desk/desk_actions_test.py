#!/usr/bin/env python3
"""pluvo-desk's actions as a script runs them (`gapplication action org.pluvo.Desk ...`, the
same actions its right-click menu shows), against pluvo-forecast-service over a loopback
Open-Meteo: a second start hands over to the first, set-place by name chooses and saves the place as `pluvo-widget place set` does,
refresh reaches the service, kind redraws the window as the new kind and remembers it, an
unknown kind changes nothing, and quit ends the program with status 0.
  desk_actions_test.py PLUVO_DESK PLUVO_WIDGET FORECAST_SERVICE OPEN_METEO_STAND_IN WORK_DIR
Exit 77 (skipped) when no X server or session bus can be started."""
import os, shutil, subprocess, sys, time

from desk_support import eventually, in_session, png_pixels, screen, window_matching, write_png

desk, cli, service, open_meteo, work = sys.argv[1:5] + [os.path.abspath(sys.argv[5])]
in_session()

NOW = "2026-10-31T20:20:00Z"  # Saturday 1:20 PM in Seattle; the stand-in rains from 2 to 7 PM
ZONE = "America/Los_Angeles"
APP = "org.pluvo.Desk"
SCALE = 2
AT = (10, 10)

shutil.rmtree(work, ignore_errors=True)
container, config = os.path.join(work, "container"), os.path.join(work, "config")
os.makedirs(container)
os.makedirs(os.path.join(config, "pluvo"))
with open(os.path.join(config, "pluvo", "desk.conf"), "w") as f:
    f.write(f"window PluvoCurrentSmallWidget {AT[0]} {AT[1]}\n")
env = dict(os.environ, XDG_CONFIG_HOME=config, GSK_RENDERER="cairo", GDK_SCALE=str(SCALE),
           GDK_BACKEND="x11", NO_AT_BRIDGE="1", GTK_A11Y="none", XDG_RUNTIME_DIR=work)
failures, processes = [], []


def start(argv, name, first_line=True):
    """A process whose standard error goes to WORK/<name>.log, and the first line it prints."""
    log = open(os.path.join(work, name + ".log"), "w")
    process = subprocess.Popen(argv, env=env, stdout=subprocess.PIPE if first_line else log,
                               stderr=log, text=True)
    processes.append(process)
    return process, process.stdout.readline().strip() if first_line else None


def log_of(name):
    return open(os.path.join(work, name + ".log")).read()


def action(*words):
    return subprocess.run(["gapplication", "action", APP] + list(words), env=env,
                          capture_output=True, text=True)


try:
    _, urls = start([open_meteo], "open-meteo")
    forecast_url, geocoding_url = urls.split()
    _, service_url = start([service, "--port", "0", "--now", NOW, "--forecast-url", forecast_url,
                            "--geocoding-url", geocoding_url, "--caches",
                            os.path.join(work, "service")], "service")
    assert service_url.startswith("http://127.0.0.1:"), service_url
    info = os.path.join(work, "Info.plist")
    with open(info, "w") as f:
        f.write('<?xml version="1.0"?><plist version="1.0"><dict><key>PluvoAPIBaseURL</key>'
                f"<string>{service_url}</string></dict></plist>")
    common = ["--now", NOW, "--time-zone", ZONE, "--container", container, "--caches",
              os.path.join(work, "caches"), "--info", info]
    started = time.monotonic()
    app, _ = start([desk] + common, "desk", first_line=False)
    owned = lambda: subprocess.run(
        ["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
         "/org/freedesktop/DBus", "--method", "org.freedesktop.DBus.NameHasOwner", APP],
        env=env, capture_output=True, text=True).stdout.strip() == "(true,)"
    if not eventually(owned, 10):
        raise AssertionError("pluvo-desk's actions never appeared on the session bus")

    # A second start hands over to the first and ends.
    second = subprocess.run([desk] + common + ["--kind", "PluvoFiveDayLargeWidget"], env=env,
                            capture_output=True, text=True, timeout=20)
    if second.returncode != 0 or "already running in this session" not in second.stderr:
        failures.append(f"a second start did not hand over: {second.returncode}, "
                        f"{second.stderr.strip()!r}")

    # Set place, by a name that matches one place: the stand-in's Seattle, Washington is saved.
    snapshot = os.path.join(container, "pluvo-widget-snapshot.json")
    action("set-place", "'seattle, washington'")
    if not eventually(lambda: os.path.exists(snapshot) and "Seattle" in open(snapshot).read(), 10):
        failures.append("set-place did not save Seattle's forecast")
    chosen = "pluvo-desk set place: The widgets now show Seattle, Washington, United States."
    if not eventually(lambda: chosen in log_of("desk"), 5):
        failures.append(f"set-place did not say {chosen!r}")
    if "/v1/search?" not in log_of("open-meteo"):
        failures.append("set-place never searched the stand-in's places")

    # Refresh now: a forecast request reaches the service.
    asked = lambda: log_of("service").count("/api/mobile/weather-chart")
    before = asked()
    action("refresh")
    if not eventually(lambda: asked() > before, 10):
        failures.append("refresh did not reach the forecast service")

    # An unknown kind changes nothing; a known one redraws the window as that kind, remembered.
    action("kind", "'PluvoNoSuchWidget'")
    if not eventually(lambda: '"PluvoNoSuchWidget" is not a widget kind' in log_of("desk"), 5):
        failures.append("an unknown kind was not refused in the log")
    reference = os.path.join(work, "medium-reference.png")
    subprocess.run([cli] + common + ["render", "--kind", "PluvoTodayMediumWidget", "--scale",
                                     str(SCALE), "-o", reference], check=True, env=env,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    width, height, expected = png_pixels(reference)
    action("kind", "'PluvoTodayMediumWidget'")
    shown, mean, far, matched = window_matching(AT, width, height, expected, 10)
    if not matched:
        failures.append(f"after kind the window differs from the rendered medium widget: mean "
                        f"{mean:.2f}, {far:.2%} of pixels off by more than 64")
    write_png(os.path.join(work, "window-after-kind.png"), shown)
    write_png(os.path.join(work, "desk-after-kind.png"), screen(0, 0, 1400, 400))
    remembered = lambda: open(os.path.join(config, "pluvo", "desk.conf")).read()
    if not eventually(lambda: "window PluvoTodayMediumWidget " in remembered(), 5):
        failures.append(f"the new kind was not remembered: {remembered()!r}")

    # Quit: the program ends with status 0.
    action("quit")
    try:
        status = app.wait(10)
    except subprocess.TimeoutExpired:
        status = "still running 10 s after quit"
    if status != 0:
        failures.append(f"pluvo-desk ended with {status} after quit")
    print(f"set place, refresh, kind and quit ran in {time.monotonic() - started:.1f} s")
finally:
    for process in processes:
        if process.poll() is None:
            process.terminate()
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
for failure in failures:
    print("FAIL:", failure)
if failures:
    print(log_of("desk")[-3000:])
sys.exit(1 if failures else 0)
