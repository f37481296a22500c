#!/usr/bin/env python3
"""Generate Orvex's icons and sounds into resources/.

Everything is drawn and synthesised here from scratch using only the Python
standard library, so the output is reproducible: running this script again
produces byte-identical files.  The generated files are committed, so the
build does not need Python.

Usage: python3 tools/make-resources.py [output-dir]   (default: resources/)
"""

import math
import os
import struct
import zlib
import sys
import wave

# ---------------------------------------------------------------------------
# Tiny anti-aliased rasteriser
#
# A picture is a list of layers (shape, colour).  A shape is a predicate
# inside(x, y) in pixel coordinates (0..size); a colour is an (r, g, b, a)
# tuple of floats 0..1 or a function (x, y) -> such a tuple.  Each pixel is
# sampled on an SS x SS grid; every sample composites the layers bottom-up
# with "source over", and the samples are averaged in premultiplied space.
# ---------------------------------------------------------------------------

SS = 8  # supersampling factor per axis


def rgb(hexstr, a=1.0):
    h = hexstr.lstrip("#")
    return (int(h[0:2], 16) / 255.0, int(h[2:4], 16) / 255.0,
            int(h[4:6], 16) / 255.0, a)


def mix(c1, c2, t):
    return tuple(c1[i] + (c2[i] - c1[i]) * t for i in range(4))


def render(size, layers):
    """Return a list of rows of (r, g, b, a) byte tuples, top row first."""
    offs = [(i + 0.5) / SS for i in range(SS)]
    n = float(SS * SS)
    rows = []
    for py in range(size):
        row = []
        for px in range(size):
            ar = ag = ab = aa = 0.0
            for oy in offs:
                y = py + oy
                for ox in offs:
                    x = px + ox
                    r = g = b = a = 0.0  # premultiplied
                    for shape, col in layers:
                        if shape(x, y):
                            c = col(x, y) if callable(col) else col
                            sa = c[3]
                            r = c[0] * sa + r * (1 - sa)
                            g = c[1] * sa + g * (1 - sa)
                            b = c[2] * sa + b * (1 - sa)
                            a = sa + a * (1 - sa)
                    ar += r
                    ag += g
                    ab += b
                    aa += a
            a = aa / n
            if a <= 0.0:
                row.append((0, 0, 0, 0))
            else:
                row.append((int(round(min(1.0, ar / n / a) * 255)),
                            int(round(min(1.0, ag / n / a) * 255)),
                            int(round(min(1.0, ab / n / a) * 255)),
                            int(round(min(1.0, a) * 255))))
        rows.append(row)
    return rows


# --- shape primitives ------------------------------------------------------

def rrect(x0, y0, x1, y1, rad):
    cx, cy = (x0 + x1) / 2.0, (y0 + y1) / 2.0
    hx, hy = (x1 - x0) / 2.0 - rad, (y1 - y0) / 2.0 - rad

    def inside(x, y):
        dx = max(abs(x - cx) - hx, 0.0)
        dy = max(abs(y - cy) - hy, 0.0)
        return dx * dx + dy * dy <= rad * rad
    return inside


def circle(cx, cy, rad):
    r2 = rad * rad
    return lambda x, y: (x - cx) ** 2 + (y - cy) ** 2 <= r2


def seg_dist2(x, y, ax, ay, bx, by):
    vx, vy = bx - ax, by - ay
    wx, wy = x - ax, y - ay
    ll = vx * vx + vy * vy
    t = 0.0 if ll == 0 else max(0.0, min(1.0, (wx * vx + wy * vy) / ll))
    dx, dy = wx - t * vx, wy - t * vy
    return dx * dx + dy * dy


def polyline(points, width):
    """Stroke through points with round caps and joins."""
    h2 = (width / 2.0) ** 2
    segs = list(zip(points[:-1], points[1:]))

    def inside(x, y):
        for (ax, ay), (bx, by) in segs:
            if seg_dist2(x, y, ax, ay, bx, by) <= h2:
                return True
        return False
    return inside


def polygon(points):
    pts = list(points)

    def inside(x, y):
        c = False
        j = len(pts) - 1
        for i in range(len(pts)):
            xi, yi = pts[i]
            xj, yj = pts[j]
            if (yi > y) != (yj > y):
                if x < (xj - xi) * (y - yi) / (yj - yi) + xi:
                    c = not c
            j = i
        return c
    return inside


def union(*shapes):
    return lambda x, y: any(s(x, y) for s in shapes)


def minus(a, b):
    return lambda x, y: a(x, y) and not b(x, y)


def vgrad(top, bottom, y0, y1):
    def col(x, y):
        t = max(0.0, min(1.0, (y - y0) / float(y1 - y0)))
        return mix(top, bottom, t)
    return col


