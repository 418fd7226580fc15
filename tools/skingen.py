#!/usr/bin/env python3
"""Draws the panel's pictures from tools/skins/skins.json.

Writes, under resources/program/ (copied beside the program by the build):
  every skin of the description, 699 x 593, 24 bits: the face at rest in
  columns 0-349, a seam in column 350, the face with every button lit in
  columns 351-698 (its first 348 columns);
and under resources/program/Res/:
  Icon100.png (the window and tray icon) and Bitmap208.bmp .. Bitmap211.bmp
  (four 128 x 128 frames of the download animation).

Only the Python standard library is used. Shapes are signed distance
functions; a pixel's coverage is clamp(0.5 - distance), which gives clean
anti-aliased edges without supersampling.

The two faces differ only inside the buttons, and only where the turned
frame takes them from the face at rest: top-row glyphs inside x 20-330,
y 59-72; big-button tiles inside y 474-519; the small button anywhere in
its own rectangle. Everything else is drawn once and copied to both faces.

Usage: python3 tools/skingen.py [repo root]
"""

import json
import math
import os
import struct
import sys
import zlib

FACE_W, FACE_H = 350, 593
SKIN_W = 699
LIT_X = 351

# Zones of the top row (zone number: left, right), and the big buttons.
TOP_ROW = {0: (306, 327), 1: (282, 305), 2: (258, 281), 3: (234, 257), 4: (210, 233),
           5: (186, 209), 17: (162, 185), 18: (138, 161), 19: (114, 137), 20: (90, 113),
           21: (66, 89), 22: (42, 65), 23: (18, 41)}
TOP_Y = 66.0
BIG_TILES = [34 + 59 * k for k in range(5)]  # left of each 46 x 46 icon square
TILE_TOP = 474
TILE = 46
EXIT_CENTRE = (173.0, 558.0)
SCREEN = (20, 74, 330, 470)  # left, top, right, bottom


def rgb(text):
    text = text.lstrip('#')
    return tuple(int(text[i:i + 2], 16) / 255.0 for i in (0, 2, 4))


def mix(a, b, t):
    return tuple(a[i] + (b[i] - a[i]) * t for i in range(3))


def lighter(c, t):
    return mix(c, (1.0, 1.0, 1.0), t)


def darker(c, t):
    return mix(c, (0.0, 0.0, 0.0), t)


class Image:
    def __init__(self, w, h, colour=(0.0, 0.0, 0.0)):
        self.w, self.h = w, h
        self.px = [list(colour) for _ in range(w * h)]
        self.alpha = None

    def copy(self):
        other = Image.__new__(Image)
        other.w, other.h = self.w, self.h
        other.px = [p[:] for p in self.px]
        other.alpha = self.alpha[:] if self.alpha else None
        return other

    def draw(self, sdf, paint, box, opacity=1.0):
        """Blends paint (a colour or a function (x, y) -> colour) where sdf < 0.5."""
        x0, y0, x1, y1 = box
        x0, y0 = max(0, int(math.floor(x0)) - 1), max(0, int(math.floor(y0)) - 1)
        x1, y1 = min(self.w, int(math.ceil(x1)) + 2), min(self.h, int(math.ceil(y1)) + 2)
        flat = not callable(paint)
        for y in range(y0, y1):
            py = y + 0.5
            row = y * self.w
            for x in range(x0, x1):
                px = x + 0.5
                d = sdf(px, py)
                if d >= 0.5:
                    continue
                a = (1.0 if d <= -0.5 else 0.5 - d) * opacity
                c = paint if flat else paint(px, py)
                p = self.px[row + x]
                p[0] += (c[0] - p[0]) * a
                p[1] += (c[1] - p[1]) * a
                p[2] += (c[2] - p[2]) * a
                if self.alpha is not None:
                    self.alpha[row + x] = self.alpha[row + x] + (1.0 - self.alpha[row + x]) * a

    def bytes_bgr_bottom_up(self):
        row_len = (self.w * 3 + 3) & ~3
        out = bytearray(row_len * self.h)
        for y in range(self.h):
            base = (self.h - 1 - y) * row_len
            for x in range(self.w):
                r, g, b = self.px[y * self.w + x]
                i = base + 3 * x
                out[i] = clamp8(b)
                out[i + 1] = clamp8(g)
                out[i + 2] = clamp8(r)
        return out


