#!/usr/bin/env bash
# Configures (once) and builds the library, the tool, the tests and the benchmarks.
# Arguments are build targets; none builds everything.
set -uo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/env.sh"
if [ ! -f "$OVRTL_BUILD/build.ninja" ]; then
  cmake -S "$OVRTL_ROOT" -B "$OVRTL_BUILD" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$OVRTL_ROOT/cmake/mingw-i686.cmake" >/dev/null || exit 1
fi
targets=()
for t in "$@"; do targets+=(--target "$t"); done
cmake --build "$OVRTL_BUILD" "${targets[@]}" 2>&1 | grep -v '^\[[0-9]*/[0-9]*\] '
exit "${PIPESTATUS[0]}"
