#!/usr/bin/env bash
# Installs every Debian package Quillet needs to build, test and fuzz. Safe to run again:
# when everything is present it does nothing.
#   --bench   also install what the benchmarks in bench/ compare against (the cairo and
#             ReportLab peers of bench/ledger) and GNU time for peak memory.
set -euo pipefail

bench=0
for arg in "$@"; do
  case "$arg" in
    --bench) bench=1 ;;
    *) echo "install-deps: unknown option $arg (known: --bench)" >&2; exit 2 ;;
  esac
done

packages=(
  # build
  build-essential cmake ninja-build pkg-config git
  # libraries
  nlohmann-json3-dev libdeflate-dev zlib1g-dev libpng-dev libjpeg62-turbo-dev libfontconfig-dev
  libzxing-dev libsqlite3-dev
  # the screen module: Qt 6 Gui, Widgets and PrintSupport (with the offscreen and xcb platforms,
  # the JPEG image plugin and the CUPS print plugin)
  qt6-base-dev
  # the demo builds its shop database from an SQL script
  sqlite3
  # tests, sanitizers and fuzzing; fonts and PDF tools the tests check output with
  libgtest-dev clang-14 libclang-rt-14-dev libfreetype-dev qpdf poppler-utils mupdf-tools
  # the page pixel check (tests/pixels) hashes and compares pages in Python
  python3
  fonts-dejavu-core fonts-dejavu-extra fonts-liberation2 fonts-texgyre fonts-crosextra-carlito
  fonts-crosextra-caladea
  # printing tests: a private CUPS scheduler the tests start in their own folder (not the cups
  # package, whose drivers and filters they do not need)
  cups-daemon cups-client
  # window tests: a virtual X server, real key presses, the X authority tool
  xvfb xauth xdotool
  # PDFOpen hands finished PDFs to the desktop's viewer through xdg-open
  xdg-utils
  # the designer's desktop entry and report file type are checked with the desktop's own tools
  desktop-file-utils libxml2-utils shared-mime-info
)
if [ "$bench" -eq 1 ]; then
  packages+=(
    # benchmark peers and measuring
    libcairo2-dev libfreetype-dev python3 python3-reportlab python3-reportlab-accel time
  )
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "install-deps: run as root (or install sudo) to install: ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
echo "install-deps: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
