#!/usr/bin/env bash
# The main job: builds Quillet, lists the structure of every example report and writes the PDF
# self-test pages (shapes, text, an embedded font, barcodes, a QR code and a table).
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
