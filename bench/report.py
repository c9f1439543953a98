"""The run as tables for the terminal and for docs/performance.md, and as a plot."""
import math
import re

COLUMNS = ("subject", "figure", "beside", "ratio", "to reach", "reached")


def terminal_table(heads, rows):
    lines = [heads, *rows]
    widths = [max(len(line[i]) for line in lines) for i in range(len(heads))]
    return "\n".join("  ".join(map(str.ljust, line, widths)).rstrip() for line in lines)


def markdown_table(heads, rows):
    return "\n".join("| " + " | ".join(line) + " |" for line in (heads, ["---"] * len(heads), *rows))


def replace_section(text, name, content):
    """Puts the content between the marks of that name."""
    begin, end = f"<!-- measured: {name} -->", "<!-- end -->"
    pattern = re.compile(re.escape(begin) + ".*?" + re.escape(end), re.DOTALL)
    if not pattern.search(text):
        raise SystemExit(f"docs/performance.md has no section {begin}")
    return pattern.sub(lambda _: f"{begin}\n{content}\n{end}", text)


def plot(series, floor):
    """Time per accepted alert against the number waiting, both logarithmic. A series is a name, a colour and
    the seconds by the number waiting; the floor is the same for all numbers."""
    left, top, width, height = 90, 20, 480, 300
    lengths = [length for _, _, curve in series for length in curve]
    times = [floor, *(seconds for _, _, curve in series for seconds in curve.values())]
    low_x, high_x = math.log10(min(lengths)), math.log10(max(lengths))
    low_y, high_y = math.floor(math.log10(min(times))), math.ceil(math.log10(max(times)))

    def at(length, seconds):
        return (left + (math.log10(length) - low_x) / (high_x - low_x) * width,
                top + (high_y - math.log10(seconds)) / (high_y - low_y) * height)

    parts = []

    def text(x, y, words, anchor="middle", colour="#333", more=""):
        where = f'x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}"'
        parts.append(f'<text {where} fill="{colour}"{more}>{words}</text>')

    def curve(name, colour, points, dashes=""):
        line = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
        parts.append(f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2"{dashes}/>')
        text(points[-1][0] + 8, points[-1][1] + 4, name, "start", colour)

    for power in range(math.ceil(low_x), math.floor(high_x) + 1):
        x = at(10 ** power, floor)[0]
        parts.append(f'<path d="M{x:.0f} {top}v{height}" stroke="#ddd"/>')
        text(x, top + height + 18, f"{10 ** power:,}")
    for power in range(low_y, high_y + 1):
        y = at(lengths[0], 10.0 ** power)[1]
        parts.append(f'<path d="M{left} {y:.0f}h{width}" stroke="#ddd"/>')
        text(left - 8, y + 4, f"{10 ** (power + 6)} us" if power < -3 else f"{10 ** (power + 3)} ms", "end")
    middle = top + height / 2
    text(left + width / 2, top + height + 42, "alerts waiting")
    text(16, middle, "time per accepted alert", more=f' transform="rotate(-90 16 {middle:.0f})"')
    curve("floor", "#777", [at(length, floor) for length in (min(lengths), max(lengths))],
          ' stroke-dasharray="5 4"')
    for name, colour, seconds in series:
        points = [at(*point) for point in sorted(seconds.items())]
        curve(name, colour, points)
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" fill="{colour}"/>' for x, y in points]
    size = f'width="{left + width + 110}" height="{top + height + 55}"'
    return (f'<svg xmlns="http://www.w3.org/2000/svg" {size} font-family="sans-serif" font-size="13" '
            'role="img" aria-label="Time per accepted alert against the number of alerts waiting">\n'
            f'<rect {size} fill="white"/>\n' + "\n".join(parts) + "\n</svg>\n")
