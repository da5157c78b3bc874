#!/usr/bin/env bash
# The main job: installs what is needed, builds Quillet, and renders every example report to
# out/*.pdf: the demo shop (invoices, a grouped sales list, product labels, letters) from an
# SQLite database built from examples/shop/shop.sql, the CSV and JSON examples of
# examples/render/, and the report that examples/embed defines in code against the installed
# library. It also writes every report's pages as PNG (out/png/), the structure listing of every
# report and the PDF self-test pages.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
mkdir -p out/listings

echo "== the demo shop (SQLite)" >&2
examples/shop/render.sh out build/quillet out/shop.db

echo "== CSV and JSON data" >&2
build/quillet render examples/render/orders.qdr -o out/orders.pdf \
  --data Orders=examples/render/orders.csv --var Company="Quillet Trading"
build/quillet render examples/render/customer_orders.qdr -o out/customer_orders.pdf \
  --data Customers=examples/render/customers.json --data Orders=examples/render/orders.csv \
  --link Orders.customer_id=Customers.id

echo "== every page painted on screen, as PNG at 96 dpi" >&2
rm -rf out/png
mkdir -p out/png
examples/shop/render.sh out/png build/quillet out/shop.db png
build/quillet render examples/render/orders.qdr --format png -o out/png/orders \
  --data Orders=examples/render/orders.csv --var Company="Quillet Trading"
build/quillet render examples/render/customer_orders.qdr --format png -o out/png/customer_orders \
  --data Customers=examples/render/customers.json --data Orders=examples/render/orders.csv \
  --link Orders.customer_id=Customers.id

echo "== reports defined in code, built against the installed library (and a Qt program)" >&2
scripts/embed-demo.sh build build out/embed.pdf

echo "== structure listings and self-test pages" >&2
for f in $(find examples -name '*.qdr' | sort); do
  build/quillet check "$f" > "out/listings/$(basename "$f" .qdr).txt"
done
build/quillet selftest out/selftest

echo "== made:" >&2
for f in out/*.pdf out/selftest/*.pdf; do
  printf '  %-28s %4s pages  %s\n' "$f" "$(pdfinfo "$f" 2>/dev/null | awk '/^Pages:/ {print $2}')" \
    "$(du -h "$f" | cut -f1)" >&2
done
printf '  %-28s %4s images %s\n' "out/png/*.png" "$(find out/png -name '*.png' | wc -l)" "$(du -sh out/png | cut -f1)" >&2
printf '  %-28s %4s image\n' "out/embed_qt.png" 1 >&2
