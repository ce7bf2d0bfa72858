#!/usr/bin/env python3
"""pluvo-desk under Xvfb at 2x: its window shows what `pluvo-widget render` draws of the same
entry (within anti-aliasing), redraws within a second when another process replaces the
snapshot, and shows the lock card while an activity file exists.
  desk_window_test.py PLUVO_DESK PLUVO_WIDGET SAMPLES WORK_DIR
Exit 77 (skipped) when no X server can be started."""
import json, os, shutil, signal, struct, subprocess, sys, time, zlib

desk, cli, samples, work = sys.argv[1:4] + [os.path.abspath(sys.argv[4])]

if not os.environ.get("DISPLAY"):
    if shutil.which("xvfb-run") is None or shutil.which("xwd") is None:
        print("SKIP: xvfb-run and xwd are needed (scripts/setup installs xvfb, xauth, x11-apps)")
        sys.exit(77)
    os.execvp("xvfb-run", ["xvfb-run", "-a", "-s", "-screen 0 1400x900x24 -nolisten tcp",
                           sys.executable] + sys.argv)

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
           GDK_BACKEND="x11", NO_AT_BRIDGE="1", XDG_RUNTIME_DIR=work)


def png_pixels(path):
    """(width, height, rows of (r, g, b)) of an 8-bit RGB or RGBA PNG."""
    data = open(path, "rb").read()
    pos, idat, header = 8, b"", None
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    width, height, depth, color = header[:4]
    assert depth == 8 and color in (2, 6), f"{path}: depth {depth}, colour type {color}"
    channels = 4 if color == 6 else 3
    raw, stride = zlib.decompress(idat), width * channels
    rows, previous = [], bytearray(stride)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            a = line[i - channels] if i >= channels else 0
            b, c = previous[i], previous[i - channels] if i >= channels else 0
            if kind == 1:
                line[i] = (line[i] + a) & 255
            elif kind == 2:
                line[i] = (line[i] + b) & 255
            elif kind == 3:
                line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append([tuple(line[x * channels:x * channels + 3]) for x in range(width)])
        previous = line
    return width, height, rows


def screen(x, y, width, height):
    """The screen's pixels in a rectangle, as rows of (r, g, b), read with xwd."""
    data = subprocess.run(["xwd", "-root", "-silent"], check=True, capture_output=True).stdout
    fields = struct.unpack(">25I", data[:100])
    header_size, byte_order, bits, stride, colours = (fields[0], fields[7], fields[11],
                                                      fields[12], fields[19])
    # Depth 24 comes as 3 or 4 bytes a pixel (packed when the root's visual is DirectColor).
    assert bits in (24, 32), f"xwd gave {bits} bits per pixel"
    size = bits // 8
    pixels = data[header_size + 12 * colours:]
    rows = []
    for row in range(y, y + height):
        line = pixels[row * stride:(row + 1) * stride]
        out = []
        for column in range(x, x + width):
            pixel = line[column * size:column * size + size]
            out.append((pixel[2], pixel[1], pixel[0]) if byte_order == 0 else
                       (pixel[-3], pixel[-2], pixel[-1]))
        rows.append(out)
    return rows


def write_png(path, rows):
    """Rows of (r, g, b) as an RGB PNG: what the window showed, for a look when a check fails."""
    raw = b"".join(b"\0" + bytes(v for p in row for v in p) for row in rows)
    chunk = lambda kind, body: (struct.pack(">I", len(body)) + kind + body +
                                struct.pack(">I", zlib.crc32(kind + body)))
    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", len(rows[0]),
                                                                    len(rows), 8, 2, 0, 0, 0)) +
                chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))


def difference(a, b):
    """Mean channel difference (0-255) and the share of pixels off by more than 64."""
    total, far, count = 0, 0, 0
    for row_a, row_b in zip(a, b):
        for pa, pb in zip(row_a, row_b):
            d = max(abs(pa[i] - pb[i]) for i in range(3))
            total += sum(abs(pa[i] - pb[i]) for i in range(3)) / 3
            far += d > 64
            count += 1
    return total / count, far / count


def eventually(check, seconds):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if check():
            return True
        time.sleep(0.05)
    return check()


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
    shown = None

    def matches():
        global shown
        shown = screen(*AT, *SIZE)
        mean, far = difference(shown, expected)
        return mean < 3 and far < 0.01

    if not eventually(matches, 20):
        mean, far = difference(shown, expected)
        failures.append(f"the window differs from the rendered widget: mean {mean:.2f}, "
                        f"{far:.2%} of pixels off by more than 64")
    mean, far = difference(shown, expected)
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
    if not eventually(lambda: difference(screen(*AT, *SIZE), before)[1] > 0.001, 1.0):
        failures.append("the window did not change within a second of the snapshot's change")
    else:
        print(f"redrawn {time.monotonic() - started:.2f} s after the snapshot changed")

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
