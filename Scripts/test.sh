#!/usr/bin/env bash
# Sets up the machine, builds, and runs every test under Wine. Ends with ctest's summary and a line
# "N passed, N failed[, N skipped]"; exits non-zero on any failure. Arguments go to ctest (-R ...).
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/setup.sh" || exit 1
. "$here/env.sh"
"$here/build.sh" || { echo "build failed"; echo "0 passed, 1 failed"; exit 1; }
exec "$here/wine-session.sh" "$here/ctest-run.sh" "$@"
