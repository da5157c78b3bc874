#!/usr/bin/env bash
# preview_window.sh QUILLET GRAB_SCREEN ARTEFACTS: drives `quillet preview` with real key presses
# on the X server of DISPLAY (tests/e2e/with_display.sh): the window opens as "Report Preview",
# Ctrl++ and keypad - zoom, End scrolls to the last page, Escape closes it and quillet exits 0.
# The screen is grabbed after each step into ARTEFACTS, and each step must change it.
set -euo pipefail
quillet="$1"; grab="$2"; art="$3"
here="$(cd "$(dirname "$0")" && pwd)"
mkdir -p "$art"
rm -f "$art"/*.png
fail() { echo "preview_window: $*" >&2; exit 1; }

"$quillet" preview "$here/../../examples/render/orders.qdr" --data Orders="$here/../../examples/render/orders.csv" \
  --var Company="Quillet Trading" 2>"$art/stderr.txt" &
pid=$!
trap 'kill $pid 2>/dev/null || true' EXIT

win=$(timeout 60 xdotool search --sync --name '^Report Preview$' | head -n 1) || fail "no Report Preview window"
[ -n "$win" ] || fail "no Report Preview window"
# No window manager: focus the window directly, never through activation.
xdotool windowfocus --sync "$win"
sleep 1
step=0
snap() {
  step=$((step + 1))
  sleep 0.7
  "$grab" "$art/$step-$1.png"
}
differs() { ! cmp -s "$art/$1" "$art/$2"; }

snap opened
xdotool key ctrl+plus
snap zoomed-in
differs 1-opened.png 2-zoomed-in.png || fail "Ctrl++ changed nothing"
xdotool key KP_Subtract
snap zoomed-out
differs 2-zoomed-in.png 3-zoomed-out.png || fail "keypad - changed nothing"
xdotool key End
snap last-page
differs 3-zoomed-out.png 4-last-page.png || fail "End changed nothing"
xdotool key Escape
for _ in $(seq 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
kill -0 "$pid" 2>/dev/null && fail "Escape did not close the window"
trap - EXIT
wait "$pid" || fail "quillet preview exited with $? ($(cat "$art/stderr.txt"))"
echo "preview_window: screenshots in $art" >&2
