#!/usr/bin/env python3
"""pluvo-desk at rest with two widgets under Xvfb: its resident memory, and the CPU it uses over
10 s between reload dates (from /proc/PID/stat; no polling means ~0 ticks).
  desk_idle.py PLUVO_DESK SAMPLES
Prints one line per measure; exit 77 when no X server can be started."""
import os, shutil, signal, subprocess, sys, tempfile, time

desk, samples = sys.argv[1:3]
if not os.environ.get("DISPLAY"):
    if shutil.which("xvfb-run") is None:
        print("SKIP: xvfb-run is needed (scripts/setup installs xvfb and xauth)")
        sys.exit(77)
    os.execvp("xvfb-run", ["xvfb-run", "-a", "-s", "-screen 0 1280x800x24 -nolisten tcp",
                           sys.executable] + sys.argv)

work = tempfile.mkdtemp(prefix="desk-idle-")
container = os.path.join(work, "container")
os.makedirs(container)
shutil.copy(os.path.join(samples, "forecast-cache.json"),
            os.path.join(container, "pluvo-last-forecast.json"))
info = os.path.join(work, "Info.plist")
with open(info, "w") as f:
    f.write('<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict>'
            "<key>PluvoAPIBaseURL</key><string>http://127.0.0.1:9</string></dict></plist>\n")
env = dict(os.environ, XDG_CONFIG_HOME=os.path.join(work, "config"), GSK_RENDERER="cairo",
           NO_AT_BRIDGE="1", XDG_RUNTIME_DIR=work)
process = subprocess.Popen([desk, "--container", container, "--caches",
                            os.path.join(work, "caches"), "--info", info, "--time-zone",
                            "America/Chicago", "--kind", "PluvoCurrentSmallWidget", "--kind",
                            "PluvoTwoDayMediumWidget"], env=env, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL)


def ticks():
    fields = open(f"/proc/{process.pid}/stat").read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])  # utime + stime


def rss_mb():
    for line in open(f"/proc/{process.pid}/status"):
        if line.startswith("VmRSS:"):
            return int(line.split()[1]) / 1024
    return float("nan")


try:
    time.sleep(5)  # the first round drawn and the windows shown
    before = ticks()
    time.sleep(10)
    used = ticks() - before
    hz = os.sysconf("SC_CLK_TCK")
    print(f"pluvo-desk, two widgets: resident {rss_mb():.1f} MB (goal < 60 MB)")
    print(f"pluvo-desk at rest: {used} ticks = {used / hz * 1000:.0f} ms of CPU in 10 s "
          f"(goal: none between reload dates)")
finally:
    process.send_signal(signal.SIGTERM)
    process.wait(20)
    shutil.rmtree(work, ignore_errors=True)
