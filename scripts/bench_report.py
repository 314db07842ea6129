#!/usr/bin/env python3
"""Makes tables and plots from what scripts/bench.sh measured.

usage: bench_report.py DIRECTORY [--html FILE] [--plot FILE.svg] [--markdown] [--counts]

DIRECTORY holds a JSON file of Google Benchmark for each instruction-set level. A benchmark is named
<family>/<work>/<who>, and `zelj` is set beside every other <who> of the same work: rivals, and memcpy of as many
bytes as a bound. --html writes a page with everything, --plot a small picture of the main works, --markdown prints
tables for a text. Rates are medians of repetitions, which alternate in random order. --counts gathers callgrind's
profiles into one table of instructions per item, which the others show if it is there as instructions.json.
"""
import argparse
import collections
import glob
import html
import json
import os
import re
import statistics
import sys

LEVELS = {"avx": "AVX", "x86-64-v3": "x86-64-v3", "x86-64-v4": "x86-64-v4"}
UNITS = {"pixels": "px/s", "blocks": "blocks/s", "bytes": "B/s", "samples": "samples/s"}

MACHINE = re.compile("(frame|threads)/")

# What --plot shows: the beginning of <family>/<work>, and a label.
MAIN = [
    ("codec/encode 4:2:0 q75", "whole encoder, 4:2:0"),
    ("codec/decode 4:2:0 q75", "whole decoder, 4:2:0"),
    ("colour/RGBToYCbCr_JPEG_8u_C3P3R", "RGB to YCbCr"),
    ("colour/YCbCrToRGB_JPEG_8u_P3C3R", "YCbCr to RGB"),
    ("sampling/plane down h2v2", "halve chroma, 2 x 2"),
    ("sampling/row up h2v2", "double chroma, 2 x 2"),
    ("sampling/row up h2v1", "double chroma, 2 x 1"),
    ("dct/forward 8u", "forward DCT, quantised"),
    ("dct/inverse 8u", "inverse DCT, dequantised"),
    ("huffman/encode q75", "Huffman encoder, quality 75"),
    ("huffman/decode q75", "Huffman decoder, quality 75"),
]


class Report:
    """Rates by family, work, who and level, in the order of the benchmarks."""

    def __init__(self, directory):
        self.rates = {}  # family -> work -> who -> level -> [rates]
        self.units = {}  # (family, work) -> counter
        self.context = {}
        counts = os.path.join(directory, "instructions.json")
        self.counts = json.load(open(counts)) if os.path.exists(counts) else {}  # <family>/<work>/<who>: per item
        names = [name for name in sorted(glob.glob(os.path.join(directory, "*.json"))) if name != counts]
        runs = [json.load(open(name)) for name in names]
        if not runs:
            sys.exit(f"bench_report: no measurements in {directory}")
        runs.sort(key=lambda run: list(LEVELS).index(run["context"]["zelj_level"]))
        self.levels = [run["context"]["zelj_level"] for run in runs]
        for run in runs:
            self.context = run["context"]
            # As registered, with what is about the machine behind what is about the library.
            for entry in sorted(run["benchmarks"], key=lambda e: (bool(MACHINE.match(e["name"])), e["family_index"])):
                if entry["run_type"] == "iteration":
                    self.add(run["context"]["zelj_level"], entry)

    def add(self, level, entry):
        name = re.sub(r"/(real_time|repeats:\d+)", "", entry["run_name"])
        family, work, who = name.split("/", 2)
        unit = next(u for u in entry if u in UNITS)
        self.units[family, work] = unit
        works = self.rates.setdefault(family, {})
        levels = works.setdefault(work, {}).setdefault(who, collections.defaultdict(list))
        levels[level].append(entry[unit])

    def rate(self, family, work, who, level):
        rates = self.rates[family][work].get(who, {}).get(level)
        return statistics.median(rates) if rates else None

    def count(self, family, work, who):
        """Instructions per pixel, block or byte, or None."""
        return self.counts.get(f"{family}/{work}/{who}")

    def behind(self):
        """(ratio, level, name) wherever a rival is faster, the worst first."""
        found = []
        for family, works in self.rates.items():
            for work in works:
                for who in self.rivals(family, work):
                    for level in self.levels:
                        ratio = who and self.ratio(family, work, who, level)
                        if ratio and ratio < 1:
                            found.append((ratio, level, f"{family}/{work} beside {who}"))
        return sorted(found)

    def ratio(self, family, work, who, level):
        ours, theirs = self.rate(family, work, "zelj", level), self.rate(family, work, who, level)
        return ours / theirs if ours and theirs else None

    def rivals(self, family, work):
        """Whom to set beside zelj; where zelj takes no part, all who do."""
        whos = self.rates[family][work]
        return [who for who in whos if who != "zelj" and not (is_copy(who) and "zelj" in whos)] or [None]

    def copy_share(self, family, work, level):
        who = next((who for who in self.rates[family][work] if is_copy(who)), None)
        return self.ratio(family, work, who, level) if who else None

    def scale(self, family, work):
        """The factor and the name of a unit in which all rates of a work are easy to read."""
        best = max(max(r) for levels in self.rates[family][work].values() for r in levels.values())
        for factor, prefix in ((1e9, "G"), (1e6, "M"), (1e3, "k")):
            if best >= factor:
                return factor, prefix + UNITS[self.units[family, work]]
        return 1, UNITS[self.units[family, work]]

    def machine(self):
        date = self.context["date"][:10]
        return f"{self.context['processor']}, {self.context['compiler']}, {date}"


