#!/usr/bin/env bash
# The main job: builds Quillet and runs it over the example reports.
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
