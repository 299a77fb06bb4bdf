"""Growth curves as an SVG: small charts side by side, both axes logarithmic, so that a power of the size is a line."""
import html
import math

CHART = (300, 200)  # of the drawn area, in pixels
MARGIN = (60, 40, 20, 40)  # left, top, right, bottom
COLUMNS = 3
COLOURS = ["#1f6fb4", "#c2410c", "#15803d", "#7e22ce"]


def charts_of(curves):
    """Curves of one structure share a chart: its name is what stands before the comma."""
    charts = {}
    for (name, unit), points in curves.items():
        structure, _, what = name.partition(", ")
        label, axis = (what, "") if what not in ("MiB", "cards") else (structure, what)
        charts.setdefault((structure if not axis else name, unit), []).append((label, sorted(points)))
    return charts


def decades(values):
    low = math.floor(math.log10(min(values)))
    high = math.ceil(math.log10(max(values)))
    return low, max(high, low + 1)


def short(power):
    names = {0: "1", 1: "10", 2: "100", 3: "1 k", 4: "10 k", 5: "100 k", 6: "1 M", 7: "10 M"}
    return names.get(power, f"1e{power}")


def text(x, y, words, anchor="middle", extra=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}"{extra}>{html.escape(words)}</text>'


def chart(title, unit, lines):
    width, height = CHART
    x_low, x_high = decades([size for _, points in lines for size, _ in points])
    y_low, y_high = decades([figure for _, points in lines for _, figure in points])
    x_of = lambda size: (math.log10(size) - x_low) / (x_high - x_low) * width
    y_of = lambda figure: height - (math.log10(figure) - y_low) / (y_high - y_low) * height
    out = [text(width / 2, -12, f"{title} ({unit})", extra=' font-weight="bold"')]
    for power in range(x_low, x_high + 1):
        x = x_of(10**power)
        out.append(f'<path d="M{x:.1f} 0V{height}" stroke="#ddd"/>' + text(x, height + 16, short(power)))
    for power in range(y_low, y_high + 1):
        y = y_of(10**power)
        out.append(f'<path d="M0 {y:.1f}H{width}" stroke="#ddd"/>' + text(-6, y + 4, short(power), "end"))
    for (label, points), colour in zip(lines, COLOURS):
        path = " ".join(f"{x_of(size):.1f},{y_of(figure):.1f}" for size, figure in points)
        out.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        size, figure = points[-1]
        out.append(text(x_of(size) - 4, y_of(figure) - 6, label, "end", f' fill="{colour}"'))
    return "".join(out)


def drawing(curves, caption):
    charts = charts_of(curves)
    cell = (CHART[0] + MARGIN[0] + MARGIN[2], CHART[1] + MARGIN[1] + MARGIN[3])
    rows = (len(charts) + COLUMNS - 1) // COLUMNS
    size = (cell[0] * COLUMNS, cell[1] * rows + 30)
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{size[0]}" height="{size[1]}" font-family="sans-serif" '
           f'font-size="11"><rect width="100%" height="100%" fill="white"/>']
    for i, ((title, unit), lines) in enumerate(charts.items()):
        x = MARGIN[0] + i % COLUMNS * cell[0]
        y = MARGIN[1] + i // COLUMNS * cell[1]
        out.append(f'<g transform="translate({x},{y})">{chart(title, unit, lines)}</g>\n')
    out.append(text(10, size[1] - 10, caption, "start", ' fill="#666"') + "</svg>\n")
    return "".join(out)
