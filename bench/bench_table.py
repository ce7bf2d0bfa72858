#!/usr/bin/env python3
"""Runs the benchmarks of an optimised build and prints one table of figures against their goals.

    bench/bench_table.py BUILD_DIR [--repetitions N] [--cold-runs N]

Every figure is the median of its runs with the smallest and largest beside it. Warm figures come
from the Google Benchmark programs in BUILD_DIR/bench (their JSON output, one value per
repetition). The cold figures alternate, in this one run, a fresh `pluvo-widget render` of the
small widget with the same widget written as an HTML page and screenshotted by headless Chromium
at scale 3; each is one whole process started through render_bench's trampoline (`--measure`), so
that its wall time and peak resident memory (the largest process of its tree, from wait4) are its
own. For Chromium the sum over its processes is sampled as well, every 10 ms.
"""

import argparse
import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def gbench(build, program, pattern, repetitions):
    """{benchmark name: (real times in its unit, unit, counters of the last run, label)}."""
    out = subprocess.run(
        [os.path.join(build, "bench", program), "--benchmark_filter=" + pattern,
         f"--benchmark_repetitions={repetitions}", "--benchmark_format=json"],
        check=True, capture_output=True, text=True).stdout
    runs = {}
    for b in json.loads(out)["benchmarks"]:
        if b.get("run_type") == "aggregate" or "error_message" in b:
            continue
        name = b["run_name"]
        times, _, _, _ = runs.get(name, ([], None, None, None))
        times.append(b["real_time"])
        counters = {k: v for k, v in b.items() if k.endswith("_MB") or k.endswith("_ms")}
        runs[name] = (times, b["time_unit"], counters, b.get("label", ""))
    return runs


def fmt(values, unit):
    med = statistics.median(values)
    digits = 3 if med < 1 else 2 if med < 10 else 1 if med < 100 else 0
    return f"{med:.{digits}f} {unit}", f"{min(values):.{digits}f}-{max(values):.{digits}f}"


def tree_rss_kb(root_pid):
    """The summed resident memory of `root_pid` and its descendants, from /proc."""
    parents, rss = {}, {}
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open(f"/proc/{entry}/stat") as f:
                fields = f.read().rsplit(")", 1)[1].split()
            parents[int(entry)] = int(fields[1])
            rss[int(entry)] = int(fields[21]) * os.sysconf("SC_PAGE_SIZE") // 1024
        except (OSError, IndexError, ValueError):
            continue
    total, todo = 0, [root_pid]
    while todo:
        pid = todo.pop()
        total += rss.get(pid, 0)
        todo.extend(p for p, parent in parents.items() if parent == pid)
    return total