# ---------------------------------------------------------------------------
# Icon designs
# ---------------------------------------------------------------------------

WHITE = (1.0, 1.0, 1.0, 1.0)

PALETTE = {
    #            light top   dark bottom  outline
    "red":   ("#f0554a", "#b81d16", "#7a0f0b"),
    "amber": ("#ffc54d", "#e08a00", "#8f5400"),
    "green": ("#4fd36b", "#1b8f35", "#0d5a1f"),
    "blue":  ("#4a9bf0", "#1859b8", "#0c3470"),
}


def metrics(s):
    """Pixel metrics for a badge of size s (tuned so 16 px stays crisp)."""
    if s <= 16:
        return dict(m=0.5, rad=3.5, border=1.0, stroke=2.1)
    if s <= 32:
        return dict(m=1.0, rad=6.5, border=1.6, stroke=3.8)
    return dict(m=1.5, rad=10.0, border=2.2, stroke=5.6)


def glyph(kind, s, stroke):
    """White glyph for the badge, in pixel coordinates."""
    u = s / 16.0  # design grid is 16 units
    P = lambda pts: [(px * u, py * u) for px, py in pts]
    if kind == "cross":
        return union(polyline(P([(5.0, 5.0), (11.0, 11.0)]), stroke),
                     polyline(P([(11.0, 5.0), (5.0, 11.0)]), stroke))
    if kind == "tick":
        return polyline(P([(4.3, 8.3), (6.9, 10.9), (11.8, 5.2)]), stroke)
    if kind == "bang":
        return union(polyline(P([(8.0, 4.0), (8.0, 8.7)]), stroke),
                     circle(8.0 * u, 11.7 * u, stroke * 0.62))
    if kind == "logo":
        # a ring ("O" for Orvex) with a signal dot in the middle
        ring_out = circle(8.0 * u, 8.0 * u, 4.9 * u)
        ring_in = circle(8.0 * u, 8.0 * u, 4.9 * u - stroke * 0.95)
        return union(minus(ring_out, ring_in),
                     circle(8.0 * u, 8.0 * u, stroke * 0.62))
    raise ValueError(kind)


def badge(s, colour, kind, hollow=False):
    """Rounded badge with a glyph.

    The normal picture is a solid gradient badge with a white glyph; the
    hollow one (blink partner) is a pale badge with a coloured outline and a
    coloured glyph, so alternating the two reads clearly as blinking.
    """
    k = metrics(s)
    top, bottom, edge = (rgb(c) for c in PALETTE[colour])
    m, rad, bw = k["m"], k["rad"], k["border"]
    outer = rrect(m, m, s - m, s - m, rad)
    inner = rrect(m + bw, m + bw, s - m - bw, s - m - bw, max(rad - bw, 0.5))
    g = glyph(kind, s, k["stroke"])
    if not hollow:
        # highlight band across the top half for a slightly glossy look
        gloss = rrect(m + bw, m + bw, s - m - bw, s / 2.0, max(rad - bw, 0.5))
        return [
            (outer, edge),
            (inner, vgrad(top, bottom, m, s - m)),
            (gloss, (1.0, 1.0, 1.0, 0.16)),
            (g, WHITE),
        ]
    pale = mix(top, WHITE, 0.80)
    pale = (pale[0], pale[1], pale[2], 0.92)
    return [
        (outer, bottom),
        (inner, pale),
        (g, bottom),
    ]


def bubble(s, colour, incoming):
    """Speech bubble with an arrow: ↙ into it (incoming) or ↗ out (outgoing).

    The tail sits on the left for incoming and on the right for outgoing,
    following the usual left = received / right = sent chat layout.
    """
    u = s / 16.0
    top, bottom, edge = (rgb(c) for c in PALETTE[colour])
    bw = 1.0 if s <= 16 else 1.6
    stroke = 2.0 if s <= 16 else 3.6
    x0, y0, x1, y1 = 0.5 * u, 1.0 * u, 15.5 * u, 12.0 * u
    rad = 3.5 * u
    if incoming:
        tail = [(2.5 * u, 10.0 * u), (2.5 * u, 15.3 * u), (8.5 * u, 10.0 * u)]
    else:
        tail = [(13.5 * u, 10.0 * u), (13.5 * u, 15.3 * u), (7.5 * u, 10.0 * u)]
    outer = union(rrect(x0, y0, x1, y1, rad), polygon(tail))
    # inner body: the points lying at least bw inside the outline
    inner = lambda x, y: outer(x, y) and _inset(outer, x, y, bw)
    # arrow inside the bubble body (centre about (8, 6.5))
    cx, cy = 8.0 * u, 6.5 * u
    d = 2.9 * u   # half length of the diagonal shaft
    h = 2.6 * u   # head arm length
    if incoming:   # pointing down-left, into the conversation
        tip, tailp = (cx - d, cy + d), (cx + d, cy - d)
        arms = [(tip[0], tip[1] - h), tip, (tip[0] + h, tip[1])]
    else:          # pointing up-right, out of the conversation
        tip, tailp = (cx + d, cy - d), (cx - d, cy + d)
        arms = [(tip[0] - h, tip[1]), tip, (tip[0], tip[1] + h)]
    arrow = union(polyline([tailp, tip], stroke), polyline(arms, stroke))
    return [
        (outer, edge),
        (inner, vgrad(top, bottom, y0, 15.3 * u)),
        (arrow, WHITE),
    ]