def clamp8(v):
    return 0 if v <= 0 else 255 if v >= 1 else int(v * 255 + 0.5)


# --- distance functions ----------------------------------------------------

def rbox(cx, cy, hx, hy, r):
    def f(x, y):
        qx = abs(x - cx) - hx + r
        qy = abs(y - cy) - hy + r
        out = math.hypot(max(qx, 0.0), max(qy, 0.0))
        return out + min(max(qx, qy), 0.0) - r
    return f


def rect_box(l, t, r, b, radius):
    return rbox((l + r) / 2.0, (t + b) / 2.0, (r - l) / 2.0, (b - t) / 2.0, radius)


def circle(cx, cy, r):
    return lambda x, y: math.hypot(x - cx, y - cy) - r


def segment(ax, ay, bx, by, w):
    dx, dy = bx - ax, by - ay
    ll = dx * dx + dy * dy or 1e-9

    def f(x, y):
        t = max(0.0, min(1.0, ((x - ax) * dx + (y - ay) * dy) / ll))
        return math.hypot(x - ax - dx * t, y - ay - dy * t) - w / 2.0
    return f


def polyline(points, w):
    segs = [segment(*points[i], *points[i + 1], w) for i in range(len(points) - 1)]
    return lambda x, y: min(s(x, y) for s in segs)


def polygon(points):
    """Convex polygon, points clockwise on screen (y down)."""
    edges = []
    n = len(points)
    for i in range(n):
        ax, ay = points[i]
        bx, by = points[(i + 1) % n]
        ex, ey = bx - ax, by - ay
        ln = math.hypot(ex, ey)
        edges.append((ax, ay, ey / ln, -ex / ln))

    def f(x, y):
        return max((x - ax) * nx + (y - ay) * ny for ax, ay, nx, ny in edges)
    return f


def ring(cx, cy, r, w, start=None, end=None):
    """Stroke of a circle; with start/end (degrees, clockwise from east) an arc."""
    def f(x, y):
        d = abs(math.hypot(x - cx, y - cy) - r) - w / 2.0
        if start is None:
            return d
        a = math.degrees(math.atan2(y - cy, x - cx)) % 360.0
        s, e = start % 360.0, end % 360.0
        inside = (s <= a <= e) if s <= e else (a >= s or a <= e)
        if inside:
            return d
        caps = []
        for ang in (start, end):
            px = cx + r * math.cos(math.radians(ang))
            py = cy + r * math.sin(math.radians(ang))
            caps.append(math.hypot(x - px, y - py) - w / 2.0)
        return min(caps)
    return f


def arc_arrow(cx, cy, r, end, size):
    """Arrow head at the start of an arc (angle end), pointing against the arc's direction."""
    t = math.radians(end)
    dx, dy = math.sin(t), -math.cos(t)
    ex, ey = cx + r * math.cos(t), cy + r * math.sin(t)
    tip = (ex + dx * size * 0.7, ey + dy * size * 0.7)
    return arrow_head(tip[0], tip[1], math.degrees(math.atan2(dy, dx)), size)


def union(*fs):
    return lambda x, y: min(f(x, y) for f in fs)


def minus(a, b):
    return lambda x, y: max(a(x, y), -b(x, y))


def stroke(f, w):
    return lambda x, y: abs(f(x, y)) - w / 2.0


