#!/usr/bin/env bash
# designer_start.sh QUILLET FORMWRIGHT CHECK_TREE GRAB_SCREEN ARTEFACTS: `quillet design REPORT --data ...` on
# the X server of DISPLAY (tests/e2e/with_display.sh) starts formwright, found beside quillet, on
# the report; its window's title shows the report's name. The data-source description quillet
# wrote for it is then opened in-process by CHECK_TREE (a test of the designer's data tree).
# Screenshots go to ARTEFACTS.
set -euo pipefail
quillet="$1"; formwright="$2"; check="$3"; grab="$4"; art="$5"
mkdir -p "$art"
rm -f "$art"/*.png
fail() { echo "designer_start: $*" >&2; exit 1; }

tmp=$(mktemp -d "${TMPDIR:-/tmp}/quillet-design.XXXXXX")
trap 'pkill -f "$tmp/bin/formwright" 2>/dev/null || true; rm -rf "$tmp"' EXIT
mkdir -p "$tmp/bin" "$tmp/reports"
cp "$quillet" "$tmp/bin/quillet"
cp "$formwright" "$tmp/bin/formwright"
export HOME="$tmp/home" XDG_CONFIG_HOME="$tmp/config" XDG_CACHE_HOME="$tmp/cache"
unset QUILLET_DESIGNER
printf 'id,customer,amount\n1,Ada,10\n' > "$tmp/reports/orders.csv"
printf 'order_id,product\n1,Lamp\n' > "$tmp/reports/items.csv"
printf '\xef\xbb\xbf{"version": "2.0", "bands": [{"type": "MasterData", "dataSource": "Orders", "elements": [{"type": "Label", "text": "[Orders.customer]"}]}]}' \
  > "$tmp/reports/orders.qdr"

"$tmp/bin/quillet" design "$tmp/reports/orders.qdr" --data "Orders=$tmp/reports/orders.csv" \
  --data "Items=$tmp/reports/items.csv" 2>"$tmp/err" || fail "quillet design failed: $(cat "$tmp/err")"
win=$(timeout 60 xdotool search --sync --name '^orders\.qdr - Formwright$' | head -n 1) || true
sleep 1
[ -n "$win" ] || fail "no window titled \"orders.qdr - Formwright\" ($(xdotool search --name Formwright getwindowname %@ 2>/dev/null | tr '\n' ' '))"
"$grab" "$art/1-designer.png"
ds="$tmp/bin/datasources.json"
[ -f "$ds" ] || fail "quillet wrote no $ds"
# The designer was given that description.
pgrep -af "$tmp/bin/formwright" | grep -q -- "/ds:$ds" || fail "formwright was not started with /ds:$ds"
QT_QPA_PLATFORM=offscreen DATASOURCES_JSON="$ds" "$check" --gtest_filter='DataTree.ShowsTheBridgesDescription' \
  >"$tmp/check.log" 2>&1 || { cat "$tmp/check.log" >&2; fail "the data tree check failed"; }
grep -q '\[  PASSED  \] 1 test' "$tmp/check.log" || { cat "$tmp/check.log" >&2; fail "the data tree check did not run"; }
echo "designer_start: ok"
