#!/usr/bin/env bash
# The main job: builds Quillet, lists the structure of every example report, writes the PDF
# self-test pages (shapes, text, an embedded font, barcodes, a QR code and a table), renders
# the example reports in examples/render/ over their CSV and JSON data, then installs the library
# into build/stage and builds and runs examples/embed against it (out/embed.pdf).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
mkdir -p out
for f in examples/*.qdr; do
  name=$(basename "$f" .qdr)
  build/quillet check "$f" > "out/$name.txt"
  echo "checked $f -> out/$name.txt" >&2
done
build/quillet selftest out/selftest
build/quillet render examples/render/orders.qdr -o out/orders.pdf \
  --data Orders=examples/render/orders.csv --var Company="Quillet Trading"
build/quillet render examples/render/customer_orders.qdr -o out/customer_orders.pdf \
  --data Customers=examples/render/customers.json --data Orders=examples/render/orders.csv \
  --link Orders.customer_id=Customers.id
# The library as another program uses it: installed into build/stage, examples/embed built against
# it, and the report that program defines in code written to out/embed.pdf.
scripts/embed-demo.sh build build out/embed.pdf
