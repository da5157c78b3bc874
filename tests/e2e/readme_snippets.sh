#!/usr/bin/env bash
# readme_snippets.sh BUILD WORK: the C++ snippets of README.md, compiled against the library that
# BUILD installs into WORK/stage with the README's own pkg-config command lines. A snippet without
# a main function becomes the body of one (after its #include lines). Those that need no window
# also run: the invoice program over the demo shop's database (linked shared and statically), the
# model and evaluator snippet, the data-set link snippet and the PDF canvas snippet, each checked
# by what it wrote. The Qt snippets are compiled and linked when the build has the Qt module.
# CXX, CXXFLAGS and LDFLAGS, when set, are used for every compile.
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
build="$1"
work="$2"
fail() { echo "readme_snippets: $*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work/run"
work="$(cd "$work" && pwd)"
prefix="$work/stage"
cmake --install "$build" --prefix "$prefix" >/dev/null

# Every ```cpp block as snippetN.cpp, and every ```sh block that runs pkg-config as linkN.sh.
awk -v dir="$work" '
  /^```(cpp|sh)$/ { kind = substr($0, 4); n[kind]++; body = ""; inside = 1; next }
  /^```/ && inside {
    inside = 0
    if (kind == "cpp") print body > sprintf("%s/snippet%d.cpp", dir, n[kind])
    else if (body ~ /pkg-config/) print body > sprintf("%s/link%d.sh", dir, n[kind])
    next
  }
  inside { body = body $0 "\n" }
' "$root/README.md"

shared_link=$(grep -l -- '--libs quillet)' "$work"/link*.sh | head -1)
static_link=$(grep -l 'libquillet\.a' "$work"/link*.sh | head -1)
[ -n "$shared_link" ] || fail "README.md shows no shared link line (pkg-config --cflags --libs quillet)"
[ -n "$static_link" ] || fail "README.md shows no static link line (libquillet.a)"

# link LINES SOURCE EXE: runs the README's lines for SOURCE, with PREFIX, myapp.cpp and myapp
# replaced. The export line of the shared block comes first, as a reader would have it.
link() {
  { grep '^export ' "$shared_link"; grep -v '^export ' "$1"; } |
    sed -e "s|PREFIX|$prefix|g" -e "s|myapp\.cpp|$2|g" -e "s|-o myapp|-o $3|g" \
        -e "s|^g++ |${CXX:-g++} ${CXXFLAGS:-} ${LDFLAGS:-} |" |
    bash -e || fail "$2 does not build with the lines of $(basename "$1")"
}

n=0
for snippet in "$work"/snippet*.cpp; do
  n=$((n + 1))
  src="${snippet%.cpp}.main.cpp"
  if grep -q 'int main(' "$snippet"; then
    cp "$snippet" "$src"
  else
    { grep '^#include' "$snippet"
      echo 'int main(int argc, char** argv) {'
      echo '  (void)argc;'
      echo '  (void)argv;'
      grep -v '^#include' "$snippet"
      echo '  return 0;'
      echo '}'; } > "$src"
  fi
  exe="${snippet%.cpp}"
  if grep -q '#include "\(screen\|ui\)/' "$snippet"; then
    if [ -f "$prefix/lib/pkgconfig/quillet-qt.pc" ]; then
      sed 's/--libs quillet)/--libs quillet-qt)/' "$shared_link" > "$work/link-qt.sh"
      link "$work/link-qt.sh" "$src" "$exe"
      echo "readme_snippets: $(basename "$snippet") (Qt) builds" >&2
    fi
    continue
  fi
  link "$shared_link" "$src" "$exe"
  runs=("$exe")
  if grep -q 'ExportPDF' "$snippet"; then
    link "$static_link" "$src" "$exe-static"
    [[ "$(readelf -d "$exe-static")" != *libquillet.so* ]] || fail "the static link of $snippet uses libquillet.so"
    runs+=("$exe-static")
  fi
  for program in "${runs[@]}"; do
    rm -rf "$work/run" && mkdir "$work/run" && ln -s "$root/examples" "$work/run/examples"
    (cd "$work/run" && sqlite3 shop.db < examples/shop/shop.sql)
    out=$(cd "$work/run" && "$program") || fail "$program failed"
    if grep -q 'ExportPDF' "$snippet"; then
      [[ "$(pdftotext "$work/run/invoice.pdf" -)" == *"Invoice 1001"* ]] || fail "$program wrote no invoice"
    elif grep -q 'EvalText' "$snippet"; then
      [ "$out" = "Total: 25 EUR" ] || fail "$program printed \"$out\""
      [ -s "$work/run/copy.qdr" ] || fail "$program saved no copy"
    elif grep -q 'TRptDataSet' "$snippet"; then
      [ "$out" = "cleared" ] || fail "$program printed \"$out\""
    elif grep -q 'TPdfRptCanvas' "$snippet"; then
      [[ "$(pdftotext "$work/run/out.pdf" -)" == *"Grüße, Şişli"* ]] || fail "$program drew no text"
    fi
  done
  echo "readme_snippets: $(basename "$snippet") builds and runs" >&2
done
[ "$n" -gt 0 ] || fail "README.md has no cpp snippet"