def measure(trampoline, argv, sample_tree=False):
    """(wall ms, processor ms of the tree, peak RSS MB of the largest process, summed tree peak
    MB or None)."""
    child = subprocess.Popen([trampoline, "--measure"] + argv, stdout=subprocess.PIPE, text=True)
    peak = [0]
    if sample_tree:
        def sample():
            while child.poll() is None:
                peak[0] = max(peak[0], tree_rss_kb(child.pid))
                time.sleep(0.01)
        sampler = threading.Thread(target=sample)
        sampler.start()
    out, _ = child.communicate()
    if sample_tree:
        sampler.join()
    if child.returncode != 0:
        sys.exit(f"bench: {argv[0]} failed (status {child.returncode})")
    ms, kb, cpu = out.split()
    return float(ms), float(cpu), float(kb) / 1024, (peak[0] / 1024 if sample_tree else None)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("--repetitions", type=int, default=10)
    parser.add_argument("--cold-runs", type=int, default=10)
    args = parser.parse_args()
    build, reps = os.path.abspath(args.build), args.repetitions
    rows = []  # (measure, median, spread, n, goal, ratio)

    decode = gbench(build, "decode_bench", "^(rawParse|typedDecode)$", reps)
    raw, typed = decode["rawParse"][0], decode["typedDecode"][0]
    unit = decode["rawParse"][1]
    rows.append(("simdjson raw parse, rainy packet", *fmt(raw, unit), len(raw), "", ""))
    rows.append(("typed decode, rainy packet", *fmt(typed, unit), len(typed), "<= 1.5x raw",
                 f"{statistics.median(typed) / statistics.median(raw):.2f}x raw"))

    timeline = gbench(build, "timeline_bench", "warmTimelineRequest", reps)
    for name, (times, unit, _, _) in timeline.items():
        rows.append(("warm timeline request", *fmt(times, unit), len(times), "< 0.15 ms", ""))

    service = gbench(build, "forecast_service_bench", "^packetFromSixteenDayAnswer$", reps)
    times, unit, _, label = service["packetFromSixteenDayAnswer"]
    rows.append((f"forecast service packet from a 16-day answer ({label})", *fmt(times, unit),
                 len(times), "< 5 ms", ""))
    idle = gbench(build, "forecast_service_bench", "^serviceIdleAfterServing", 1)
    for name, (_, _, counters, _) in idle.items():
        rows.append(("forecast service RSS, idle after 5 requests", 
                     f"{counters['idle_rss_MB']:.1f} MB", "", 1, "< 15 MB", ""))

    goals = {"PluvoCurrentSmallWidget": "< 3 ms", "PluvoFiveDayLargeWidget": "< 9 ms",
             "PluvoThreeDayLargeWidget": "< 9 ms"}
    kinds = gbench(build, "layout_bench", "^widgetRenderPng/", reps)
    for name, (times, unit, _, label) in sorted(kinds.items()):
        rows.append((f"draw+PNG @3x warm, {label}", *fmt(times, unit), len(times),
                     goals.get(label, ""), ""))
    lock = gbench(build, "activity_bench", "^lockCardDrawnAndEncoded$", reps)
    times, unit, _, _ = lock["lockCardDrawnAndEncoded"]
    rows.append(("draw+PNG @3x warm, lock card", *fmt(times, unit), len(times), "< 5 ms", ""))

    # One cold process each, alternated: ours, then the browser peer.
    cli = os.path.join(build, "apps", "pluvo-widget", "pluvo-widget")
    trampoline = os.path.join(build, "bench", "render_bench")
    chromium = shutil.which("chromium")
    work = tempfile.mkdtemp(prefix="pluvo-bench-", dir="/dev/shm" if os.path.isdir("/dev/shm") else None)
    clock = ["--now", "2026-11-21T15:00:00Z", "--time-zone", "America/Chicago"]
    snapshot = os.path.join(work, "placeholder.json")
    subprocess.run([cli] + clock + ["snapshot", "placeholder", "-o", snapshot], check=True,
                   capture_output=True)
    page = "file://" + os.path.join(ROOT, "bench", "peer", "small-widget.html")
    # A container holding the rainy week as the host leaves it, for the panels' `status`.
    container = os.path.join(work, "container")
    os.makedirs(container)
    subprocess.run([cli, "--now", "2026-10-29T20:00:00Z", "snapshot", "build",
                    os.path.join(ROOT, "samples", "rainy-week.json"), "-o",
                    os.path.join(container, "pluvo-widget-snapshot.json")], check=True,
                   capture_output=True)
    status_ms, status_mb = [], []
    ours_ms, ours_cpu, ours_mb, peer_ms, peer_cpu, peer_mb, peer_tree = [], [], [], [], [], [], []
    for run in range(args.cold_runs):
        ms, _, mb, _ = measure(trampoline, [
            cli, "--now", "2026-10-29T21:00:00Z", "--time-zone", "America/Chicago",
            "--container", container, "--caches", os.path.join(work, "caches"), "status",
            "--format", "waybar", "-o", os.path.join(work, "status.json")])
        status_ms.append(ms)
        status_mb.append(mb)
        ms, cpu, mb, _ = measure(trampoline, [cli] + clock + [
            "render", "--kind", "PluvoCurrentSmallWidget", "--snapshot", snapshot,
            "-o", os.path.join(work, "small.png")])
        ours_ms.append(ms)
        ours_cpu.append(cpu)
        ours_mb.append(mb)
        if chromium:
            profile = os.path.join(work, f"profile-{run}")
            ms, cpu, mb, tree = measure(trampoline, [
                chromium, "--headless", "--no-sandbox", "--disable-gpu",
                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--no-first-run", "--user-data-dir=" + profile, "--force-device-scale-factor=3",
                "--window-size=170,170", "--screenshot=" + os.path.join(work, "peer.png"), page],
                sample_tree=True)
            shutil.rmtree(profile, ignore_errors=True)
            peer_ms.append(ms)
            peer_cpu.append(cpu)
            peer_mb.append(mb)
            peer_tree.append(tree)
    shutil.rmtree(work, ignore_errors=True)
    rows.append(("cold `pluvo-widget status --format waybar`, wall", *fmt(status_ms, "ms"),
                 len(status_ms), "< 20 ms", ""))
    rows.append(("cold `pluvo-widget status --format waybar`, peak RSS", *fmt(status_mb, "MB"),
                 len(status_mb), "", ""))
    rows.append(("cold `pluvo-widget render` small, wall", *fmt(ours_ms, "ms"), len(ours_ms),
                 "< 12 ms", ""))
    rows.append(("cold `pluvo-widget render` small, processor time", *fmt(ours_cpu, "ms"),
                 len(ours_cpu), "", ""))
    rows.append(("cold `pluvo-widget render` small, peak RSS", *fmt(ours_mb, "MB"), len(ours_mb),
                 "< 20 MB", ""))
    if chromium:
        rows.append(("headless Chromium screenshot, wall", *fmt(peer_ms, "ms"), len(peer_ms),
                     ">= 15x ours",
                     f"{statistics.median(peer_ms) / statistics.median(ours_ms):.0f}x ours"))
        rows.append(("headless Chromium screenshot, processor time", *fmt(peer_cpu, "ms"),
                     len(peer_cpu), "",
                     f"{statistics.median(peer_cpu) / statistics.median(ours_cpu):.0f}x ours"))
        rows.append(("headless Chromium, peak RSS (largest process)", *fmt(peer_mb, "MB"),
                     len(peer_mb), ">= 10x ours",
                     f"{statistics.median(peer_mb) / statistics.median(ours_mb):.1f}x ours"))
        rows.append(("headless Chromium, peak RSS summed over its processes",
                     *fmt(peer_tree, "MB"), len(peer_tree), "",
                     f"{statistics.median(peer_tree) / statistics.median(ours_mb):.1f}x ours"))
    else:
        rows.append(("headless Chromium", "not installed", "", "", "", "(scripts/setup)"))

    host = gbench(build, "host_bench", "hostReloadRounds", 1)
    for name, (times, unit, counters, label) in sorted(host.items()):
        rows.append((f"host round ({label}), mean of 1000", f"{times[0]:.2f} {unit}", "", 1, "",
                     ""))
        rows.append((f"host RSS after 10 / 1000 rounds ({label})",
                     f"{counters['rss_after_10_MB']:.1f} / {counters['rss_after_all_MB']:.1f} MB",
                     "", 1, "flat, < 30 MB", ""))

    # The real host process, 500 rounds each asked for with SIGHUP.
    rounds = gbench(build, "host_process_bench", "hostSighupRounds", 1)
    for name, (times, unit, counters, label) in sorted(rounds.items()):
        epaper = label == "e-paper"
        rows.append((f"`pluvo-widget host` ({label}), processor time a round, mean of 500",
                     f"{counters['cpu_per_round_ms']:.1f} ms", "", 1,
                     "< 70 ms" if epaper else "", f"wall {times[0]:.1f} {unit}"))
        rows.append((f"`pluvo-widget host` ({label}), RSS peak / after 500 rounds",
                     f"{counters['rss_peak_MB']:.1f} / {counters['rss_steady_MB']:.1f} MB", "", 1,
                     "< 30 MB", ""))

    header = ("measure", "median", "min-max", "n", "goal", "ratio")
    widths = [max(len(str(r[i])) for r in rows + [header]) for i in range(len(header))]
    line = lambda r: "| " + " | ".join(str(c).ljust(w) for c, w in zip(r, widths)) + " |"
    print(line(header))
    print("|" + "|".join("-" * (w + 2) for w in widths) + "|")
    for r in rows:
        print(line(r))
    with open("/proc/cpuinfo") as f:
        cpu = next((l.split(":", 1)[1].strip() for l in f if l.startswith("model name")), "?")
    print(f"\nmachine: {cpu}, {os.cpu_count()} cores; build: {build} ({build_type(build)})")


def build_type(build):
    """The build folder's CMAKE_BUILD_TYPE as its cache records it ("unknown" without one)."""
    try:
        with open(os.path.join(build, "CMakeCache.txt")) as f:
            for l in f:
                if l.startswith("CMAKE_BUILD_TYPE:"):
                    return l.split("=", 1)[1].strip() or "no build type"
    except OSError:
        pass
    return "unknown build type"


if __name__ == "__main__":
    main()
