#!/usr/bin/env bash
# The Windows implementations of the platform seams use only the standard
# library and Win32: compile each with mingw-w64 so that they stay buildable
# from Linux. Exit 77 (skipped) when the cross compiler is not installed.
set -u
src="$1"
cxx=$(command -v x86_64-w64-mingw32-g++ || true)
[ -n "$cxx" ] || { echo "x86_64-w64-mingw32-g++ not installed"; exit 77; }
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
status=0
for f in "$src"/src/platform/*_win.cpp "$src"/src/platform/ProcessWindows.cpp; do
  if "$cxx" -std=c++20 -Wall -Wextra -Werror -c -I "$src/src" "$f" -o "$out/$(basename "$f").o"; then
    echo "ok   $(basename "$f")"
  else
    echo "FAIL $(basename "$f")"; status=1
  fi
done
exit $status
