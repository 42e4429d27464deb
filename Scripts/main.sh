#!/usr/bin/env bash
# Sets up the machine, builds the library and the ovrtl tool, and runs the tool under Wine: what the
# library sees of this machine. Arguments go to ovrtl; none means "info -debug".
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/setup.sh" || exit 1
. "$here/env.sh"
"$here/build.sh" ovrtl || exit 1
[ $# -eq 0 ] && set -- info -debug
exec "$here/wine-session.sh" wine "$OVRTL_BUILD/bin/ovrtl.exe" "$@"