def is_copy(who):
    return who.startswith("memcpy")


def number(value):
    return f"{value:#.3g}" if value < 100 else f"{value:.0f}"


def text_width(text):
    """About the pixels of a text at 13 px: fonts differ."""
    return sum(9.2 if c.isupper() or c.isdigit() else 7.3 for c in text)


# Plots: horizontal bars of ratios, grouped by work, a bar for each level.

STYLE = """
.plot text { font: 13px system-ui, sans-serif; fill: #1f2328; }
.plot .small { font-size: 11px; fill: #59636e; }
.plot .grid { stroke: #d1d9e0; } .plot .one { stroke: #1f2328; stroke-width: 1.5; }
.plot .avx { fill: #e69f00; } .plot .x86-64-v3 { fill: #3aa3dc; } .plot .x86-64-v4 { fill: #009e73; }
@media (prefers-color-scheme: dark) {
  .plot text { fill: #e6edf3; } .plot .small { fill: #9198a1; }
  .plot .grid { stroke: #3d444d; } .plot .one { stroke: #e6edf3; }
}"""


def plot(title, groups, levels, own_style=False):
    """groups: [(label, {level: ratio})]. Returns an SVG element."""
    bar, gap, top, width, value_width = 11, 9, 52, 780, 44
    left = 20 + max(text_width(label) for label, _ in groups)
    group_height = bar * len(levels) + gap
    height = top + group_height * len(groups) + 26
    largest = max([1.0] + [r for _, ratios in groups for r in ratios.values()])
    step = next(s for s in (0.25, 0.5, 1, 2, 5, 10, 20, 50) if largest / s <= 8)
    scale = (width - left - value_width) / largest
    out = [f'<svg class="plot" xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
           f'height="{height}" role="img" aria-label="{html.escape(title)}">']
    if own_style:
        out.append(f"<style>{STYLE}</style>")
    out.append(f'<text x="8" y="18" font-weight="600">{html.escape(title)}</text>')
    x = left
    for level in levels:
        out.append(f'<rect class="{level}" x="{x:.1f}" y="29" width="11" height="11" rx="2"/>'
                   f'<text class="small" x="{x + 16:.1f}" y="38.5">{LEVELS[level]}</text>')
        x += 36 + 0.85 * text_width(LEVELS[level])
    bottom = top + group_height * len(groups)
    for i in range(int(largest / step + 1e-9) + 1):
        x = left + i * step * scale
        out.append(f'<line class="grid" x1="{x:.1f}" y1="{top - 4}" x2="{x:.1f}" y2="{bottom}"/>'
                   f'<text class="small" x="{x:.1f}" y="{bottom + 15}" text-anchor="middle">{i * step:g}</text>')
    y, values = top, []
    for label, ratios in groups:
        middle = y + bar * len(levels) / 2 + 4.5
        out.append(f'<text x="{left - 8:.1f}" y="{middle:.1f}" text-anchor="end">{html.escape(label)}</text>')
        for level in levels:
            if level in ratios:
                length = ratios[level] * scale
                out.append(f'<rect class="{level}" x="{left:.1f}" y="{y}" width="{length:.1f}" height="{bar - 1}" '
                           'rx="1.5"/>')
                values.append(f'<text class="small" x="{left + length + 4:.1f}" y="{y + 9}">{ratios[level]:.2f}</text>')
            y += bar
        y += gap
    x = left + scale
    out.append(f'<line class="one" x1="{x:.1f}" y1="{top - 4}" x2="{x:.1f}" y2="{bottom}"/>')
    out += values + ["</svg>"]
    return "\n".join(out)


def by_level(report, ratio):
    """The levels that have a ratio."""
    return {level: ratio(level) for level in report.levels if ratio(level)}