def _inset(shape, x, y, d):
    """True when the point is at least d inside shape (8 probe directions)."""
    for k in range(8):
        a = k * math.pi / 4.0
        if not shape(x + d * math.cos(a), y + d * math.sin(a)):
            return False
    return True


# ---------------------------------------------------------------------------
# .ico writer (BMP/DIB entries: 32-bit BGRA, bottom-up, plus 1-bit AND mask)
# ---------------------------------------------------------------------------

def dib_entry(rows):
    size = len(rows)
    header = struct.pack("<IiiHHIIiiII", 40, size, size * 2, 1, 32, 0,
                         0, 0, 0, 0, 0)
    xor = bytearray()
    for row in reversed(rows):
        for r, g, b, a in row:
            xor += bytes((b, g, r, a))
    mask_stride = ((size + 31) // 32) * 4
    andm = bytearray()
    for row in reversed(rows):
        bits = bytearray(mask_stride)
        for x, (_, _, _, a) in enumerate(row):
            if a == 0:
                bits[x // 8] |= 0x80 >> (x % 8)
        andm += bits
    return header + bytes(xor) + bytes(andm)


def write_png(path, rows):
    """One RGBA image, for desktops whose menus take PNG icons only."""
    size = len(rows)
    raw = b"".join(b"\0" + bytes(c for px in row for c in px) for row in rows)

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + \
            struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n")
        f.write(chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)))
        f.write(chunk(b"IDAT", zlib.compress(raw, 9)))
        f.write(chunk(b"IEND", b""))


def write_ico(path, images):
    """images: list of pixel rows (square), written smallest first."""
    count = len(images)
    out = bytearray(struct.pack("<HHH", 0, 1, count))
    blobs = [dib_entry(rows) for rows in images]
    offset = 6 + 16 * count
    for rows, blob in zip(images, blobs):
        s = len(rows)
        dim = 0 if s >= 256 else s
        out += struct.pack("<BBBBHHII", dim, dim, 0, 0, 1, 32,
                           len(blob), offset)
        offset += len(blob)
    for blob in blobs:
        out += blob
    with open(path, "wb") as f:
        f.write(out)


# ---------------------------------------------------------------------------
# Sound synthesis
# ---------------------------------------------------------------------------

RATE = 22050
PEAK = 10 ** (-6.0 / 20.0)  # -6 dBFS


def silence(seconds):
    return [0.0] * int(round(seconds * RATE))


def add_into(buf, start_s, samples):
    i0 = int(round(start_s * RATE))
    need = i0 + len(samples)
    if len(buf) < need:
        buf.extend([0.0] * (need - len(buf)))
    for i, v in enumerate(samples):
        buf[i0 + i] += v


def tone(freq, seconds, partials=((1.0, 1.0),), attack=0.005, decay=None,
         release=0.03, glide_to=None):
    """Additive tone.  partials = ((ratio, amplitude), ...).

    decay: exponential time constant in seconds (None = sustained).
    glide_to: end frequency for an exponential pitch sweep.
    """
    n = int(round(seconds * RATE))
    out = []
    phases = [0.0] * len(partials)
    for i in range(n):
        t = i / RATE
        if glide_to:
            f = freq * (glide_to / freq) ** (t / seconds)
        else:
            f = freq
        v = 0.0
        for k, (ratio, amp) in enumerate(partials):
            phases[k] += 2 * math.pi * f * ratio / RATE
            v += amp * math.sin(phases[k])
        env = 1.0
        if t < attack:
            env *= 0.5 - 0.5 * math.cos(math.pi * t / attack)
        if decay:
            env *= math.exp(-t / decay)
        rem = seconds - t
        if rem < release:
            env *= 0.5 - 0.5 * math.cos(math.pi * max(rem, 0.0) / release)
        out.append(v * env)
    return out


