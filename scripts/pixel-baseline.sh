#!/usr/bin/env bash
# "Nothing moves on the page": renders every example report, the self-test pages and the test
# reports of tests/pixels/ to PDF, checks each file with the PDF tools (pdftotext, pdffonts: every
# font embedded with a ToUnicode map, qpdf --check, mutool draw), and compares the pages, rendered
# with pdftoppm at 150 dpi in grey, against the per-page SHA-256s in tests/pixels/pages.sha256.
#
#   scripts/pixel-baseline.sh [--update] [QUILLET] [WORKDIR]
#
# --update records the pages instead (run it on a build whose pages are right). QUILLET defaults
# to build/quillet, WORKDIR to build/pixels; differences are drawn into WORKDIR/diff/*.png.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
mode=check
if [ "${1:-}" = --update ]; then
  mode=update
  shift
fi
quillet="$(realpath "${1:-$root/build/quillet}")"
work="$(mkdir -p "${2:-$root/build/pixels}" && cd "${2:-$root/build/pixels}" && pwd)"
export SOURCE_DATE_EPOCH=1700000000
pdfdir="$work/pdf"
: > "$work/render.err"
rm -rf "$pdfdir"
mkdir -p "$pdfdir"

# The documents: the demo shop, the CSV and JSON examples, the older file layout, the self-test
# pages and the element test report. What they warn is collected: the examples must warn of
# nothing.
"$root/examples/shop/render.sh" "$pdfdir" "$quillet" "$work/shop.db" 2>>"$work/render.err"
cd "$root/examples/render"
"$quillet" render orders.qdr -o "$pdfdir/orders.pdf" --data Orders=orders.csv --var Company="Quillet Trading" 2>>"$work/render.err"
"$quillet" render customer_orders.qdr -o "$pdfdir/customer_orders.pdf" --data Customers=customers.json \
  --data Orders=orders.csv --link Orders.customer_id=Customers.id 2>>"$work/render.err"
cd "$root"
"$quillet" render examples/legacy_note.qdr -o "$pdfdir/legacy_note.pdf" 2>>"$work/render.err"
"$quillet" render tests/pixels/elements.qdr -o "$pdfdir/elements.pdf" --data Items=tests/pixels/items.csv 2>>"$work/render.err"
"$quillet" selftest "$work/selftest" >/dev/null 2>&1
for f in "$work"/selftest/*.pdf; do
  mv "$f" "$pdfdir/selftest_$(basename "$f")"
done

# Every file passes the PDF tools.
bad=0
if grep -q "warning" "$work/render.err"; then
  echo "pixel-baseline: the examples warn:" >&2
  grep "warning" "$work/render.err" | sed 's/^/  /' >&2
  bad=1
fi
for f in "$pdfdir"/*.pdf; do
  name="$(basename "$f")"
  if ! qpdf --check "$f" >/dev/null 2>&1; then
    echo "pixel-baseline: $name: qpdf --check fails" >&2
    bad=1
  fi
  if ! pdftotext "$f" - >/dev/null 2>"$work/tool.err" || [ -s "$work/tool.err" ]; then
    echo "pixel-baseline: $name: pdftotext: $(head -n 3 "$work/tool.err")" >&2
    bad=1
  fi
  # Columns: name type encoding emb sub uni object ID; every font embedded, every one with ToUnicode.
  if ! pdffonts "$f" 2>"$work/tool.err" | awk 'NR > 2 && ($(NF-4) != "yes" || $(NF-2) != "yes") {bad = 1} END {exit bad}' ||
     [ -s "$work/tool.err" ]; then
    echo "pixel-baseline: $name: a font is not embedded or has no ToUnicode map" >&2
    bad=1
  fi
  # (This mupdf build says once per run that it has no colour management; that is not about the file.)
  status=0
  mutool draw -q -r 36 -F pgm -o /dev/null "$f" >"$work/tool.out" 2>&1 || status=$?
  grep -v '^warning: ICC support is not available$' "$work/tool.out" >"$work/tool.err" || true
  if [ "$status" -ne 0 ] || [ -s "$work/tool.err" ]; then
    echo "pixel-baseline: $name: mutool draw: $(head -n 3 "$work/tool.err")" >&2
    bad=1
  fi
done

python3 "$root/tests/pixels/pixel_check.py" "$mode" "$root/tests/pixels/pages.sha256" "$work" "$pdfdir"/*.pdf || bad=1
exit $bad
