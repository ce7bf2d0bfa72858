"""What the desk tests share: an X server and a session bus of their own, the screen's pixels,
PNG files read and written, and polling with a deadline."""
import os, shutil, struct, subprocess, sys, time, zlib


def in_session():
    """Runs this script again under Xvfb (1400x900, 24 bits) and a session bus of its own, unless
    it already runs there; exits 77 (skipped) when they cannot be had."""
    if os.environ.get("PLUVO_DESK_SESSION") == "1":
        return
    needed = ["xvfb-run", "xwd", "dbus-run-session"]
    if any(shutil.which(tool) is None for tool in needed):
        print("SKIP: xvfb-run, xwd and dbus-run-session are needed (scripts/setup installs xvfb, "
              "xauth, x11-apps, dbus-daemon)")
        sys.exit(77)
    os.environ["PLUVO_DESK_SESSION"] = "1"
    os.execvp("xvfb-run", ["xvfb-run", "-a", "-s", "-screen 0 1400x900x24 -nolisten tcp",
                           "dbus-run-session", "--", sys.executable] + sys.argv)


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
    # xwd now and then fails while a window is being mapped or unmapped: take the next frame.
    for attempt in range(5):
        capture = subprocess.run(["xwd", "-root", "-silent"], capture_output=True)
        if capture.returncode == 0:
            break
        time.sleep(0.05)
    capture.check_returncode()
    data = capture.stdout
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


def window_matching(at, width, height, expected, seconds):
    """Captures the window at `at` until it matches `expected` (within anti-aliasing) or the
    time is up: (last capture, mean channel difference, share of pixels off by more than 64,
    whether it matched)."""
    shown = []

    def matches():
        shown[:] = [screen(*at, width, height)]
        mean, far = difference(shown[0], expected)
        return mean < 3 and far < 0.01

    matched = eventually(matches, seconds)
    mean, far = difference(shown[0], expected)
    return shown[0], mean, far, matched
