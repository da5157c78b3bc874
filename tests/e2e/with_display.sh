#!/usr/bin/env bash
# with_display.sh COMMAND [ARGS...]: runs COMMAND with DISPLAY set to a virtual X server of its
# own (1280x1024, 24 bits, no TCP), started for this command only and stopped afterwards. The
# server picks a free display number itself, so several of these can run side by side.
set -euo pipefail
command -v Xvfb >/dev/null || { echo "with_display: Xvfb is not installed (scripts/install-deps.sh)" >&2; exit 1; }
fifo=$(mktemp -u "${TMPDIR:-/tmp}/quillet-display.XXXXXX")
mkfifo "$fifo"
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$fifo" 2>/dev/null &
xvfb=$!
stop() {
  kill "$xvfb" 2>/dev/null || true
  wait "$xvfb" 2>/dev/null || true
  rm -f "$fifo"
}
trap stop EXIT
number=""
read -r -t 30 number <"$fifo" || true
[ -n "$number" ] || { echo "with_display: Xvfb did not start" >&2; exit 1; }
export DISPLAY=":$number"
unset WAYLAND_DISPLAY QT_QPA_PLATFORM
"$@"
