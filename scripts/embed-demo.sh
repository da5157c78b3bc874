#!/usr/bin/env bash
# embed-demo.sh [BUILD [WORK [OUT.pdf]]]: installs the Quillet built in BUILD (default build) into
# WORK/stage (WORK defaults to BUILD) and builds examples/embed against that install three ways:
# through the CMake package with the shared library (WORK/embed, writing OUT.pdf, default
# out/embed.pdf), with the static archive (WORK/embed-static), and with one g++ line through
# pkg-config. It runs each program and checks that each wrote a PDF showing the report's total.
# When the build has the Qt module, it also builds examples/embed_qt through
# find_package(Quillet COMPONENTS qt) and writes page 1 of a report as embed_qt.png beside OUT.pdf.
# CXX, CXXFLAGS and LDFLAGS, when set, are used for every build of the example.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"
work="${2:-$build}"
out="${3:-out/embed.pdf}"
stage="$work/stage"
embed="$work/embed"

fail() { echo "embed-demo: $*" >&2; exit 1; }
[ -f "$build/CMakeCache.txt" ] || fail "$build is not a configured build (run scripts/build.sh $build)"

rm -rf "$stage" "$embed" "$embed-static"
cmake --install "$build" --prefix "$stage" >/dev/null
stage=$(cd "$stage" && pwd)

# A PDF that holds the total of the example's amounts (24.50 + 118.00 + 12.25 + 30.00).
check_pdf() {
  [ -s "$1" ] || fail "$1 was not written"
  head -c 5 "$1" | grep -q '^%PDF-' || fail "$1 is not a PDF"
  if command -v pdftotext >/dev/null; then
    pdftotext "$1" - | grep -q '184\.75' || fail "$1 does not show the total 184.75"
  fi
}

# 1. CMake: find_package(Quillet) from the staging prefix.
cmake -S examples/embed -B "$embed" -G Ninja -DCMAKE_PREFIX_PATH="$stage" >/dev/null
cmake --build "$embed" >/dev/null
mkdir -p "$(dirname "$out")"
"$embed/embed" "$out" >/dev/null
check_pdf "$out"
echo "embed-demo: find_package(Quillet) build wrote $out" >&2

# 2. The same with the static archive, whose link needs the package to find Quillet's own
# dependencies.
cmake -S examples/embed -B "$embed-static" -G Ninja -DCMAKE_PREFIX_PATH="$stage" -DEMBED_STATIC=ON >/dev/null
cmake --build "$embed-static" >/dev/null
if readelf -d "$embed-static/embed" | grep -q 'libquillet\.so'; then fail "the static build links libquillet.so"; fi
"$embed-static/embed" "$embed-static/embed.pdf" >/dev/null
check_pdf "$embed-static/embed.pdf"
echo "embed-demo: Quillet::quillet_static build wrote $embed-static/embed.pdf" >&2

# 3. pkg-config: one compiler line, run against the staged shared library through its rpath.
pcdir=$(dirname "$(find "$stage" -name quillet.pc -print -quit)")
[ -d "$pcdir" ] || fail "no quillet.pc under $stage"
libdir=$(PKG_CONFIG_PATH="$pcdir" pkg-config --variable=libdir quillet)
# shellcheck disable=SC2046,SC2086
${CXX:-g++} ${CXXFLAGS:-} -o "$embed/embed-pc" examples/embed/main.cpp \
  $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs quillet) -Wl,-rpath,"$libdir" ${LDFLAGS:-}
"$embed/embed-pc" "$embed/embed-pc.pdf" >/dev/null
check_pdf "$embed/embed-pc.pdf"
echo "embed-demo: pkg-config build wrote $embed/embed-pc.pdf" >&2

# 4. The Qt module: find_package(Quillet COMPONENTS qt), page 1 of a report as PNG.
if find "$stage" -name QuilletQtTargets.cmake | grep -q .; then
  qtdir="$work/embed_qt"
  rm -rf "$qtdir"
  cmake -S examples/embed_qt -B "$qtdir" -G Ninja -DCMAKE_PREFIX_PATH="$stage" >/dev/null
  cmake --build "$qtdir" >/dev/null
  png="$(dirname "$out")/embed_qt.png"
  QT_QPA_PLATFORM=offscreen "$qtdir/embed_qt" examples/render/orders.qdr examples/render/orders.csv Orders "$png" >/dev/null
  [ "$(head -c 4 "$png" | tail -c 3)" = "PNG" ] || fail "$png is not a PNG"
  echo "embed-demo: find_package(Quillet COMPONENTS qt) build wrote $png" >&2
  # ... and through pkg-config quillet-qt.
  # shellcheck disable=SC2046,SC2086
  ${CXX:-g++} ${CXXFLAGS:-} -o "$qtdir/embed_qt-pc" examples/embed_qt/main.cpp \
    $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs quillet-qt) -Wl,-rpath,"$libdir" ${LDFLAGS:-}
  QT_QPA_PLATFORM=offscreen "$qtdir/embed_qt-pc" examples/render/orders.qdr examples/render/orders.csv Orders \
    "$qtdir/page1.png" >/dev/null
  [ "$(head -c 4 "$qtdir/page1.png" | tail -c 3)" = "PNG" ] || fail "$qtdir/page1.png is not a PNG"
  echo "embed-demo: pkg-config quillet-qt build wrote $qtdir/page1.png" >&2
fi
