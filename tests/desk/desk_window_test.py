#!/usr/bin/env python3
"""pluvo-desk under Xvfb at 2x: its window shows what `pluvo-widget render` draws of the same
entry (within anti-aliasing), redraws within a second when another process replaces the
snapshot, and shows the lock card while an activity file exists.
  desk_window_test.py PLUVO_DESK PLUVO_WIDGET SAMPLES WORK_DIR
Exit 77 (skipped) when no X server or session bus can be started."""
import json, os, shutil, signal, subprocess, sys, time

from desk_support import eventually, in_session, png_pixels, screen, window_matching, write_png

desk, cli, samples, work = sys.argv[1:4] + [os.path.abspath(sys.argv[4])]
in_session()

NOW = "2026-10-29T20:00:00Z"
ZONE = "America/Chicago"
KIND = "PluvoCurrentSmallWidget"
SCALE = 2
AT = (10, 10)  # where the remembered position puts the window, in pixels
SIZE = (170 * SCALE, 170 * SCALE)

shutil.rmtree(work, ignore_errors=True)
container = os.path.join(work, "container")
config = os.path.join(work, "config")
os.makedirs(container)
os.makedirs(os.path.join(config, "pluvo"))
info = os.path.join(work, "Info.plist")
with open(info, "w") as f:
    f.write('<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict>'
            "<key>PluvoAPIBaseURL</key><string>http://127.0.0.1:9</string></dict></plist>\n")
shutil.copy(os.path.join(samples, "forecast-cache.json"),
            os.path.join(container, "pluvo-last-forecast.json"))
with open(os.path.join(config, "pluvo", "desk.conf"), "w") as f:
    f.write(f"window {KIND} {AT[0]} {AT[1]}\n")
common = ["--now", NOW, "--time-zone", ZONE, "--container", container, "--caches",
          os.path.join(work, "caches"), "--info", info]
env = dict(os.environ, XDG_CONFIG_HOME=config, GSK_RENDERER="cairo", GDK_SCALE=str(SCALE),
           GDK_BACKEND="x11", NO_AT_BRIDGE="1", GTK_A11Y="none", XDG_RUNTIME_DIR=work)


failures = []
reference = os.path.join(work, "reference.png")
subprocess.run([cli] + common + ["render", "--kind", KIND, "--scale", str(SCALE), "-o", reference],
               check=True, env=env, stdout=subprocess.DEVNULL)
width, height, expected = png_pixels(reference)
assert (width, height) == SIZE, f"render gave {width}x{height}"

log = open(os.path.join(work, "desk.log"), "w")
process = subprocess.Popen([desk] + common, env=env, stdout=log, stderr=subprocess.STDOUT)
try:
    # The first round drawn: the window matches the rendered picture.
    shown, mean, far, matched = window_matching(AT, *SIZE, expected, 20)
    if not matched:
        failures.append(f"the window differs from the rendered widget: mean {mean:.2f}, "
                        f"{far:.2%} of pixels off by more than 64")
    write_png(os.path.join(work, "window.png"), shown)
    print(f"window against render at {SCALE}x: mean channel difference {mean:.3f}, "
          f"{far:.3%} of pixels off by more than 64")

    # Another process replaces the snapshot: the window changes within a second.
    snapshot = subprocess.run([cli, "--now", NOW, "--time-zone", ZONE, "snapshot", "build",
                               os.path.join(samples, "rainy-week.json"), "--location",
                               "Houston, TX", "--days", "5"],
                              check=True, capture_output=True, env=env).stdout
    staged = os.path.join(container, ".snapshot.tmp")
    with open(staged, "wb") as f:
        f.write(snapshot)
    before = shown
    started = time.monotonic()
    os.rename(staged, os.path.join(container, "pluvo-widget-snapshot.json"))
    # The time is that of the capture that first shows the change, taken when it began, so
    # that the capture and the comparison (slow in Python) do not count against the window.
    changed_at = None
    while changed_at is None and time.monotonic() < started + 5:
        taken = time.monotonic()
        if screen(*AT, *SIZE) != before:
            changed_at = taken
        time.sleep(0.02)
    if changed_at is None or changed_at - started > 1.0:
        failures.append("the window did not change within a second of the snapshot's change")
    else:
        print(f"redrawn at most {changed_at - started:.2f} s after the snapshot changed")

    # An activity file appears: the lock card shows beside the widget, and goes with it.
    state = json.load(open(os.path.join(samples, "activity", "raining-5min.json")))
    shift = 815_000_000 - state["state"]["windowStart"]  # 2026-10-29T19:33:20Z
    for key in ("windowStart", "windowEnd"):
        state["state"][key] += shift
    for hour in state["state"].get("hours", []):
        hour["start"] += shift
    folder = os.path.join(container, "LiveActivities")
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, ".rain.tmp"), "w") as f:
        json.dump(state, f)
    os.rename(os.path.join(folder, ".rain.tmp"), os.path.join(folder, "rain-window.json"))
    beside = (AT[0] + SIZE[0] + 12 * SCALE, AT[1], 200, 100)

    def lit():
        pixels = screen(*beside)
        return sum(p != (0, 0, 0) for row in pixels for p in row) / (beside[2] * beside[3])

    if not eventually(lambda: lit() > 0.5, 3):
        failures.append(f"no lock card beside the widget ({lit():.0%} of its place lit)")
    time.sleep(0.2)  # the card's first frame
    write_png(os.path.join(work, "lock-card.png"), screen(beside[0], beside[1], 760, 360))
    os.remove(os.path.join(folder, "rain-window.json"))
    if not eventually(lambda: lit() < 0.05, 3):
        failures.append("the lock card stayed after its activity file was removed")
finally:
    process.send_signal(signal.SIGTERM)
    try:
        status = process.wait(20)
    except subprocess.TimeoutExpired:
        process.kill()
        status = "killed after 20 s"
    log.close()
if status != 0:
    failures.append(f"pluvo-desk exited {status} on SIGTERM")
remembered = open(os.path.join(config, "pluvo", "desk.conf")).read()
if not remembered.startswith("# pluvo-desk") or f"window {KIND} {AT[0]} {AT[1]}" not in remembered:
    failures.append(f"the position was not remembered: {remembered!r}")
for failure in failures:
    print("FAIL:", failure)
if failures:
    print(open(os.path.join(work, "desk.log")).read()[-3000:])
sys.exit(1 if failures else 0)
