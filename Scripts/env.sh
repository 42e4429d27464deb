# Sourced by the scripts: where the cache and the build live, and how Wine runs.
OVRTL_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export OVRTL_ROOT
export OVRTL_CACHE=${OVRTL_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/ovrtl}
export OVRTL_BUILD=${OVRTL_BUILD:-$OVRTL_ROOT/build}
export WINEPREFIX=${WINEPREFIX:-$OVRTL_CACHE/wine64}
export WINEARCH=win64
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-winemenubuilder.exe=d;mscoree,mshtml=}
