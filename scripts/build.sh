#!/usr/bin/env bash
# build.sh DIR [cmake options...]: configures (once) and builds Quillet in DIR.
set -euo pipefail
cd "$(dirname "$0")/.."
dir="$1"; shift
jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
cmake --build "$dir" -j "$jobs"
