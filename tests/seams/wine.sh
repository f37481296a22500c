#!/usr/bin/env bash
# The platform seams' shared tests, built with mingw-w64 against the Windows
# implementations (every Qt-free *_win.cpp, with -Werror, so they stay
# buildable; those using Qt build in the windows-cross preset) and run under Wine, in a Wine prefix of the build folder (never the user's).
#   wine.sh setup SOURCE BUILD        build seams.exe and prepare the prefix
#   wine.sh run SOURCE BUILD SUITE    run one test suite of it
#   wine.sh cleanup SOURCE BUILD      stop the prefix's Wine server
# (The win32-threads mingw has no std::mutex: doctest runs single-threaded.)
# Exit 77 (skipped) with a line saying why where Wine or the cross compiler is
# missing; CI installs both.
set -u
what="$1" src="$2" build="$3" suite="${4:-}"
out="$build/wine-seams"
export WINEPREFIX="$out/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"

cxx=$(command -v x86_64-w64-mingw32-g++ || true)
wine=$(command -v wine || true)
. "$src/tests/common/missing.sh"
if [ -z "$cxx" ] || [ ! -f /usr/include/doctest/doctest.h ]; then
  missing "the Windows seams need mingw-w64 and doctest (scripts/install-deps installs them)"
fi
no_wine() { missing "Wine is not installed, so the Windows seams were compiled but not run"; }

# The fixture's X server, started by setup and stopped by cleanup.
load_display() {
  unset DISPLAY
  [ -f "$out/display" ] && { set -a; . "$out/display"; set +a; }
  return 0
}
stop_display() {
  load_display
  [ -n "${XPID:-}" ] && kill "$XPID" 2>/dev/null
  rm -f "$out/display"
  unset DISPLAY XPID
}

case "$what" in
setup)
  mkdir -p "$out/obj" "$out/include"
  # Only doctest from the system's headers: the rest of /usr/include is Linux's.
  ln -sfn /usr/include/doctest "$out/include/doctest"
  status=0
  sources=("$src"/src/platform/ProcessWindows.cpp)
  for f in "$src"/src/platform/*_win.cpp; do
    grep -q '^#include <Q' "$f" "${f%_win.cpp}.h" 2>/dev/null || sources+=("$f")
  done
  for f in "$src"/tests/seams/*.cpp; do
    case "$f" in *_linux.cpp) ;; *) sources+=("$f") ;; esac
  done
  objects=()
  for f in "${sources[@]}"; do
    o="$out/obj/$(basename "$f").o"
    objects+=("$o")
    # Rebuilt when the source, or any header it could include, is newer.
    if [ -f "$o" ] && [ -z "$(find "$f" "$src/src/platform" "$src/tests/seams" -newer "$o" \
                              -name '*.h' -o -newer "$o" -path "$f" 2>/dev/null | head -1)" ]; then
      continue
    fi
    "$cxx" -std=c++20 -O1 -Wall -Wextra -Werror -DDOCTEST_CONFIG_NO_MULTITHREADING -I "$src/src" -I "$src/tests/seams" -I "$out/include" \
      -c "$f" -o "$o" || { echo "FAIL compiling $(basename "$f")"; status=1; }
  done
  [ $status -eq 0 ] || exit 1
  [ -n "$wine" ] || no_wine
  "$cxx" -static -o "$out/seams.exe" "${objects[@]}" \
    -lws2_32 -liphlpapi -lwininet -luser32 -lshell32 -lole32 -luuid || exit 1
  # One X server for every suite: Wine's desktop stays bound to the display
  # it first met, and a lasting Wine server spares each suite a new start.
  stop_display
  if command -v Xvfb >/dev/null; then
    exec 3< <(Xvfb -displayfd 1 -nolisten tcp -screen 0 640x480x24 2>/dev/null & echo "pid $!")
    read -r _ xpid <&3
    read -r number <&3 || true
    [ -n "${number:-}" ] && printf 'DISPLAY=:%s\nXPID=%s\n' "$number" "$xpid" > "$out/display"
  fi
  load_display
  wineserver -p 600 >/dev/null 2>&1 || true
  # The first start creates the prefix.
  wine "$out/seams.exe" --list-test-suites >/dev/null 2>&1 || { echo "Wine could not run seams.exe"; exit 1; }
  echo "built $out/seams.exe, prefix $WINEPREFIX, display ${DISPLAY:-none}"
  ;;
run)
  [ -n "$wine" ] || no_wine
  [ -f "$out/seams.exe" ] || { echo "seams.exe was not built (wine.setup failed)"; exit 1; }
  args=("$out/seams.exe" "--test-suite=$suite" --no-intro --duration=false)
  load_display
  case "$suite" in
  processwindows | systemmenu)
    # Windows need a display for Wine to draw them on.
    [ -n "${DISPLAY:-}" ] || missing "no Xvfb for the window tests" ;;
  esac
  if [ "$suite" = pinger ] && [ "$(id -u)" = 0 ] && command -v unshare >/dev/null; then
    # In a network namespace of its own, 10.9.9.2 sits behind one end of a
    # veth pair with no address on the other: an echo to it goes unanswered,
    # and nothing leaves the machine. Wine sends echoes from its own driver
    # process, so the suite gets a Wine server of its own inside the
    # namespace; the lasting one outside is stopped first.
    wineserver -k >/dev/null 2>&1 || true
    exec unshare --net bash -c '
      ip link set lo up && ip link add v0 type veth peer name v1 &&
      ip addr add 10.9.9.1/24 dev v0 && ip link set v0 up && ip link set v1 up &&
      ip neigh add 10.9.9.2 lladdr 02:00:00:00:00:02 dev v0 nud permanent &&
      sysctl -qw net.ipv4.ping_group_range="0 2147483647" || exit 1
      ORVEX_SILENT_ADDRESS=10.9.9.2 wine "$@"; rc=$?
      wineserver -k >/dev/null 2>&1; exit $rc' bash "${args[@]}"
  fi
  exec wine "${args[@]}"
  ;;
cleanup)
  load_display
  wineserver -k >/dev/null 2>&1 || true
  stop_display
  ;;
esac