def family_plots(report, family):
    """A plot for each rival, and one for the works that have copying alone to be measured by."""
    plots = {}
    for work in report.rates[family]:
        for who in report.rivals(family, work):
            ratios = by_level(report, lambda level: report.ratio(family, work, who, level))
            title = f"Rates, zelj : {who}"
            if not ratios:
                ratios = by_level(report, lambda level: report.copy_share(family, work, level))
                title = "Rates, zelj : copying as many bytes"
            if ratios:
                plots.setdefault(title, []).append((work, ratios))
    return [plot(title, groups, report.levels) for title, groups in plots.items()]


def main_plot(report):
    groups = []
    works = [(family, work) for family in report.rates for work in report.rates[family]]
    for start, label in MAIN:
        for family, work in works:
            who = report.rivals(family, work)[0]
            if who and f"{family}/{work}".startswith(start):
                groups.append((label, by_level(report, lambda level: report.ratio(family, work, who, level))))
                break
    if not groups:
        sys.exit("bench_report: none of the main works was measured")
    return plot("Speed beside libjpeg-turbo = 1, one thread", groups, report.levels, own_style=True)


# Tables: a row for each work and rival; for each level our rate, theirs, the ratio and the share of copy bandwidth.


def rows(report, family):
    for work in report.rates[family]:
        factor, unit = report.scale(family, work)
        for who in report.rivals(family, work):
            cells = []
            for level in report.levels:
                ours, theirs = report.rate(family, work, "zelj", level), report.rate(family, work, who, level)
                cells.append((number(ours / factor) if ours else "", number(theirs / factor) if theirs else "",
                              report.ratio(family, work, who, level), report.copy_share(family, work, level)))
            yield work, unit, who or "", cells, (report.count(family, work, "zelj"), report.count(family, work, who))


def markdown(report):
    def text(ours, theirs, ratio, share):
        if ratio:
            return f"{ours} / {theirs} = **{ratio:.2f}**"
        return f"{ours} ({share:.0%} of copy)" if share else ours or theirs

    out = [f"Measured on {report.machine()}. Rates of zelj / its rival = **ratio**, medians, on one thread unless named.",
           ""]
    if report.behind():
        out += ["Behind the rival:", ""]
        out += [f"- {name}, {LEVELS[level]}: {ratio:.2f}" for ratio, level, name in report.behind()] + [""]
    for family in report.rates:
        all_rows = list(rows(report, family))
        counted = any(any(counts) for *_, counts in all_rows)
        out += [f"### {family}", "", "| Work | Unit | Rival | " + " | ".join(LEVELS[v] for v in report.levels) +
                (" | Instructions |" if counted else " |"),
                "|---|---|---|" + "---|" * (len(report.levels) + counted)]
        for work, unit, who, cells, counts in all_rows:
            out.append(f"| {work} | {unit} | {who} | " + " | ".join(text(*cell) for cell in cells) +
                       (f" | {instructions(*counts)} |" if counted else " |"))
        out.append("")
    return "\n".join(out)


def instructions(ours, theirs):
    if not ours or not theirs:
        return number(ours or theirs) if ours or theirs else ""
    return f"{number(ours)} / {number(theirs)} = **{ours / theirs:.2f}**"


PAGE_STYLE = """
:root { color-scheme: light dark; }
body { font: 15px/1.5 system-ui, sans-serif; max-width: 1180px; margin: 2em auto; padding: 0 1em;
  color: #1f2328; background: #ffffff; }
h2 { margin-top: 2.2em; border-bottom: 1px solid #d1d9e0; }
nav a { margin-right: 1em; }
.wide { overflow-x: auto; }
table { border-collapse: collapse; font-size: 13px; margin-bottom: 1.5em; font-variant-numeric: tabular-nums; }
th, td { padding: 2px 8px; border-bottom: 1px solid #d1d9e0; text-align: right; white-space: nowrap; }
.heads th, td:nth-child(-n+3) { text-align: left; }
th.first, td.first { border-left: 1px solid #d1d9e0; }
.copy { color: #59636e; }
.ahead { color: #116329; font-weight: 600; } .behind { color: #b42318; font-weight: 600; }
svg { display: block; max-width: 100%; height: auto; margin: 1em 0; }
@media (prefers-color-scheme: dark) {
  body { color: #e6edf3; background: #0d1117; } a { color: #58a6ff; }
  h2, th, td, th.first, td.first { border-color: #3d444d; }
  .copy { color: #9198a1; }
  .ahead { color: #56d364; } .behind { color: #ff7b72; }
}"""