def arrow_head(tx, ty, angle, size):
    """A filled triangle with its tip at (tx, ty) pointing along angle (degrees)."""
    a = math.radians(angle)
    bx, by = tx - size * math.cos(a), ty - size * math.sin(a)
    px, py = -math.sin(a) * size * 0.75, math.cos(a) * size * 0.75
    pts = [(tx, ty), (bx - px, by - py), (bx + px, by + py)]
    # Order the points clockwise for polygon().
    area = sum(pts[i][0] * pts[(i + 1) % 3][1] - pts[(i + 1) % 3][0] * pts[i][1]
               for i in range(3))
    if area < 0:
        pts.reverse()
    return polygon(pts)


# --- glyphs of the top row (about 11 x 11 around the centre) ----------------

W_TOP = 1.5


def glyph_top(zone, cx, cy):
    s = W_TOP
    if zone == 0:  # Close
        return union(segment(cx - 3.5, cy - 3.5, cx + 3.5, cy + 3.5, s),
                     segment(cx - 3.5, cy + 3.5, cx + 3.5, cy - 3.5, s))
    if zone == 1:  # Maximize
        return union(stroke(rbox(cx, cy, 4.5, 4.0, 1.0), 1.3),
                     segment(cx - 4.2, cy - 3.1, cx + 4.2, cy - 3.1, 1.6))
    if zone == 2:  # Minimize
        return segment(cx - 4.0, cy + 3.0, cx + 4.0, cy + 3.0, 1.8)
    if zone == 3:  # Forward
        return union(segment(cx - 4.5, cy, cx + 3.5, cy, s),
                     polyline([(cx + 0.5, cy - 3.5), (cx + 4.2, cy), (cx + 0.5, cy + 3.5)], s))
    if zone == 4:  # Backward
        return union(segment(cx + 4.5, cy, cx - 3.5, cy, s),
                     polyline([(cx - 0.5, cy - 3.5), (cx - 4.2, cy), (cx - 0.5, cy + 3.5)], s))
    if zone == 5:  # Refresh
        return union(ring(cx, cy, 4.2, s, -10, 250), arc_arrow(cx, cy, 4.2, -10, 3.4))
    if zone == 17:  # Rotate: a phone and a quarter turn
        return union(stroke(rbox(cx - 1.8, cy + 1.0, 2.2, 3.8, 0.8), 1.2),
                     ring(cx - 1.8, cy + 1.0, 6.0, 1.3, 270, 345),
                     arrow_head(cx + 4.3, cy + 0.1, 100, 3.0))
    if zone == 18:  # Change Skin: a half-toned disc
        disc = circle(cx, cy, 4.6)
        return union(stroke(disc, 1.3),
                     lambda x, y: max(disc(x, y), x - cx))
    if zone == 19:  # Topmost: arrow up to a bar
        return union(segment(cx - 4.2, cy - 4.2, cx + 4.2, cy - 4.2, 1.6),
                     segment(cx, cy + 4.5, cx, cy - 1.5, s),
                     polyline([(cx - 3.0, cy + 1.2), (cx, cy - 1.8), (cx + 3.0, cy + 1.2)], s))
    if zone == 20:  # Collect: into the tray
        return union(segment(cx, cy - 5.0, cx, cy + 1.2, s),
                     polyline([(cx - 2.8, cy - 1.6), (cx, cy + 1.4), (cx + 2.8, cy - 1.6)], s),
                     polyline([(cx - 4.5, cy + 1.8), (cx - 4.5, cy + 4.3), (cx + 4.5, cy + 4.3),
                               (cx + 4.5, cy + 1.8)], 1.3))
    if zone == 21:  # To the phone
        return union(stroke(rbox(cx, cy, 3.3, 5.2, 1.2), 1.2),
                     segment(cx, cy - 2.6, cx, cy + 1.0, 1.3),
                     polyline([(cx - 1.7, cy - 0.4), (cx, cy + 1.4), (cx + 1.7, cy - 0.4)], 1.2),
                     circle(cx, cy + 3.4, 0.6))
    if zone == 22:  # Mute
        return union(polygon([(cx - 5.0, cy - 1.6), (cx - 2.8, cy - 1.6), (cx + 0.2, cy - 4.6),
                              (cx + 0.2, cy + 4.6), (cx - 2.8, cy + 1.6), (cx - 5.0, cy + 1.6)]),
                     segment(cx + 2.2, cy - 2.0, cx + 5.2, cy + 2.0, 1.3),
                     segment(cx + 2.2, cy + 2.0, cx + 5.2, cy - 2.0, 1.3))
    if zone == 23:  # Date
        return union(stroke(rbox(cx, cy + 0.7, 4.6, 4.2, 1.0), 1.2),
                     rect_box(cx - 4.6, cy - 3.5, cx + 4.6, cy - 1.5, 0.5),
                     segment(cx - 2.2, cy - 5.3, cx - 2.2, cy - 3.3, 1.2),
                     segment(cx + 2.2, cy - 5.3, cx + 2.2, cy - 3.3, 1.2),
                     rect_box(cx + 0.6, cy + 0.8, cx + 2.8, cy + 3.0, 0.3))
    raise ValueError(zone)


