#!/usr/bin/env bash
# Runs COMMAND with a private CUPS scheduler of its own and two raw queues whose jobs land as
# files: quillet-test ("Quillet test queue", the default) in a scratch folder, quillet-other
# ("Second test queue") in its folder other/. The machine's own printing setup is never read or
# touched: the scheduler lives in a temporary folder, listens only on a socket there, and goes
# away with it.
#
#   tests/e2e/with_cups.sh COMMAND [ARGS...]
#
# COMMAND sees CUPS_SERVER (the socket) and QUILLET_TEST_SPOOL (the folder where quillet-test
# writes each job as job-ID.pdf, whole once it exists). Exit status: COMMAND's, or 1 when the
# scheduler does not start. For a look inside: QCUPS_LOGLEVEL=debug logs more, QCUPS_KEEP=1
# leaves the folder (and the scheduler running: stop it by the PID in state/cupsd.pid).
set -euo pipefail

if [ $# -eq 0 ]; then
  echo "usage: with_cups.sh COMMAND [ARGS...]" >&2
  exit 2
fi
cupsd_bin=$(command -v cupsd || echo /usr/sbin/cupsd)
lpadmin_bin=$(command -v lpadmin || echo /usr/sbin/lpadmin)
if [ ! -x "$cupsd_bin" ] || [ ! -x "$lpadmin_bin" ]; then
  echo "with_cups.sh: cupsd and lpadmin are needed (Debian: cups-daemon cups-client)" >&2
  exit 1
fi

# A short path: the socket's path must fit a sockaddr_un.
root=$(mktemp -d /tmp/qcups.XXXXXX)
cupsd_pid=""
cleanup() {
  if [ -n "$cupsd_pid" ]; then
    kill "$cupsd_pid" 2>/dev/null || true
    wait "$cupsd_pid" 2>/dev/null || true
  fi
  rm -rf "$root"
}
[ -n "${QCUPS_KEEP:-}" ] || trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

mkdir -p "$root"/{conf,spool/tmp,cache,state,log,jobs}
chmod 0755 "$root"
# The backend runs as the scheduler's user.
chmod 0777 "$root/jobs"
socket="$root/cups.sock"
# The scheduler's programs folder: the system's helpers, and a backend of our own that keeps
# each job as a file. (A raw queue on a file: device starts no process at all for a one-document
# job, so nothing would ever be written.) The backend writes beside the target and renames, so a
# job file that exists is complete.
system_bin=/usr/lib/cups
serverbin="$root/bin"
mkdir -p "$serverbin/backend"
for d in daemon notifier monitor filter; do
  [ -d "$system_bin/$d" ] && ln -s "$system_bin/$d" "$serverbin/$d"
done
cat >"$serverbin/backend/quillet-spool" <<'BACKEND'
#!/bin/sh
# CUPS backend: job-id user title copies options [file]; DEVICE_URI is quillet-spool:FOLDER.
if [ $# -eq 0 ]; then
  echo 'file quillet-spool "Unknown" "Job files"'
  exit 0
fi
umask 022
dir=${DEVICE_URI#quillet-spool:}
out="$dir/job-$1.pdf"
if [ -n "$6" ]; then cat -- "$6" >"$out.part"; else cat >"$out.part"; fi || exit 1
mv -f -- "$out.part" "$out"
BACKEND
chmod 0755 "$serverbin" "$serverbin/backend" "$serverbin/backend/quillet-spool"

cat >"$root/conf/cupsd.conf" <<CONF
Listen $socket
Browsing No
WebInterface No
DefaultAuthType None
LogLevel ${QCUPS_LOGLEVEL:-warn}
MaxLogSize 0
<Location />
  Order allow,deny
  Allow all
</Location>
<Location /admin>
  Order allow,deny
  Allow all
</Location>
<Policy default>
  <Limit All>
    Order deny,allow
  </Limit>
</Policy>
CONF

# The scheduler refuses to run its filters as root: as root they run as the system's "lp" user
# (hence a folder others may enter); as anyone else everything runs as that user.
if [ "$(id -u)" -eq 0 ]; then
  run_as="User lp
Group lp"
  # That user must reach the backend: in a root folder that only root may enter (a bare chroot
  # made by mktemp) it cannot, every job would fail, and the tests would wait for nothing. They
  # are skipped there instead.
  if command -v setpriv >/dev/null &&
     ! setpriv --reuid=lp --regid=lp --clear-groups /bin/sh -c "test -x '$serverbin/backend/quillet-spool'" 2>/dev/null; then
    echo "with_cups.sh: the scheduler's user lp cannot run programs here; printing tests are skipped" >&2
    unset CUPS_SERVER
    "$@"
    exit $?
  fi
else
  run_as="User $(id -un)
Group $(id -gn)"
fi
cat >"$root/conf/cups-files.conf" <<CONF
$run_as
SystemGroup $(id -gn)
ServerRoot $root/conf
RequestRoot $root/spool
TempDir $root/spool/tmp
CacheDir $root/cache
StateDir $root/state
DataDir /usr/share/cups
ServerBin $serverbin
AccessLog $root/log/access_log
ErrorLog $root/log/error_log
PageLog $root/log/page_log
CONF

"$cupsd_bin" -f -c "$root/conf/cupsd.conf" -s "$root/conf/cups-files.conf" </dev/null \
  >"$root/log/cupsd.out" 2>&1 &
cupsd_pid=$!

for _ in $(seq 1 200); do
  [ -S "$socket" ] && break
  if ! kill -0 "$cupsd_pid" 2>/dev/null; then break; fi
  sleep 0.05
done
if [ ! -S "$socket" ]; then
  echo "with_cups.sh: the scheduler did not start" >&2
  cat "$root/log/cupsd.out" "$root/log/error_log" >&2 2>/dev/null || true
  exit 1
fi

export CUPS_SERVER="$socket"
if ! "$lpadmin_bin" -h "$socket" -p quillet-test -D "Quillet test queue" -E \
     -v "quillet-spool:$root/jobs" -m raw >"$root/log/lpadmin.out" 2>&1; then
  echo "with_cups.sh: lpadmin could not add the queue" >&2
  cat "$root/log/lpadmin.out" "$root/log/error_log" >&2 2>/dev/null || true
  exit 1
fi
mkdir -m 0777 "$root/jobs/other"
if ! "$lpadmin_bin" -h "$socket" -p quillet-other -D "Second test queue" -E \
     -v "quillet-spool:$root/jobs/other" -m raw >>"$root/log/lpadmin.out" 2>&1 ||
   ! "$lpadmin_bin" -h "$socket" -d quillet-test >>"$root/log/lpadmin.out" 2>&1; then
  echo "with_cups.sh: lpadmin could not set up the queues" >&2
  cat "$root/log/lpadmin.out" >&2
  exit 1
fi

export QUILLET_TEST_SPOOL="$root/jobs"
# Nobody's personal lpoptions (a default printer of their own) may steer the command.
export HOME="$root/state"
set +e
"$@"
status=$?
set -e
exit "$status"
