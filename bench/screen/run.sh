#!/usr/bin/env bash
# bench/screen/run.sh [ROWS]: page images of the ledger report. Times `quillet render --format png`
# (the pages painted by the screen canvas, one PNG each) against poppler's `pdftoppm -r 96 -png`
# of the same report's PDF, both at 96 dpi, and prints pages per second side by side. The raster
# PDF and poppler's uncompressed pixmaps are timed too, to show what PNG compression costs.
#
# Environment:
#   RUNS=3               runs per producer; the median wall time is reported
#   QUILLET_BUILD=DIR    build directory to use (default build-release); configured as a
#                        Release build when it does not exist yet, otherwise reused as it is
#   SCREEN_WORK=DIR      data and outputs (default bench/screen/runs)
#   JOBS=2               parallel build jobs
#   PYTHON=/usr/bin/python3
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
root="$(cd "$here/../.." && pwd)"
cd "$root"

rows="${1:-10000}"
runs="${RUNS:-3}"
build="${QUILLET_BUILD:-build-release}"
work="${SCREEN_WORK:-bench/screen/runs}"
jobs="${JOBS:-2}"
py="${PYTHON:-/usr/bin/python3}"
for n in "$rows" "$runs" "$jobs"; do
  [[ "$n" =~ ^[0-9]+$ ]] || { echo "run.sh: not a number: $n" >&2; exit 2; }
done

# --- tools, build, data --------------------------------------------------------------------
scripts/install-deps.sh --bench

# shellcheck source=../quillet_build.sh
. "$root/bench/quillet_build.sh"
quillet=$(quillet_build "$build" "$jobs")

mkdir -p "$work"
csv="$work/ledger_$rows.csv"
[ -s "$csv" ] || "$py" "$root/bench/ledger/gen_data.py" "$rows" "$csv" >/dev/null
report="$root/bench/ledger/ledger.qdr"
pdf="$work/ledger_$rows.pdf"
"$quillet" render "$report" -o "$pdf" --data "Ledger=$csv" 2>/dev/null
pages=$(pdfinfo "$pdf" | awk '/^Pages:/ { print $2 }')

# --- measuring -----------------------------------------------------------------------------
# measure NAME OUTDIR CMD...: empties OUTDIR, runs CMD $runs times; sets wall (median seconds)
# and peak (largest maximum resident set of the runs, KiB).
measure() {
  local name="$1" outdir="$2"; shift 2
  local times=() peak_max=0 i t0 t1 kib
  for ((i = 0; i < runs; i++)); do
    rm -rf "$outdir" && mkdir -p "$outdir"
    t0=$(date +%s%N)
    if ! /usr/bin/time -f %M -o "$work/time.txt" "$@" >"$work/$name.log" 2>&1; then
      echo "run.sh: $name failed:" >&2; cat "$work/$name.log" >&2; exit 1
    fi
    t1=$(date +%s%N)
    times+=("$(( (t1 - t0) / 1000 ))")
    kib=$(tail -n 1 "$work/time.txt")
    if (( kib > peak_max )); then peak_max=$kib; fi
  done
  wall=$(printf '%s\n' "${times[@]}" | sort -n | awk '{ v[NR] = $1 } END {
    m = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2; printf "%.3f", m / 1e6 }')
  peak=$peak_max
}

results="$work/results.tsv"
: >"$results"
echo "screen: ledger at $rows rows, $pages pages, 96 dpi; $runs runs each, median wall time"
echo "load at the start: $(uptime | sed 's/.*load average: //')"

measure quillet_png "$work/png" "$quillet" render "$report" -o "$work/png/page" --format png --data "Ledger=$csv"
n=$(find "$work/png" -name 'page-*.png' | wc -l)
[ "$n" -eq "$pages" ] || { echo "run.sh: quillet wrote $n PNG pages, the PDF has $pages" >&2; exit 1; }
echo "quillet --format png $wall $peak $(du -sk "$work/png" | cut -f1)" >>"$results"

measure pdftoppm_png "$work/ppm" pdftoppm -r 96 -png "$pdf" "$work/ppm/page"
n=$(find "$work/ppm" -name 'page-*.png' | wc -l)
[ "$n" -eq "$pages" ] || { echo "run.sh: pdftoppm wrote $n pages, the PDF has $pages" >&2; exit 1; }
echo "pdftoppm -png $wall $peak $(du -sk "$work/ppm" | cut -f1)" >>"$results"

measure quillet_raster "$work/raster" "$quillet" render "$report" -o "$work/raster/ledger.pdf" --format raster \
  --data "Ledger=$csv"
echo "quillet --format raster $wall $peak $(du -sk "$work/raster" | cut -f1)" >>"$results"

measure pdftoppm_ppm "$work/ppm" pdftoppm -r 96 "$pdf" "$work/ppm/page"
echo "pdftoppm (ppm) $wall $peak $(du -sk "$work/ppm" | cut -f1)" >>"$results"

echo
awk -v pages="$pages" '
  BEGIN { printf "%-26s %8s %9s %9s %10s\n", "producer", "s", "pages/s", "peak MiB", "output MiB" }
  {
    name = $1; for (i = 2; i <= NF - 3; i++) name = name " " $i
    s = $(NF - 2); kib = $(NF - 1); out = $NF
    printf "%-26s %8.2f %9.1f %9.1f %10.1f\n", name, s, pages / s, kib / 1024, out / 1024
    if (name == "quillet --format png") q = s
    if (name == "pdftoppm -png") p = s
  }
  END { if (q > 0 && p > 0) printf "\nquillet png / pdftoppm png time: %.2f (below 1: quillet is faster)\n", q / p }
' "$results"
echo "load at the end: $(uptime | sed 's/.*load average: //')"
rm -rf "$work/png" "$work/ppm" "$work/raster"