COUNT_HEADS = '<th class="first">zelj</th><th>rival</th><th>share</th>'


def table(report, family):
    all_rows = list(rows(report, family))
    copied = any(share for *_, cells, _ in all_rows for *_, share in cells)
    counted = any(any(counts) for *_, counts in all_rows)
    body = []
    for work, unit, who, cells, counts in all_rows:
        body.append(f"<tr><td>{html.escape(work)}</td><td>{unit}</td><td>{html.escape(who)}</td>")
        for ours, theirs, ratio, share in cells:
            kind = ("ahead" if ratio >= 1 else "behind") if ratio else ""
            body.append(f'<td class="first">{ours}</td><td>{theirs}</td>'
                        f'<td class="{kind}">{f"{ratio:.2f}" if ratio else ""}</td>')
            if copied:
                body.append(f'<td class="copy">{f"{share:.0%}" if share else ""}</td>')
        if counted:
            ours, theirs = counts
            share = ours / theirs if ours and theirs else None
            kind = ("ahead" if share <= 1 else "behind") if share else ""
            body.append(f'<td class="first">{number(ours) if ours else ""}</td><td>{number(theirs) if theirs else ""}</td>'
                        f'<td class="{kind}">{f"{share:.2f}" if share else ""}</td>')
        body.append("</tr>")
    heads = "".join(f'<th class="first" colspan="{3 + copied}">{LEVELS[level]}</th>' for level in report.levels)
    heads += '<th class="first" colspan="3">instructions for each</th>' * counted
    subheads = '<th class="first">zelj</th><th>rival</th><th>ratio</th>' + '<th class="copy">of copy</th>' * copied
    return ('<div class="wide"><table><tr class="heads"><th rowspan="2">Work</th><th rowspan="2">Unit</th>'
            f'<th rowspan="2">Rival</th>{heads}</tr><tr>{subheads * len(report.levels)}'
            f'{counted * COUNT_HEADS}</tr>' + "\n".join(body) +
            "</table></div>")


def page(report):
    repetitions = max(len(r) for works in report.rates.values() for whos in works.values() for levels in whos.values()
                      for r in levels.values())
    links = "".join(f'<a href="#{family}">{family}</a>' for family in report.rates)
    out = ['<!doctype html><html lang="en"><meta charset="utf-8"><title>zelj benchmarks</title>'
           '<meta name="viewport" content="width=device-width, initial-scale=1">'
           f"<style>{STYLE}{PAGE_STYLE}</style><h1>zelj benchmarks</h1>"
           f"<p>{html.escape(report.machine())}. One thread, but for the family <i>threads</i>. Rates are medians of "
           f"{repetitions} runs; library and rival run in one process, by turns in random order. A rival runs its kernels for "
           "the same instruction-set level where it has them (SSE2 beside AVX). The last column of a level is the rate "
           f"beside copying as many bytes.</p><nav>{links}</nav>"]
    if report.behind():
        out.append("<h2>Behind the rival</h2><ul>")
        out += [f'<li><span class="behind">{ratio:.2f}</span> {html.escape(name)}, {LEVELS[level]}</li>'
                for ratio, level, name in report.behind()]
        out.append("</ul>")
    for family in report.rates:
        out.append(f'<h2 id="{family}">{family}</h2>')
        out.append(table(report, family))
        out += family_plots(report, family)
    return "\n".join(out) + "</html>\n"


def gather_counts(directory):
    """Instructions per item by name, from the profiles that the benchmarks left under callgrind."""
    counts = {}
    for path in glob.glob(os.path.join(directory, "callgrind*")):
        with open(path, encoding="latin-1") as file:
            text = file.read()
        request = re.search(r"^desc: Trigger: Client Request: (.*) \| ([0-9.]+)$", text, re.M)
        total = re.search(r"^totals: ([0-9]+)", text, re.M)
        if request and total:
            counts[request[1]] = int(total[1]) / float(request[2])
    return counts


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("directory")
    parser.add_argument("--html", metavar="FILE")
    parser.add_argument("--plot", metavar="FILE")
    parser.add_argument("--markdown", action="store_true")
    parser.add_argument("--counts", action="store_true")
    arguments = parser.parse_args()
    if arguments.counts:
        json.dump(gather_counts(arguments.directory), sys.stdout, indent=1, sort_keys=True)
        return
    report = Report(arguments.directory)
    if arguments.html:
        with open(arguments.html, "w") as file:
            file.write(page(report))
    if arguments.plot:
        with open(arguments.plot, "w") as file:
            file.write(main_plot(report) + "\n")
    if arguments.markdown:
        print(markdown(report))


if __name__ == "__main__":
    main()
