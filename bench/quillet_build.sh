# Sourced by the benchmark scripts: quillet_build DIR JOBS builds the quillet program in DIR
# (configured as a Release build when DIR does not exist yet, otherwise reused as it is, with a
# note when it is not Release) and prints the program's absolute path.
quillet_build() {
  local build="$1" jobs="$2" type program
  if [ -f "$build/CMakeCache.txt" ]; then
    type=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$build/CMakeCache.txt")
    [ "$type" = Release ] || echo "run.sh: note: $build is a '$type' build, not Release" >&2
  else
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
  fi
  cmake --build "$build" --target quillet_cli -j "$jobs" >&2
  program="$(cd "$build" && pwd)/quillet"
  [ -x "$program" ] || { echo "run.sh: no quillet program at $program" >&2; return 1; }
  printf '%s\n' "$program"
}