# --- glyphs of the big buttons (about 26 x 26 in a 46 x 46 tile) -------------

def glyph_big(k, cx, cy):
    if k == 0:  # Refresh
        return union(ring(cx, cy, 9.5, 3.4, -5, 255), arc_arrow(cx, cy, 9.5, -5, 8.0))
    if k == 1:  # Backward
        return union(polygon([(cx - 12, cy), (cx - 1, cy - 8.5), (cx - 1, cy + 8.5)]),
                     polygon([(cx - 1, cy), (cx + 10, cy - 8.5), (cx + 10, cy + 8.5)]))
    if k == 2:  # Start
        return rbox_triangle(cx, cy)
    if k == 3:  # Forward
        return union(polygon([(cx + 12, cy), (cx + 1, cy + 8.5), (cx + 1, cy - 8.5)]),
                     polygon([(cx + 1, cy), (cx - 10, cy + 8.5), (cx - 10, cy - 8.5)]))
    if k == 4:  # Home
        roof = polygon([(cx, cy - 12), (cx + 12.5, cy - 1), (cx - 12.5, cy - 1)])
        body = rect_box(cx - 8.5, cy - 3, cx + 8.5, cy + 11, 1.5)
        door = rect_box(cx - 2.6, cy + 3, cx + 2.6, cy + 11.5, 1.0)
        return minus(union(roof, body), door)
    raise ValueError(k)


def rbox_triangle(cx, cy):
    tri = polygon([(cx - 7, cy - 11), (cx + 11, cy), (cx - 7, cy + 11)])
    return lambda x, y: tri(x, y) - 1.2  # rounded by growing a smaller triangle


# --- the face ----------------------------------------------------------------

OUTLINE = [(1, 36), (2, 29), (3, 24), (4, 22), (5, 20), (9, 14), (15, 8), (20, 5), (24, 3),
           (28, 2), (30, 1), (35, 0), (309, 0), (315, 1), (320, 2), (324, 3), (328, 5),
           (333, 8), (338, 14), (343, 20), (344, 23), (345, 27), (346, 31), (346, 557),
           (345, 564), (344, 567), (342, 570), (338, 577), (332, 583), (328, 586), (322, 588),
           (318, 589), (314, 590), (33, 590), (28, 589), (24, 588), (20, 586), (15, 583),
           (9, 577), (5, 570), (4, 567), (2, 562), (1, 552)]


