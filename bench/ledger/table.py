#!/usr/bin/env python3
"""Prints the ledger benchmark's table and its targets from the results run.sh collected.

Usage: table.py RESULTS.tsv RUNS

RESULTS.tsv has one line per size: rows, pages, then wall seconds, peak KiB and PDF bytes for
Quillet, cairo and ReportLab ("-" where a peer was skipped), then the three load averages, then
optionally the same three figures for the baseline build ("before", run.sh's BASELINE_REV).
"""
import sys

PRODUCERS = ("quillet", "cairo", "reportlab")

# The figures to beat (see TARGETS.md).
TIME_VS_CAIRO = 0.5          # at 100,000 rows
TIME_VS_REPORTLAB = 0.25     # at 100,000 rows
PER_PAGE_GROWTH = 1.2        # time per page at 1,000,000 rows / at 10,000 rows
PEAK_MIB = 64.0              # at 1,000,000 rows
SIZE_VS_REPORTLAB = 0.85     # at 100,000 rows
SIZE_VS_CAIRO = 1.3          # at 100,000 rows


def num(text):
    return None if text == "-" else float(text)


def load(path):
    rows = {}
    for line in open(path, encoding="utf-8"):
        f = line.split()
        if not f:
            continue
        n, pages = int(f[0]), int(f[1])
        rec = {"pages": pages, "load": " ".join(f[11:14])}
        for i, name in enumerate(PRODUCERS):
            wall, peak, size = (num(x) for x in f[2 + 3 * i:5 + 3 * i])
            rec[name] = None if wall is None else {
                "wall": wall, "mib": peak / 1024, "size": size}
        rec["before"] = None
        if len(f) >= 17 and f[14] != "-":
            rec["before"] = {"wall": float(f[14]), "mib": float(f[15]) / 1024, "size": float(f[16])}
        rows[n] = rec
    return rows


def ratio(a, b):
    return None if a is None or b is None or b == 0 else a / b


def fmt(v, spec):
    return "-" if v is None else format(v, spec)


def field(rec, name, key):
    return rec[name][key] if rec.get(name) else None


def size_text(b):
    if b is None:
        return "-"
    return f"{b / 1e6:.2f} MB" if b >= 1e6 else f"{b / 1e3:.0f} KB"


def main(argv):
    if len(argv) != 3:
        sys.exit(__doc__)
    rows, runs = load(argv[1]), argv[2]
    skipped = [n for n, r in rows.items() if r["cairo"] is None]

    head = ["rows", "pages"]
    for name in PRODUCERS:
        head += [f"{name} s", f"{name} MiB", f"{name} size"]
    head += ["Q/cairo time", "Q/RL time", "Q/cairo size", "Q/RL size", "Q ms/page", "load 1/5/15"]
    body = []
    for n in sorted(rows):
        r = rows[n]
        line = [f"{n:,}", f"{r['pages']:,}"]
        for name in PRODUCERS:
            if r[name] is None:
                line += ["skipped", "-", "-"]
            else:
                line += [f"{r[name]['wall']:.3f}", f"{r[name]['mib']:.1f}",
                         size_text(r[name]["size"])]
        qt, qs = field(r, "quillet", "wall"), field(r, "quillet", "size")
        line += [fmt(ratio(qt, field(r, "cairo", "wall")), ".2f"),
                 fmt(ratio(qt, field(r, "reportlab", "wall")), ".2f"),
                 fmt(ratio(qs, field(r, "cairo", "size")), ".2f"),
                 fmt(ratio(qs, field(r, "reportlab", "size")), ".2f"),
                 fmt(1000 * qt / r["pages"], ".3f"), r["load"]]
        body.append(line)
    widths = [max(len(str(x[i])) for x in [head] + body) for i in range(len(head))]
    print(f"wall time: median of {runs} runs (s); peak: largest resident set of the runs (MiB)")
    for line in [head] + body:
        print("  ".join(str(x).rjust(w) for x, w in zip(line, widths)))
    if skipped:
        print("peers skipped above SKIP_PEERS_ABOVE at: " + ", ".join(f"{n:,}" for n in skipped)
              + " rows")

    if any(r["before"] for r in rows.values()):
        print()
        print("against the baseline build (BASELINE_REV), same run:")
        head2 = ["rows", "before s", "before MiB", "before size", "Q/before time", "Q/before size",
                 "before ms/page", "Q ms/page"]
        body2 = []
        for n in sorted(rows):
            r, b = rows[n], rows[n]["before"]
            if not b:
                continue
            q = r["quillet"]
            body2.append([f"{n:,}", f"{b['wall']:.3f}", f"{b['mib']:.1f}", size_text(b["size"]),
                          fmt(ratio(q["wall"], b["wall"]), ".2f"), fmt(ratio(q["size"], b["size"]), ".2f"),
                          f"{1000 * b['wall'] / r['pages']:.3f}", f"{1000 * q['wall'] / r['pages']:.3f}"])
        w2 = [max(len(str(x[i])) for x in [head2] + body2) for i in range(len(head2))]
        for line in [head2] + body2:
            print("  ".join(str(x).rjust(w) for x, w in zip(line, w2)))

    largest = max(rows)
    growth = None
    if 10000 in rows and largest > 10000:
        per = lambda n: rows[n]["quillet"]["wall"] / rows[n]["pages"]
        growth = per(largest) / per(10000)
        print(f"Quillet time per page at {largest:,} rows / at 10,000 rows: {growth:.2f}")

    print()
    print("targets:")
    at100k = rows.get(100000)

    def verdict(label, value, limit, missing, note=""):
        if value is None:
            print(f"  n/a   {label}: {missing}")
        else:
            mark = "PASS" if value <= limit else "MISS"
            print(f"  {mark}  {label}: {value:.2f} (target <= {limit:g}){note}")

    no100k = ("100,000 rows not run" if at100k is None
              else "peers skipped at 100,000 rows")
    verdict("time at 100,000 rows, Quillet / cairo",
            ratio(field(at100k or {}, "quillet", "wall"), field(at100k or {}, "cairo", "wall")),
            TIME_VS_CAIRO, no100k)
    verdict("time at 100,000 rows, Quillet / ReportLab",
            ratio(field(at100k or {}, "quillet", "wall"),
                  field(at100k or {}, "reportlab", "wall")),
            TIME_VS_REPORTLAB, no100k)
    verdict("time per page, 1,000,000 rows / 10,000 rows",
            growth if largest == 1000000 else None, PER_PAGE_GROWTH,
            "needs runs at 10,000 and 1,000,000 rows"
            + (f" (largest run {largest:,} / 10,000: {growth:.2f})" if growth else ""))
    peak1m = field(rows.get(1000000, {}), "quillet", "mib")
    verdict("Quillet peak memory at 1,000,000 rows (MiB)", peak1m, PEAK_MIB,
            "1,000,000 rows not run (Quillet peak at "
            f"{largest:,} rows: {rows[largest]['quillet']['mib']:.1f} MiB)")
    verdict("PDF size at 100,000 rows, Quillet / ReportLab",
            ratio(field(at100k or {}, "quillet", "size"),
                  field(at100k or {}, "reportlab", "size")),
            SIZE_VS_REPORTLAB, no100k)
    verdict("PDF size at 100,000 rows, Quillet / cairo",
            ratio(field(at100k or {}, "quillet", "size"),
                  field(at100k or {}, "cairo", "size")),
            SIZE_VS_CAIRO, no100k)


if __name__ == "__main__":
    main(sys.argv)
