#!/usr/bin/env bash
# Installs every Debian package Quillet needs to build, test and fuzz. Safe to run again:
# when everything is present it does nothing.
set -euo pipefail

packages=(
  # build
  build-essential cmake ninja-build pkg-config git
  # libraries
  nlohmann-json3-dev libdeflate-dev zlib1g-dev libpng-dev libjpeg62-turbo-dev libfontconfig-dev
  libzxing-dev libsqlite3-dev
  # the demo builds its shop database from an SQL script
  sqlite3
  # tests, sanitizers and fuzzing; fonts and PDF tools the tests check output with
  libgtest-dev clang-14 libclang-rt-14-dev libfreetype-dev qpdf poppler-utils
  fonts-dejavu-core fonts-dejavu-extra fonts-liberation2 fonts-texgyre
)

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