def draw_base(p):
    """Everything that is the same on both faces."""
    flat = p.get('flat', False)
    img = Image(FACE_W, FACE_H, p['rim'])
    # The shell: the window's outline cuts it, so its own edge sits just inside.
    body_top, body_bottom = p['body_top'], p['body_bottom']

    def body_paint(x, y):
        c = mix(body_top, body_bottom, y / FACE_H)
        if not flat:
            sheen = math.exp(-((x - 95.0) / 70.0) ** 2) * 0.10
            c = lighter(c, sheen)
        return c

    img.draw(rect_box(2.5, 1.5, 345.5, 589.5, 33), body_paint, (0, 0, FACE_W, FACE_H))
    if not flat:
        # A thin bright bevel along the top and the left.
        img.draw(stroke(rect_box(3.5, 2.5, 344.5, 588.5, 32), 1.0), lighter(body_top, 0.35),
                 (0, 0, FACE_W, 60), 0.55)
    # Earpiece, camera and light sensor.
    img.draw(rbox(173.5, 24.5, 28, 3.2, 3.2), darker(p['rim'], 0.3), (140, 18, 210, 32))
    img.draw(rbox(173.5, 24.0, 27, 2.2, 2.2), mix(p['glass'], (0.3, 0.3, 0.3), 0.15),
             (140, 18, 210, 32))
    img.draw(circle(122.5, 24.5, 4.2), darker(p['rim'], 0.2), (115, 17, 131, 32))
    img.draw(circle(122.5, 24.5, 2.4), (0.10, 0.16, 0.28), (115, 17, 131, 32))
    img.draw(circle(121.6, 23.6, 0.8), (0.55, 0.65, 0.8), (118, 20, 126, 28), 0.8)
    img.draw(circle(226.5, 24.5, 1.8), darker(p['rim'], 0.1), (222, 20, 231, 29))
    # The glass front: top button row, screen and big buttons in one piece.
    glass = p['glass']
    img.draw(rect_box(12, 48, 338, 530, 14), glass, (10, 46, 340, 532))
    if not flat:
        img.draw(stroke(rect_box(12.5, 48.5, 337.5, 529.5, 13.5), 1.0), lighter(glass, 0.12),
                 (10, 46, 340, 532))
    # The screen, dark, with a faint glow at the top.
    l, t, r, b = SCREEN
    st, sb = p['screen_top'], p['screen_bottom']
    img.draw(rect_box(l, t, r, b, 2), lambda x, y: mix(st, sb, ((y - t) / (b - t)) ** 0.6),
             (l, t, r, b))
    img.draw(stroke(rect_box(l + 0.5, t + 0.5, r - 0.5, b - 0.5, 2), 1.0), darker(glass, 0.5),
             (l, t, r, b))
    # Hairlines between the big buttons.
    for k in range(1, 5):
        x = 24 + 60 * k
        img.draw(segment(x, 478, x, 516, 1.0), lighter(glass, 0.08), (x - 2, 476, x + 2, 518))
    # The chin with a slot around the small button.
    cx, cy = EXIT_CENTRE
    img.draw(circle(cx, cy, 13.5), darker(body_bottom, 0.45), (cx - 16, cy - 16, cx + 16, cy + 16))
    return img


def paint_top(img, p, lit):
    for zone, (left, right) in TOP_ROW.items():
        cx = (left + right + 1) / 2.0
        box = (left + 1, 58, right + 1, 74)
        if lit:
            acc, hi = p['accent'], p['accent_hi']
            img.draw(rect_box(left + 2.5, 59.5, right - 0.5, 72.5, 4),
                     lambda x, y, a=acc, h=hi: mix(h, a, (y - 59.5) / 13.0), box, 0.95)
            img.draw(glyph_top(zone, cx, TOP_Y), (1.0, 1.0, 1.0), box)
        else:
            img.draw(glyph_top(zone, cx, TOP_Y), p['icon'], box)


