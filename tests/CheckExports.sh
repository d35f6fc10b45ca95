#!/bin/sh
# Checks a built server module: it exports exactly the five COM server entry points, and it
# imports nothing but system DLLs (no compiler run-time DLLs beside it).
# Usage: CheckExports.sh <objdump> <module>
objdump=$1
module=$2
dump=$("$objdump" -p "$module") || { echo "cannot read $module"; exit 1; }

exports=$(printf '%s\n' "$dump" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' |
  sed -n 's/^[[:space:]]*\[ *[0-9]*\] //p' | sort)
expected='DllCanUnloadNow
DllGetClassObject
DllGetVersion
DllRegisterServer
DllUnregisterServer'
status=0
if [ "$exports" != "$expected" ]; then
  echo "exports differ from the five entry points:"
  printf '%s\n' "$exports"
  status=1
fi

imports=$(printf '%s\n' "$dump" | sed -n 's/^[[:space:]]*DLL Name: //p')
if [ -z "$imports" ]; then
  echo "no imports found"
  exit 1
fi
for name in $imports; do
  case $(printf '%s' "$name" | tr 'A-Z' 'a-z') in
    advapi32.dll | comctl32.dll | comdlg32.dll | gdi32.dll | hhctrl.ocx | kernel32.dll | msimg32.dll | \
    msvcrt.dll | ole32.dll | oleaut32.dll | shell32.dll | shlwapi.dll | user32.dll | uxtheme.dll | \
    version.dll | winspool.drv | api-ms-win-*) ;;
    *)
      echo "imports a DLL that is not part of the system: $name"
      status=1
      ;;
  esac
done
exit $status
