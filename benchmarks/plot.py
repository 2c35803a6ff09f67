#!/usr/bin/env python3
"""plot.py LOG - what each job of a listing costs, drawn (SVG) from what scripts/bench has printed."""
import math
import re
import sys

WIDTH, HEIGHT, LEFT, TOP, BOTTOM = 640, 320, 70, 30, 50
rows = [[int(cell.replace(",", "")) for cell in match.groups()] for match in
        (re.match(r"\| ([\d,]+) \| ([\d,]+) \| ([\d,]+) \|", line) for line in open(sys.argv[1], encoding="utf-8")) if match]
if not rows:
    sys.exit(f"{sys.argv[1]} tells of no listing")
most = max(max(row[1:]) / row[0] for row in rows) * 1.15


def x(jobs):
    low, high = math.log10(rows[0][0]), math.log10(rows[-1][0])
    return LEFT + 20 + (WIDTH - LEFT - 60) * (math.log10(jobs) - low) / (high - low)


def y(instructions):
    return HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * instructions / most


def text(across, down, anchor, words):
    print(f'<text x="{across:.0f}" y="{down:.0f}" text-anchor="{anchor}">{words}</text>')


print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">')
print(f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>')
text(WIDTH / 2, 16, "middle", "instructions for each job of a listing, client library and all")
step = 10 ** math.floor(math.log10(most))
for mark in range(0, int(most / step) + 1):
    down = y(mark * step)
    print(f'<path d="M{LEFT} {down:.0f}H{WIDTH - 20}" stroke="#ddd"/>')
    text(LEFT - 6, down + 4, "end", f"{mark * step:,}")
for jobs, *_ in rows:
    text(x(jobs), HEIGHT - BOTTOM + 18, "middle", f"{jobs:,}")
text(WIDTH / 2, HEIGHT - 10, "middle", "jobs in the listing")
for column, name, colour, below in ((1, "libxavo", "#06c", -8), (2, "by hand", "#c60", 18)):
    points = [(x(row[0]), y(row[column] / row[0])) for row in rows]
    print('<polyline fill="none" stroke="{}" points="{}"/>'.format(colour, " ".join(f"{a:.1f},{b:.1f}" for a, b in points)))
    for across, down in points:
        print(f'<circle cx="{across:.1f}" cy="{down:.1f}" r="3" fill="{colour}"/>')
    print(f'<g fill="{colour}">')
    text(points[-1][0], points[-1][1] + below, "end", name)
    print("</g>")
print("</svg>")