def paint_big(img, p, lit):
    flat = p.get('flat', False)
    for k, left in enumerate(BIG_TILES):
        top = TILE_TOP
        cx, cy = left + TILE / 2.0, top + TILE / 2.0
        box = (left, top, left + TILE, top + TILE)
        tile = rect_box(left, top, left + TILE, top + TILE, 5.5)
        if lit:
            a, h = p['accent'], p['accent_hi']
            img.draw(tile, lambda x, y: mix(h, a, (y - top) / TILE), box)
            img.draw(stroke(rect_box(left + 1, top + 1, left + TILE - 1, top + TILE - 1, 4.5), 1.2),
                     lighter(h, 0.5), box, 0.8)
            img.draw(glyph_big(k, cx, cy), (1.0, 1.0, 1.0), box)
        else:
            tt, tb = p['tile_top'], p['tile_bottom']
            img.draw(tile, lambda x, y: mix(tt, tb, (y - top) / TILE), box)
            if not flat:
                img.draw(segment(left + 6, top + 1.2, left + TILE - 6, top + 1.2, 1.0),
                         lighter(tt, 0.25), box, 0.7)
            img.draw(glyph_big(k, cx, cy), p['glyph'], box, 0.92)


def paint_exit(img, p, lit):
    cx, cy = EXIT_CENTRE
    box = (cx - 13, cy - 12, cx + 13, cy + 12)
    if lit:
        img.draw(circle(cx, cy, 11), lambda x, y: mix((1.0, 0.45, 0.4), (0.85, 0.12, 0.12),
                                                      (y - cy + 11) / 22.0), box)
        colour = (1.0, 1.0, 1.0)
    else:
        mid = p['tile_top']
        img.draw(circle(cx, cy, 11), lambda x, y: mix(lighter(mid, 0.15), darker(mid, 0.2),
                                                      (y - cy + 11) / 22.0), box)
        colour = (0.95, 0.35, 0.32)
    img.draw(union(ring(cx, cy + 0.5, 5.5, 1.8, -50, 230), segment(cx, cy - 6.5, cx, cy, 1.8)),
             colour, box)


def make_skin(p):
    p = dict(p)
    for key, value in list(p.items()):
        if isinstance(value, str) and value.startswith('#'):
            p[key] = rgb(value)
    base = draw_base(p)
    normal, lit = base.copy(), base.copy()
    paint_top(normal, p, False)
    paint_big(normal, p, False)
    paint_exit(normal, p, False)
    paint_top(lit, p, True)
    paint_big(lit, p, True)
    paint_exit(lit, p, True)
    skin = Image(SKIN_W, FACE_H, p['rim'])
    for y in range(FACE_H):
        for x in range(FACE_W):
            skin.px[y * SKIN_W + x] = normal.px[y * FACE_W + x]
        for x in range(SKIN_W - LIT_X):
            skin.px[y * SKIN_W + LIT_X + x] = lit.px[y * FACE_W + x]
    return skin


# --- files -------------------------------------------------------------------

def write_bmp(path, img):
    data = img.bytes_bgr_bottom_up()
    header = struct.pack('<2sIHHI', b'BM', 54 + len(data), 0, 0, 54)
    info = struct.pack('<IiiHHIIiiII', 40, img.w, img.h, 1, 24, 0, len(data), 2835, 2835, 0, 0)
    with open(path, 'wb') as f:
        f.write(header + info + data)


def write_png(path, img):
    raw = bytearray()
    for y in range(img.h):
        raw.append(0)
        for x in range(img.w):
            r, g, b = img.px[y * img.w + x]
            a = img.alpha[y * img.w + x] if img.alpha else 1.0
            raw += bytes((clamp8(r), clamp8(g), clamp8(b), clamp8(a)))

    def chunk(kind, body):
        c = struct.pack('>I', len(body)) + kind + body
        return c + struct.pack('>I', zlib.crc32(kind + body) & 0xFFFFFFFF)

    png = b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', img.w, img.h, 8, 6, 0, 0, 0))
    png += chunk(b'IDAT', zlib.compress(bytes(raw), 9)) + chunk(b'IEND', b'')
    with open(path, 'wb') as f:
        f.write(png)


