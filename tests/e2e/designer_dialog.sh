#!/usr/bin/env bash
# designer_dialog.sh QUILLET GRAB_SCREEN ARTEFACTS: `quillet designer-path --choose` with no
# designer anywhere opens the file dialog "formwright konumunu secin" on the X server of DISPLAY
# (tests/e2e/with_display.sh); the path typed into it is printed and remembered, so that the
# next search finds it without asking. Screenshots go to ARTEFACTS.
set -euo pipefail
quillet="$1"; grab="$2"; art="$3"
mkdir -p "$art"
rm -f "$art"/*.png
fail() { echo "designer_dialog: $*" >&2; exit 1; }

# A copy of the program in a folder of its own, so no designer built beside it is found, and
# user folders of its own.
tmp=$(mktemp -d "${TMPDIR:-/tmp}/quillet-dialog.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
mkdir -p "$tmp/bin" "$tmp/designer" "$tmp/empty"
cp "$quillet" "$tmp/bin/quillet"
printf '#!/bin/sh\nexit 0\n' > "$tmp/designer/formwright"
chmod +x "$tmp/designer/formwright"
export HOME="$tmp/home" XDG_CONFIG_HOME="$tmp/config" XDG_CACHE_HOME="$tmp/cache"
unset QUILLET_DESIGNER
run() { PATH="$tmp/empty" "$tmp/bin/quillet" "$@"; }

run designer-path --choose >"$tmp/out" 2>"$tmp/err" &
pid=$!
trap 'kill $pid 2>/dev/null || true; rm -rf "$tmp"' EXIT
win=$(timeout 60 xdotool search --sync --name '^formwright konumunu secin$' | head -n 1) || fail "no dialog"
[ -n "$win" ] || fail "no dialog"
# No window manager: focus the window directly.
xdotool windowfocus --sync "$win"
sleep 1
"$grab" "$art/1-dialog.png"
xdotool key ctrl+a
xdotool type --delay 20 "$tmp/designer/formwright"
sleep 0.7
"$grab" "$art/2-typed.png"
xdotool key Return
for _ in $(seq 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
kill -0 "$pid" 2>/dev/null && fail "Return did not close the dialog"
wait "$pid" || fail "designer-path --choose exited with $? ($(cat "$tmp/err"))"
[ "$(cat "$tmp/out")" = "$tmp/designer/formwright" ] || fail "printed \"$(cat "$tmp/out")\""
grep -qx "DesignerPath=$tmp/designer/formwright" "$tmp/config/Quillet/Quillet.conf" || fail "choice not remembered"
# Remembered: found without asking, also without a display.
[ "$(DISPLAY= run designer-path)" = "$tmp/designer/formwright" ] || fail "remembered choice not found"
echo "designer_dialog: screenshots in $art" >&2
