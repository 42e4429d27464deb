#!/usr/bin/env bash
# Installs what the build and the tests need on a Debian bookworm machine (as root) and makes the
# Wine prefix. Idempotent: a second run only checks and takes seconds.
set -uo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/env.sh"

log() { printf '[setup] %s\n' "$*" >&2; }

as_root() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

have_pkg() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

missing=()
for p in g++-mingw-w64-i686 xvfb xauth ninja-build cmake googletest; do
  have_pkg "$p" || missing+=("$p")
done
need_wine=0
for p in wine wine32:i386 wine64; do have_pkg "$p" || need_wine=1; done

if [ ${#missing[@]} -gt 0 ] || [ $need_wine -eq 1 ]; then
  export DEBIAN_FRONTEND=noninteractive
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    log "adding the i386 architecture"
    as_root dpkg --add-architecture i386
  fi
  log "apt-get update"
  # One index (bookworm-security, i386) may be mid-sync; that failure is harmless.
  as_root apt-get update -qq || log "apt-get update reported a failure; going on"
  if [ ${#missing[@]} -gt 0 ]; then
    log "installing ${missing[*]}"
    as_root apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null || {
      log "installing ${missing[*]} failed"; exit 1; }
  fi
  if [ $need_wine -eq 1 ]; then
    log "installing wine"
    as_root apt-get install -y -qq --no-install-recommends wine wine32:i386 wine64 >/dev/null 2>&1 ||
      as_root apt-get install -y -qq --no-install-recommends -t bookworm wine wine32:i386 wine64 >/dev/null || {
        log "installing wine failed"; exit 1; }
  fi
fi

if [ ! -f "$WINEPREFIX/.ovrtl-ready" ]; then
  log "making the Wine prefix in $WINEPREFIX"
  rm -rf "$WINEPREFIX"
  mkdir -p "$(dirname "$WINEPREFIX")"
  WINEDLLOVERRIDES='mscoree,mshtml=' wineboot -i >/dev/null 2>&1
  wineserver -w
  if [ ! -d "$WINEPREFIX/drive_c/windows/syswow64" ]; then
    log "the Wine prefix is not a 64-bit prefix"; exit 1
  fi
  touch "$WINEPREFIX/.ovrtl-ready"
fi
log "ready"