def make_icon(p, size=64):
    """A small phone: the shell, the screen lit in the accent colour."""
    img = Image(size, size, (0, 0, 0))
    img.alpha = [0.0] * (size * size)
    s = size / 64.0
    img.draw(rect_box(16 * s, 3 * s, 48 * s, 61 * s, 7 * s),
             lambda x, y: mix(p['body_top'], p['body_bottom'], y / size), (0, 0, size, size))
    img.draw(rect_box(19 * s, 11 * s, 45 * s, 47 * s, 2 * s),
             lambda x, y: mix(p['accent_hi'], p['accent'], (y - 11 * s) / (36 * s)),
             (0, 0, size, size))
    img.draw(rbox_triangle(32.5 * s, 29 * s) if False else
             polygon([(28 * s, 22 * s), (39 * s, 29 * s), (28 * s, 36 * s)]),
             (1.0, 1.0, 1.0), (0, 0, size, size))
    img.draw(circle(32 * s, 54 * s, 3 * s), p['glass'], (0, 0, size, size))
    return img


def make_frame(p, step):
    """Frame step (0-3) of the download animation: a globe sends an arrow to a phone."""
    n = 128
    img = Image(n, n, (0.96, 0.97, 0.98))
    acc, hi = p['accent'], p['accent_hi']
    # Globe.
    img.draw(circle(34, 34, 22), lambda x, y: mix(hi, acc, y / 60.0), (8, 8, 60, 60))
    img.draw(union(ring(34, 34, 22, 1.6), segment(12, 34, 56, 34, 1.4),
                   stroke(rbox(34, 34, 9, 22, 9), 1.4)), (1.0, 1.0, 1.0), (8, 8, 60, 60), 0.85)
    # Phone.
    img.draw(rect_box(74, 52, 112, 120, 7),
             lambda x, y: mix(p['body_top'], p['body_bottom'], (y - 52) / 68.0), (70, 48, 116, 124))
    img.draw(rect_box(78, 62, 108, 106, 2), p['screen_top'], (70, 48, 116, 124))
    img.draw(circle(93, 113, 2.5), p['glass'], (86, 106, 100, 120))
    # Progress on the phone's screen.
    for i in range(4):
        colour = acc if i <= step else (0.35, 0.38, 0.42)
        img.draw(rect_box(82 + 6.5 * i, 98, 86.5 + 6.5 * i, 102, 1), colour, (78, 94, 112, 106))
    # The travelling arrow, further along each frame.
    t = 0.2 + 0.2 * step
    ax, ay = 46 + (92 - 46) * t, 44 + (84 - 44) * t
    ang = math.degrees(math.atan2(84 - 44, 92 - 46))
    tail = (ax - 14 * math.cos(math.radians(ang)), ay - 14 * math.sin(math.radians(ang)))
    img.draw(union(segment(tail[0], tail[1], ax, ay, 4.0), arrow_head(ax + 5 * math.cos(math.radians(ang)),
                                                                      ay + 5 * math.sin(math.radians(ang)),
                                                                      ang, 9)),
             acc, (0, 0, n, n))
    return img


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), '..')
    with open(os.path.join(root, 'tools', 'skins', 'skins.json'), encoding='utf-8') as f:
        desc = json.load(f)
    out_dir = os.path.join(root, 'resources', 'program')
    res_dir = os.path.join(out_dir, 'Res')
    os.makedirs(res_dir, exist_ok=True)
    done = {}
    for p in desc['skins']:
        key = json.dumps({k: v for k, v in p.items() if k != 'file'}, sort_keys=True)
        if key not in done:
            done[key] = make_skin(p)
        write_bmp(os.path.join(out_dir, p['file']), done[key])
        print('skingen:', p['file'])
    first = desc['skins'][0]
    pal = {k: rgb(v) if isinstance(v, str) and v.startswith('#') else v for k, v in first.items()}
    write_png(os.path.join(res_dir, 'Icon100.png'), make_icon(pal))
    for step in range(4):
        write_bmp(os.path.join(res_dir, 'Bitmap%d.bmp' % (208 + step)), make_frame(pal, step))
    print('skingen: icon 100 and frames 208-211')


if __name__ == '__main__':
    main()
