#!/usr/bin/env bash
# bench/ledger/run.sh [ROWS...]: renders the ledger report with Quillet and with its two peers
# (cairo from C, ReportLab from Python) at each size, times them side by side, checks that all
# outputs carry the same pages and words, and prints the table and the targets.
#
# Environment:
#   RUNS=3               runs per producer and size; the median wall time is reported
#   QUILLET_BUILD=DIR    build directory to use (default build-release); configured as a
#                        Release build when it does not exist yet, otherwise reused as it is
#   LEDGER_WORK=DIR      data, peer binary and outputs (default bench/ledger/runs)
#   SKIP_PEERS_ABOVE=N   run only Quillet above N rows (default: peers at every size)
#   JOBS=2               parallel build jobs
#   PYTHON=/usr/bin/python3  the Debian interpreter, where python3-reportlab is installed
#   BASELINE_REV=REV     also build that git revision (for example HEAD~1 or main) in
#                        LEDGER_WORK/baseline-build, configured as the build above, and time it in the
#                        same run, beside the current build ("before" columns)
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
root="$(cd "$here/../.." && pwd)"
cd "$root"

sizes=("$@")
[ ${#sizes[@]} -gt 0 ] || sizes=(1000 10000 100000 1000000)
runs="${RUNS:-3}"
build="${QUILLET_BUILD:-build-release}"
work="${LEDGER_WORK:-bench/ledger/runs}"
skip_above="${SKIP_PEERS_ABOVE:-}"
jobs="${JOBS:-2}"
py="${PYTHON:-/usr/bin/python3}"
baseline_rev="${BASELINE_REV:-}"
for n in "${sizes[@]}" "$runs" ${skip_above:+"$skip_above"}; do
  [[ "$n" =~ ^[0-9]+$ ]] || { echo "run.sh: not a number: $n" >&2; exit 2; }
done

# --- tools, builds, data -------------------------------------------------------------------
scripts/install-deps.sh --bench

# shellcheck source=../quillet_build.sh
. "$root/bench/quillet_build.sh"
quillet=$(quillet_build "$build" "$jobs")

mkdir -p "$work/out"
base_quillet=""
if [ -n "$baseline_rev" ]; then
  # The revision's tree, exported (not checked out), built with the same options as the build above.
  rev=$(git rev-parse --verify "$baseline_rev^{commit}")
  base_src="$work/baseline-src"
  base_build="$work/baseline-build"
  if [ "$(cat "$base_src/.rev" 2>/dev/null)" != "$rev" ]; then
    rm -rf "$base_src" "$base_build"
    mkdir -p "$base_src"
    git archive "$rev" | tar -x -C "$base_src"
    echo "$rev" >"$base_src/.rev"
  fi
  opts=(-DCMAKE_BUILD_TYPE="$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$build/CMakeCache.txt")")
  with_qt=$(sed -n 's/^QUILLET_WITH_QT:[A-Z]*=//p' "$build/CMakeCache.txt")
  [ -z "$with_qt" ] || opts+=(-DQUILLET_WITH_QT="$with_qt")
  [ -f "$base_build/CMakeCache.txt" ] || cmake -S "$base_src" -B "$base_build" -G Ninja "${opts[@]}" >/dev/null
  cmake --build "$base_build" --target quillet_cli -j "$jobs"
  base_quillet="$(cd "$base_build" && pwd)/quillet"
  echo "baseline: $baseline_rev ($(git log -1 --format='%h %s' "$rev"))"
fi
cairo_peer="$work/ledger_cairo"
if [ ! -x "$cairo_peer" ] || [ "$here/anchors/ledger_cairo.c" -nt "$cairo_peer" ]; then
  # shellcheck disable=SC2046
  cc -O2 -o "$cairo_peer" "$here/anchors/ledger_cairo.c" $(pkg-config --cflags --libs cairo freetype2)
fi

for n in "${sizes[@]}"; do
  [ -s "$work/ledger_$n.csv" ] || "$py" "$here/gen_data.py" "$n" "$work/ledger_$n.csv" >/dev/null
done

# --- measuring -----------------------------------------------------------------------------
# measure NAME CMD...: runs CMD $runs times; sets wall (median seconds) and peak (largest
# maximum resident set of the runs, KiB). The whole process is measured, with every thread.
measure() {
  local name="$1"; shift
  local times=() peak_max=0 i t0 t1 kib
  for ((i = 0; i < runs; i++)); do
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

pages_of() { pdfinfo "$1" | awk '/^Pages:/ { print $2 }'; }

results="$work/results.tsv"
: >"$results"
mismatch=0
echo "ledger: $runs runs each, median wall time; $(uptime)"
for n in "${sizes[@]}"; do
  csv="$work/ledger_$n.csv"
  q_pdf="$work/out/quillet_$n.pdf"; c_pdf="$work/out/cairo_$n.pdf"; r_pdf="$work/out/reportlab_$n.pdf"
  rm -f "$q_pdf" "$c_pdf" "$r_pdf"
  echo "== $n rows (load: $(uptime | sed 's/.*load average: //'))"

  measure quillet "$quillet" render "$here/ledger.qdr" -o "$q_pdf" --data "Ledger=$csv"
  q="$wall $peak $(stat -c %s "$q_pdf")"
  pages=$(pages_of "$q_pdf")
  if [ -n "$skip_above" ] && (( n > skip_above )); then
    c="- - -"; r="- - -"
    echo "peers skipped (SKIP_PEERS_ABOVE=$skip_above)"
  else
    measure cairo "$cairo_peer" "$csv" "$c_pdf"
    c="$wall $peak $(stat -c %s "$c_pdf")"
    measure reportlab "$py" "$here/anchors/ledger_reportlab.py" "$csv" "$r_pdf"
    r="$wall $peak $(stat -c %s "$r_pdf")"
    "$py" "$here/words.py" "$q_pdf" "$c_pdf" "$r_pdf" || mismatch=1
  fi
  b="- - -"
  if [ -n "$base_quillet" ]; then
    b_pdf="$work/out/before_$n.pdf"
    measure before "$base_quillet" render "$here/ledger.qdr" -o "$b_pdf" --data "Ledger=$csv"
    b="$wall $peak $(stat -c %s "$b_pdf")"
  fi
  echo "$n $pages $q $c $r $(cut -d' ' -f1-3 /proc/loadavg) $b" >>"$results"
done

echo
"$py" "$here/table.py" "$results" "$runs"
echo "load at the end: $(uptime | sed 's/.*load average: //')"
if [ "$mismatch" -ne 0 ]; then
  echo "MISMATCH: the producers' outputs differ (see above)"
  exit 1
fi
