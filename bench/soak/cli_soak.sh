#!/usr/bin/env bash
# One `quillet render` call over many report files into one PDF, timed by GNU time -v: the peak
# memory of a run of 100 reports against one of REPORTS (default 1000), which should be about the
# same, since pages go to disk as they are finished.
#   bench/soak/cli_soak.sh [BUILD_DIR] [REPORTS]
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${1:-build}
reports=${2:-1000}
[ -x "$build/quillet" ] || { echo "cli_soak: build $build/quillet first" >&2; exit 1; }
[ -x /usr/bin/time ] || scripts/install-deps.sh --bench

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp examples/render/orders.qdr examples/render/orders.csv "$work/"

run() {  # run N: renders N copies of the orders report into one PDF
  local n=$1 files=()
  for ((i = 1; i <= n; i++)); do
    f=$(printf '%s/r%04d.qdr' "$work" "$i")
    [ -e "$f" ] || cp "$work/orders.qdr" "$f"
    files+=("$f")
  done
  /usr/bin/time -v "$build/quillet" render "${files[@]}" -o "$work/out.pdf" \
    --data "Orders=$work/orders.csv" --var Company=Soak 2>"$work/time.txt" || { cat "$work/time.txt" >&2; exit 1; }
  local rss wall summary
  rss=$(sed -n 's/^\s*Maximum resident set size (kbytes): //p' "$work/time.txt")
  wall=$(sed -n 's/^\s*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$work/time.txt")
  summary=$(grep '^quillet: wrote' "$work/time.txt")
  printf '%5d reports: peak RSS %7s kB, wall %s; %s\n' "$n" "$rss" "$wall" "$summary" >&2
  echo "$rss"
}

small=$(run 100)
large=$(run "$reports")
awk -v s="$small" -v l="$large" 'BEGIN { printf "peak RSS of the large run against the small one: %+.1f%%\n", 100 * (l - s) / s }'
