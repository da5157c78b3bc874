#!/usr/bin/env bash
# fuzz.sh TARGET SECONDS   runs one libFuzzer target (built with clang 14 in build-fuzz) for
#                          SECONDS, starting from its committed seed corpus in fuzz/corpus/TARGET.
#                          New inputs go to fuzz/findings/TARGET, crashes to fuzz/findings/artifacts/.
#                          Add a crash to fuzz/corpus/TARGET so the replay test keeps it.
# fuzz.sh --all SECONDS    runs every target for SECONDS, two at a time (FUZZ_JOBS sets how many),
#                          going on past a target that finds something; exit 1 if any did.
# fuzz.sh --list           lists the targets.
# Every run, single or --all, appends one line to fuzz/RUNS.md: date, target, seconds, executions,
# coverage (cov/ft) and what it found (FUZZ_LOG=0: no line, as for the smoke runs of test.sh).
# Runs go under nice -n ${FUZZ_NICE:-10}.
set -euo pipefail
cd "$(dirname "$0")/.."
targets=($(ls fuzz/fuzz_*.cpp | sed 's#fuzz/fuzz_\(.*\)\.cpp#\1#'))
if [ "${1:-}" = "--list" ]; then printf '%s\n' "${targets[@]}"; exit 0; fi
usage() { echo "usage: scripts/fuzz.sh TARGET SECONDS | --all SECONDS | --list" >&2; exit 2; }
[ $# -eq 2 ] || usage
[[ "$2" =~ ^[0-9]+$ ]] || usage

build() {
  scripts/build.sh build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 \
    -DQUILLET_FUZZ=ON -DQUILLET_BUILD_TESTS=OFF -DQUILLET_WITH_QT=OFF >/dev/null
}

# fontconfig keeps its caches for the life of the process: not a leak of ours.
export LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp:print_suppressions=0${LSAN_OPTIONS:+:$LSAN_OPTIONS}"

runs=fuzz/RUNS.md
ensure_runs_file() {
  [ -f "$runs" ] && return
  cat > "$runs" <<'EOF'
# Fuzzing runs

One line per run of `scripts/fuzz.sh` (a single target, or each target of `--all`), appended by the
script. **date**: when the run ended (UTC); **seconds**: how long it ran; **executions**: inputs
tried (libFuzzer's `stat::number_of_executed_units`); **cov** and **ft**: the coverage of its last
status line (`cov:` code edges reached, `ft:` features, both counted over the corpus the run ended
with); **corpus**: inputs in that corpus and their size; **findings**: `none`, or the kind of
failure (crash, leak, timeout, oom) with the artifact it wrote under `fuzz/findings/artifacts/`.
Each finding is listed under "Findings" with what it was and its state: fixed (the input then lives
in `fuzz/corpus/TARGET/`, so CTest replays it, and the fix's commit says what was wrong) or open
(the input is kept in `fuzz/findings/open/`). The table of runs grows at the end of this file.

## Findings

| found | target | input | what was wrong | state |
|---|---|---|---|---|

## Runs

| date | target | seconds | executions | cov | ft | corpus | findings |
|---|---|---|---|---|---|---|---|
EOF
}

# run_one TARGET SECONDS: one run, its line in RUNS.md; returns 1 when it found something.
run_one() {
  local t="$1" secs="$2" log start end rc=0 execs cov ft corp finding
  mkdir -p "fuzz/findings/$t" fuzz/findings/artifacts
  log="fuzz/findings/$t.log"
  local before; before=$(ls fuzz/findings/artifacts 2>/dev/null | grep "^$t-" || true)
  start=$(date +%s)
  nice -n "${FUZZ_NICE:-10}" "build-fuzz/fuzz/fuzz_$t" -max_total_time="$secs" -print_final_stats=1 -timeout=10 \
    -rss_limit_mb=2048 -max_len=65536 -artifact_prefix=fuzz/findings/artifacts/"$t"- \
    "fuzz/findings/$t" "fuzz/corpus/$t" 2> "$log" || rc=$?
  end=$(date +%s)
  execs=$(grep -E '^stat::number_of_executed_units:' "$log" | tail -n1 | awk '{print $2}')
  [ -n "$execs" ] || execs=$(grep -oE '^#[0-9]+' "$log" | tail -n1 | tr -d '#')
  local status; status=$(grep -E '^#[0-9]+.*cov: ' "$log" | tail -n1 || true)
  cov=$(sed -nE 's/.*cov: ([0-9]+).*/\1/p' <<<"$status")
  ft=$(sed -nE 's/.*ft: ([0-9]+).*/\1/p' <<<"$status")
  corp=$(sed -nE 's/.*corp: ([0-9]+\/[0-9A-Za-z]+).*/\1/p' <<<"$status")
  finding=none
  if [ "$rc" -ne 0 ]; then
    local art; art=$(comm -13 <(printf '%s\n' "$before" | sort) <(ls fuzz/findings/artifacts | grep "^$t-" | sort) | head -n1)
    local kind=crash
    case "$art" in *leak-*) kind=leak ;; *timeout-*) kind=timeout ;; *oom-*) kind=oom ;; esac
    finding="$kind${art:+ \`$art\`} (exit $rc)"
  fi
  if [ "${FUZZ_LOG:-1}" != "0" ]; then
    ensure_runs_file
  (
    flock 9
    printf '| %s | %s | %s | %s | %s | %s | %s | %s |\n' "$(date -u +%Y-%m-%dT%H:%MZ)" "$t" "$((end - start))" \
      "${execs:-?}" "${cov:-?}" "${ft:-?}" "${corp:-?}" "$finding" >> "$runs"
  ) 9>"$runs.lock"
  rm -f "$runs.lock"
  fi
  if [ "$rc" -ne 0 ]; then
    tail -n 40 "$log" >&2
    echo "fuzz.sh: $t found a failure (see fuzz/findings/artifacts)" >&2
    return 1
  fi
  echo "fuzz: $t ran ${secs}s: $(grep -E '^Done [0-9]+ runs' "$log" | tail -n1)" >&2
}

if [ "$1" = "--all" ]; then
  secs="$2"
  build
  jobs_max="${FUZZ_JOBS:-2}"
  failmark=$(mktemp)
  rm -f "$failmark"
  for t in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$jobs_max" ]; do wait -n || true; done
    { run_one "$t" "$secs" || touch "$failmark"; } &
  done
  wait
  if [ -e "$failmark" ]; then rm -f "$failmark"; exit 1; fi
  exit 0
fi

t="$1"; secs="$2"
printf '%s\n' "${targets[@]}" | grep -qx "$t" || { echo "fuzz.sh: unknown target $t" >&2; exit 2; }
build
run_one "$t" "$secs" || exit 1
