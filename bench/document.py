#!/usr/bin/env python3
"""Writes the figures into docs/performance.md and the plots beside it.

Usage: document.py MEASUREMENTS.json [PROFILE.json]
Replaces what stands between the markers "<!-- NAME -->" and "<!-- end -->" of the page, for the names table, growth and
profile, and writes docs/performance/NAME.svg for every curve. Without a profile that block stays as it is.
"""
import json
import math
import pathlib
import re
import subprocess
import sys

DOCS = pathlib.Path(__file__).resolve().parent.parent / "docs"
PLOTS = DOCS / "performance"


def number(value):
    if value == 0:
        return "0"
    digits = max(0, 2 - math.floor(math.log10(abs(value))))
    return f"{value:.{min(digits, 3)}f}"


def span(series, unit):
    return " / ".join(number(series[key]) for key in ("min", "median", "max")) + f" {unit}"


def table(rows):
    lines = ["| figure | min / median / max | yardstick | min / median / max | ratio | target | |",
             "| --- | --- | --- | --- | --- | --- | --- |"]
    for row in rows:
        yardstick = row.get("yardstick")
        cells = [row["name"], span(row["figure"], row["unit"]),
                 yardstick["name"] if yardstick else "", span(yardstick, row["unit"]) if yardstick else "",
                 number(row["ratio"]) if yardstick else "", row.get("target", ""),
                 {True: "met", False: "**not met**", None: ""}[row.get("met")]]
        lines.append("| " + " | ".join(cells) + " |")
    return lines


def machine():
    model = "unknown processor"
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
    kernel = pathlib.Path("/proc/sys/kernel/osrelease").read_text().split("-")[0]
    load = pathlib.Path("/proc/loadavg").read_text().split()[0]
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], cwd=DOCS, capture_output=True, text=True).stdout
    return (f"Commit {commit.strip()}, {model}, Linux {kernel}, one core, load average {load} at the end; "
            "each row's figures are the minimum, median and maximum of its rounds.")


def exponent(points):
    """The slope of the curve in a double-logarithmic plot, over its upper half: 1 is linear."""
    upper = [(math.log(x), math.log(y)) for x, y in points[len(points) // 2:] if x > 0 and y > 0]
    if len(upper) < 2:
        return 0.0
    mean_x = sum(x for x, _ in upper) / len(upper)
    mean_y = sum(y for _, y in upper) / len(upper)
    spread = sum((x - mean_x) ** 2 for x, _ in upper)
    return sum((x - mean_x) * (y - mean_y) for x, y in upper) / spread


def nice_step(limit):
    raw = limit / 4 if limit > 0 else 1
    power = 10 ** math.floor(math.log10(raw))
    return next(factor * power for factor in (1, 2, 2.5, 5, 10) if factor * power >= raw)


def short(value):
    return f"{value:g}"


def svg(curve):
    width, height, left, bottom, top, right = 420, 240, 62, 40, 28, 14
    points = curve["points"]
    step_x, step_y = nice_step(max(x for x, _ in points)), nice_step(max(y for _, y in points))
    most_x = math.ceil(max(x for x, _ in points) / step_x) * step_x
    most_y = math.ceil(max(y for _, y in points) / step_y) * step_y or 1

    def at(x, y):
        return (left + (width - left - right) * x / most_x, height - bottom - (height - bottom - top) * y / most_y)

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" '
           'font-family="sans-serif" font-size="11">',
           f'<rect width="{width}" height="{height}" fill="#fff"/>',
           f'<text x="{left}" y="16" font-weight="bold">{curve["title"]}</text>']
    ticks = [(i * step_y, True) for i in range(round(most_y / step_y) + 1)]
    ticks += [(i * step_x, False) for i in range(round(most_x / step_x) + 1)]
    for value, vertical in ticks:
        x, y = at(0, value) if vertical else at(value, 0)
        if vertical:
            out.append(f'<path d="M{x:.1f} {y:.1f}H{width - right}" stroke="#ddd"/>'
                       f'<text x="{x - 6:.1f}" y="{y + 4:.1f}" text-anchor="end">{short(value)}</text>')
        else:
            out.append(f'<path d="M{x:.1f} {y:.1f}v4" stroke="#555"/>'
                       f'<text x="{x:.1f}" y="{y + 16:.1f}" text-anchor="middle">{short(value)}</text>')
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in (at(*point) for point in points))
    out.append(f'<polyline points="{path}" fill="none" stroke="#1f6fb2" stroke-width="2"/>')
    out += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="#1f6fb2"/>' for x, y in (at(*p) for p in points)]
    out.append(f'<text x="{(left + width) / 2:.0f}" y="{height - 8}" text-anchor="middle">{curve["x"]}</text>')
    out.append(f'<text x="14" y="{height / 2:.0f}" text-anchor="middle" '
               f'transform="rotate(-90 14 {height / 2:.0f})">{curve["y"]}</text></svg>')
    return "\n".join(out) + "\n"


def growth(curves):
    PLOTS.mkdir(exist_ok=True)
    lines = ["| what | smallest | largest | exponent |", "| --- | --- | --- | --- |"]
    images = []
    for curve in curves:
        first, last = curve["points"][0], curve["points"][-1]
        cells = [f"{number(y)} {curve['y']} at {short(x)} {curve['x']}" for x, y in (first, last)]
        lines.append(f"| {curve['title']} | {cells[0]} | {cells[1]} | {exponent(curve['points']):.2f} |")
        (PLOTS / f"{curve['name']}.svg").write_text(svg(curve))
        images.append(f"![{curve['title']}](performance/{curve['name']}.svg)")
    return lines + [""] + images


def profile(seconds):
    lines = []
    for second in seconds:
        lines += [f"{second['name']}: {second['instructions']:,} instructions.", "",
                  "| share | function |", "| --- | --- |"]
        lines += [f"| {share} | `{function}` |" for share, function in second["functions"]]
        lines.append("")
    return lines[:-1]


def replace(page, name, lines):
    pattern = re.compile(rf"(<!-- {name} -->\n).*?(<!-- end -->)", re.DOTALL)
    if not pattern.search(page):
        sys.exit(f"document.py: the page has no block {name}")
    text = "\n".join(lines)
    return pattern.sub(lambda match: f"{match[1]}{text}\n{match[2]}", page)


def main(arguments):
    measured = json.loads(pathlib.Path(arguments[0]).read_text())
    path = DOCS / "performance.md"
    page = replace(path.read_text(), "table", [machine(), ""] + table(measured["rows"]))
    page = replace(page, "growth", growth(measured["curves"]))
    if len(arguments) > 1:
        page = replace(page, "profile", profile(json.loads(pathlib.Path(arguments[1]).read_text())))
    path.write_text(page)


if __name__ == "__main__":
    main(sys.argv[1:])
