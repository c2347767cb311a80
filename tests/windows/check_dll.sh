#!/usr/bin/env bash
# check_dll.sh DLL: the names that a driver's DLL exports and imports are those of exports.txt and imports.txt beside this script, no
# more and no less. A name that is missing on a real system keeps the driver from being loaded; an import
# of a runtime library would load that into every program.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
headers=$(x86_64-w64-mingw32-objdump -p "$1")
status=0
compare() {  # compare WHAT FILE: standard input against the file
  diff -u "$2" - || { echo "$1 of $(basename "$dll") differ from $(basename "$2")" >&2; status=1; }
}
dll=$1
compare exports "$here/exports.txt" < <(awk '/^\[Ordinal\/Name Pointer\] Table/{on=1; next} on && /^\t\[/{sub(/.*\] */, ""); sub(/^\+base\[ *[0-9]+\] */, ""); print $NF} on && /^$/{exit}' <<<"$headers" | LC_ALL=C sort)
compare imports "$here/imports.txt" < <(awk '/DLL Name:/{dll=tolower($3)} /^\t[0-9a-f]+\t +[0-9]+  /{print dll, $3}' <<<"$headers" | LC_ALL=C sort)
exit $status
