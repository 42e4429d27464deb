#!/usr/bin/env bash
# Runs a command inside one X display (Xvfb) with one wineserver kept up for its whole length, and
# stops the wineserver before the display goes away. Usage: wine-session.sh command [args...]
set -uo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/env.sh"
if [ -z "${OVRTL_IN_XVFB:-}" ]; then
  export OVRTL_IN_XVFB=1
  exec xvfb-run -a -s "-screen 0 1024x768x24 -nolisten tcp" "${BASH_SOURCE[0]}" "$@"
fi
# A wineserver left from elsewhere would hand out windows on another display.
wineserver -k >/dev/null 2>&1
wineserver -w >/dev/null 2>&1
wineserver -p
# Wine's own background programs (device services, the desktop's explorer) live as long as the
# wineserver and keep the output handles of the program that started them: started here, with
# nothing attached, they can't hold a later program's pipe open.
wine rundll32.exe user32.dll,GetDesktopWindow </dev/null >/dev/null 2>&1
"$@"
rc=$?
wineserver -k >/dev/null 2>&1
wineserver -w >/dev/null 2>&1
exit $rc
