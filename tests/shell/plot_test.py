#!/usr/bin/env python3
"""Plots rendered by quarn through gnuplot, checked as pictures: the PNG's
size and a few pixels where the curve or a bar must be and where they must
not; an SVG is written too; and no title or file name can make gnuplot or a
shell run a command. Usage: plot_test.py PATH_TO_QUARN. Prints
'N passed, M failed'."""
import os
import struct
import subprocess
import sys
import tempfile
import zlib

quarn = os.path.abspath(sys.argv[1])
work = tempfile.mkdtemp()
passed = failed = 0


def check(name, ok, detail=""):
    global passed, failed
    passed, failed = (passed + 1, failed) if ok else (passed, failed + 1)
    print(("ok   " if ok else "FAIL ") + name + ("" if ok else ": " + detail))


def read_png(path):
    """Width, height and rows of (r, g, b) of an 8-bit RGB or RGBA PNG."""
    data = open(path, "rb").read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG"
    pos, idat = 8, b""
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            width, height, depth, color = struct.unpack(">IIBB", body[:10])
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    assert depth == 8 and color in (2, 6), f"depth {depth}, color type {color}"
    bpp = 4 if color == 6 else 3
    raw, stride, rows, prev = zlib.decompress(idat), width * bpp, [], bytearray(width * bpp)
    for y in range(height):
        f, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            a = line[i - bpp] if i >= bpp else 0
            b, c = prev[i], prev[i - bpp] if i >= bpp else 0
            p = a + b - c
            pred = [0, a, b, (a + b) // 2,
                    a if abs(p - a) <= abs(p - b) and abs(p - a) <= abs(p - c) else b if abs(p - b) <= abs(p - c) else c][f]
            line[i] = (line[i] + pred) & 255
        rows.append([tuple(line[x * bpp:x * bpp + 3]) for x in range(width)])
        prev = line
    return width, height, rows


def blue(px):
    return px[2] > px[0] + 60


def white(px):
    return min(px) > 200


def near(rows, x, y, test, r=3):
    return any(test(rows[y + dy][x + dx]) for dx in range(-r, r + 1) for dy in range(-r, r + 1))


def run(statements):
    return subprocess.run([quarn, "-e", statements], cwd=work, capture_output=True, text=True, timeout=300)


# The plot area spans screen x 0.1..0.95 and y 0.1..0.9 of 800 x 500 pixels:
# data x maps to 80 + (x - x0)/(x1 - x0) 680, data y to 450 - (y - y0)/(y1 - y0) 400.
r = run('plot(x -> x, 0..1, output = "line.png"); '
        'histogram(Vector([1, 2, 2, 3, 3, 3]), 3, output = "hist.png"); '
        'plot(sin(x), x = 0..Pi, output = "sine.svg", title = "sine");')
check("plots run", r.returncode == 0 and '"line.png"' in r.stdout, r.stdout + r.stderr)
w, h, px = read_png(os.path.join(work, "line.png"))
check("png size", (w, h) == (800, 500), f"{w} x {h}")
check("line through the middle", near(px, 420, 250, blue), str(px[250][417:424]))
check("line through a quarter", near(px, 250, 350, blue), str(px[350][247:254]))
check("nothing above the line", not near(px, 150, 100, blue, 10), str(px[100][140:160]))
w, h, px = read_png(os.path.join(work, "hist.png"))
# Bins of width 2/3 over [1, 3] with counts 1, 2, 3; y from 0 to 3.
check("tallest bar filled", near(px, 646, 210, blue, 0), str(px[210][646]))
check("short bar ends low", white(px[210][193]) and near(px, 193, 400, blue, 0), str((px[210][193], px[400][193])))
svg = open(os.path.join(work, "sine.svg")).read()
check("svg written", svg.lstrip().startswith("<?xml") and "<svg" in svg and "sine" in svg, svg[:200])

# Quotes, line breaks and gnuplot's backquotes in texts and names stay text.
r = run('plot(x -> x, 0..1, output = "it\'s `touch pwned1`.png", '
        'title = "a\' ; system(\'touch pwned2\') ; print \'", xlabel = "`touch pwned3`\\n! touch pwned4", '
        'ylabel = "@x $(touch pwned5)");')
made = sorted(os.listdir(work))
check("no injection", r.returncode == 0 and "it's `touch pwned1`.png" in made and
      not any(f.startswith("pwned") for f in made), repr(made) + r.stderr)
r = run('plot(x -> x, 0..1, output = "x.pdf");')
check("unknown format refused", r.returncode == 1 and "must end in .png or .svg" in r.stderr, r.stderr)

print(f"{passed} passed, {failed} failed")
sys.exit(1 if failed else 0)