def finish(buf, total_s, fade_in=0.004, fade_out=0.02):
    n = int(round(total_s * RATE))
    buf = (buf + [0.0] * n)[:n]
    for i in range(n):
        t = i / RATE
        if t < fade_in:
            buf[i] *= t / fade_in
        rem = (n - 1 - i) / RATE
        if rem < fade_out:
            buf[i] *= rem / fade_out
    peak = max(abs(v) for v in buf) or 1.0
    return [v * PEAK / peak for v in buf]


def write_wav(path, samples):
    frames = bytearray()
    for v in samples:
        frames += struct.pack("<h", int(round(max(-1.0, min(1.0, v)) * 32767)))
    with wave.open(path, "wb") as w:
        w.setnchannels(1)
        w.setsampwidth(2)
        w.setframerate(RATE)
        w.writeframes(bytes(frames))


def snd_problemared():
    # two-tone descending alert: bright, slightly reedy (odd harmonics)
    reed = ((1.0, 1.0), (2.0, 0.18), (3.0, 0.30), (5.0, 0.10))
    buf = []
    add_into(buf, 0.00, tone(988.0, 0.27, reed, attack=0.008, release=0.04))
    add_into(buf, 0.30, tone(740.0, 0.29, reed, attack=0.008, release=0.08))
    return finish(buf, 0.60)


def snd_chat_nuevo():
    # rising C6 - E6 - G6 chime, each note ringing on under the next
    bright = ((1.0, 1.0), (2.0, 0.35), (3.0, 0.12), (4.0, 0.06))
    buf = []
    for k, f in enumerate((1046.5, 1318.5, 1568.0)):
        dur = 0.5 - k * 0.11
        add_into(buf, k * 0.11, tone(f, dur, bright, attack=0.004,
                                     decay=0.12 + 0.03 * k, release=0.03))
    return finish(buf, 0.50)


def snd_chat_mensajeentrante():
    # soft pop: quick upward sweep with a fast decay
    buf = tone(520.0, 0.15, ((1.0, 1.0), (2.0, 0.12)), attack=0.003,
               decay=0.045, release=0.03, glide_to=1100.0)
    return finish(buf, 0.15, fade_in=0.002, fade_out=0.015)


def snd_cargardemoras():
    # two gentle bell strikes (slightly inharmonic partials, each decaying
    # faster the higher it is), G5 then D5
    def bell(f, dur):
        parts = ((1.0, 1.0, 0.30), (2.0, 0.45, 0.18), (2.76, 0.30, 0.12),
                 (4.07, 0.14, 0.08), (5.40, 0.07, 0.05))
        n = int(round(dur * RATE))
        out = [0.0] * n
        for ratio, amp, tau in parts:
            w = 2 * math.pi * f * ratio / RATE
            for i in range(n):
                out[i] += amp * math.exp(-i / RATE / tau) * math.sin(w * i)
        att = int(0.004 * RATE)
        for i in range(att):
            out[i] *= i / att
        return out
    buf = []
    add_into(buf, 0.00, bell(784.0, 0.45))
    add_into(buf, 0.32, bell(587.3, 0.48))
    return finish(buf, 0.80, fade_out=0.06)


# ---------------------------------------------------------------------------

def main():
    here = os.path.dirname(os.path.abspath(__file__))
    outdir = sys.argv[1] if len(sys.argv) > 1 else \
        os.path.join(here, os.pardir, "resources")
    os.makedirs(outdir, exist_ok=True)

    def ico(name, sizes, make):
        write_ico(os.path.join(outdir, name),
                  [render(s, make(s)) for s in sizes])
        print("wrote", name)

    tray = [("sinconexion", "red", "cross"),
            ("limitada", "amber", "bang"),
            ("enlinea", "green", "tick")]
    for name, colour, kind in tray:
        ico("tray_%s.ico" % name, (16, 32),
            lambda s, c=colour, k=kind: badge(s, c, k))
        ico("tray_%s_b.ico" % name, (16, 32),
            lambda s, c=colour, k=kind: badge(s, c, k, hollow=True))
    ico("orvex.ico", (16, 32, 48), lambda s: badge(s, "blue", "logo"))
    write_png(os.path.join(outdir, "orvex.png"),
              render(48, badge(48, "blue", "logo")))
    print("wrote orvex.png")
    ico("chat_mensajeentrante.ico", (16, 32),
        lambda s: bubble(s, "blue", incoming=True))
    ico("chat_mensajesaliente.ico", (16, 32),
        lambda s: bubble(s, "green", incoming=False))

    sounds = [("orvex_problemared.wav", snd_problemared),
              ("chat_nuevo.wav", snd_chat_nuevo),
              ("chat_mensajeentrante.wav", snd_chat_mensajeentrante),
              ("cargardemoras.wav", snd_cargardemoras)]
    for name, fn in sounds:
        write_wav(os.path.join(outdir, name), fn())
        print("wrote", name)


if __name__ == "__main__":
    main()
