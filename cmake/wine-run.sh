#!/usr/bin/env bash
# Runs one Windows program under Wine for ctest and the driver script.
# Wine's first process leaves daemons (wineserver, services, explorer) holding whatever
# stdout/stderr it had, and ctest would wait for those pipes to close. So the server and
# services are started here with /dev/null for every stream, under a lock, and the program's
# own output goes through temporary files.
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
: "${WINEPREFIX:=$(cd "$here/.." && pwd)/build/wineprefix}"
export WINEPREFIX WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
# How long an idle server stays up, so that consecutive tests share it.
persist=${LINNOGRAPH_WINESERVER_PERSIST:-60}

mkdir -p "$WINEPREFIX"
{
  flock 9
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    # A new prefix: boot it, then use the null graphics driver unless asked for a display.
    wineboot -i </dev/null >/dev/null 2>&1 9>&-
    wineserver -w 9>&-
  fi
  want=null
  [ -n "${LINNOGRAPH_DISPLAY:-}" ] && want=x11
  mark="$WINEPREFIX/.graphics-$want"
  if [ ! -f "$mark" ]; then
    wineserver -k 9>&- 2>/dev/null; wineserver -w 9>&- 2>/dev/null
    if [ "$want" = null ]; then
      wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f </dev/null >/dev/null 2>&1 9>&-
    else
      wine reg delete 'HKCU\Software\Wine\Drivers' /v Graphics /f </dev/null >/dev/null 2>&1 9>&-
    fi
    wineserver -w 9>&-
    rm -f "$WINEPREFIX"/.graphics-*
    touch "$mark"
  fi
  if wineserver -p"$persist" </dev/null >/dev/null 2>&1 9>&-; then
    # The server is new: start the services now, detached from our streams.
    wine wineboot </dev/null >/dev/null 2>&1 9>&-
  fi
} 9>"$WINEPREFIX/.run.lock"

[ $# -gt 0 ] || exit 0
out=$(mktemp) err=$(mktemp)
trap 'rm -f "$out" "$err"' EXIT
wine "$@" </dev/null >"$out" 2>"$err"
rc=$?
cat "$out"
cat "$err" >&2
exit $rc
