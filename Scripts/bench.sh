#!/usr/bin/env bash
# Sets up the machine, builds the benchmarks (one program for each Benchmarks/*.cpp, named after the
# file) and runs them one after another in one Wine session. Arguments name the benchmarks to run
# (LogBenchmark ...); none runs them all. A benchmark exits 0 when its goals are met, 1 when one is
# missed, anything else when it failed. Ends with one line per benchmark; exits non-zero unless every
# benchmark met its goals.
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/env.sh"

# Inside the Wine session: run the programs and sum up.
if [ "${1:-}" = "--run" ]; then
  shift
  summary=()
  rc=0
  for name in "$@"; do
    printf '==== %s\n' "$name"
    wine "$OVRTL_BUILD/bin/$name.exe"
    code=$?
    case $code in
      0) summary+=("$name: goals met") ;;
      1) summary+=("$name: a goal missed"); rc=1 ;;
      *) summary+=("$name: failed (exit code $code)"); rc=1 ;;
    esac
    printf '\n'
  done
  printf '==== summary\n'
  printf '%s\n' "${summary[@]}"
  exit $rc
fi

"$here/setup.sh" || exit 1
names=()
if [ $# -gt 0 ]; then
  names=("$@")
else
  for src in "$OVRTL_ROOT"/Benchmarks/*.cpp; do
    [ -e "$src" ] && names+=("$(basename "$src" .cpp)")
  done
fi
if [ ${#names[@]} -eq 0 ]; then
  echo "no benchmarks in $OVRTL_ROOT/Benchmarks"
  exit 0
fi
for name in "${names[@]}"; do
  [ -f "$OVRTL_ROOT/Benchmarks/$name.cpp" ] || { echo "no benchmark $name (Benchmarks/$name.cpp)"; exit 2; }
done
"$here/build.sh" "${names[@]}" || { echo "build failed"; exit 1; }
exec "$here/wine-session.sh" "$here/bench.sh" --run "${names[@]}"
