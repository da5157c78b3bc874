#!/usr/bin/env bash
# fuzz.sh TARGET SECONDS   runs one libFuzzer target (built with clang 14 in build-fuzz) for
#                          SECONDS, starting from its committed seed corpus in fuzz/corpus/TARGET.
#                          New inputs go to fuzz/findings/TARGET, crashes to fuzz/findings/artifacts/.
#                          Add a crash to fuzz/corpus/TARGET so the replay test keeps it.
# fuzz.sh --list           lists the targets.
set -euo pipefail
cd "$(dirname "$0")/.."
targets=($(ls fuzz/fuzz_*.cpp | sed 's#fuzz/fuzz_\(.*\)\.cpp#\1#'))
if [ "${1:-}" = "--list" ]; then printf '%s\n' "${targets[@]}"; exit 0; fi
[ $# -eq 2 ] || { echo "usage: scripts/fuzz.sh TARGET SECONDS | --list" >&2; exit 2; }
t="$1"; secs="$2"
printf '%s\n' "${targets[@]}" | grep -qx "$t" || { echo "fuzz.sh: unknown target $t" >&2; exit 2; }
scripts/build.sh build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 \
  -DQUILLET_FUZZ=ON -DQUILLET_BUILD_TESTS=OFF -DQUILLET_WITH_QT=OFF >/dev/null
mkdir -p "fuzz/findings/$t" fuzz/findings/artifacts
"build-fuzz/fuzz/fuzz_$t" -max_total_time="$secs" -print_final_stats=0 -timeout=10 -rss_limit_mb=2048 \
  -max_len=65536 -artifact_prefix=fuzz/findings/artifacts/"$t"- "fuzz/findings/$t" "fuzz/corpus/$t" 2> "fuzz/findings/$t.log" || {
  tail -n 40 "fuzz/findings/$t.log" >&2
  echo "fuzz.sh: $t found a failure (see fuzz/findings/artifacts)" >&2
  exit 1
}
echo "fuzz: $t ran ${secs}s: $(grep -E '^Done [0-9]+ runs' "fuzz/findings/$t.log" | tail -n1)" >&2
