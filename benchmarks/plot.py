"""Draws what each job of a listing costs (SVG), from the figures of count.py."""
import math

WIDTH, HEIGHT, LEFT, TOP, BOTTOM = 640, 320, 70, 30, 50


def text(across, down, anchor, words):
    return f'<text x="{across:.0f}" y="{down:.0f}" text-anchor="{anchor}">{words}</text>'


def draw(listings):
    """The picture, for the listings of count.py's figures."""
    rows = [(each["jobs"], each["libxavo"]["total"], each["by_hand"]["total"]) for each in listings]
    most = max(max(row[1:]) / row[0] for row in rows) * 1.15

    def x(jobs):
        low, high = math.log10(rows[0][0]), math.log10(rows[-1][0])
        return LEFT + 20 + (WIDTH - LEFT - 60) * (math.log10(jobs) - low) / (high - low)

    def y(instructions):
        return HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * instructions / most

    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
             'font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
             text(WIDTH / 2, 16, "middle", "instructions for each job of a listing, client library included")]
    step = 10 ** math.floor(math.log10(most))
    for mark in range(0, int(most / step) + 1):
        down = y(mark * step)
        lines += [f'<path d="M{LEFT} {down:.0f}H{WIDTH - 20}" stroke="#ddd"/>',
                  text(LEFT - 6, down + 4, "end", f"{mark * step:,}")]
    lines += [text(x(row[0]), HEIGHT - BOTTOM + 18, "middle", f"{row[0]:,}") for row in rows]
    lines.append(text(WIDTH / 2, HEIGHT - 10, "middle", "jobs in the listing"))
    for column, name, colour, below in ((1, "libxavo", "#06c", -8), (2, "by hand", "#c60", 18)):
        points = [(x(row[0]), y(row[column] / row[0])) for row in rows]
        line = " ".join(f"{a:.1f},{b:.1f}" for a, b in points)
        lines.append(f'<polyline fill="none" stroke="{colour}" points="{line}"/>')
        lines += [f'<circle cx="{a:.1f}" cy="{b:.1f}" r="3" fill="{colour}"/>' for a, b in points]
        lines += [f'<g fill="{colour}">', text(points[-1][0], points[-1][1] + below, "end", name), "</g>"]
    return "\n".join(lines + ["</svg>"]) + "\n"
