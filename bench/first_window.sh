#!/usr/bin/env bash
# From exec to the main window mapped: the agent with 11 servers (8 "V2",
# 2 "V1", the support server) against orvex-centre, beside the bare Qt tray
# program, under Xvfb in a network namespace of its own (as root). Each is
# started ROUNDS times (default 11), alternating; medians and their ratio.
# Target: the agent within 4x the bare program.
#   bench/first_window.sh [release build folder]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build/release}"
rounds="${ROUNDS:-11}"
for f in src/app/orvex src/app/orvex-centre bench/bare_tray bench/map_watch; do
  [ -x "$build/$f" ] || { echo "build $build first (cmake --preset release && cmake --build --preset release)"; exit 1; }
done
exec unshare --net bash -s "$(pwd)" "$build" "$rounds" <<'INNER'
set -euo pipefail
src="$1"; build="$2"; rounds="$3"
ip link set lo up
work=$(mktemp -d)
pids=()
trap 'for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done; rm -rf "$work"' EXIT
exec 3< <(Xvfb -displayfd 1 -nolisten tcp -screen 0 1024x768x24 2>/dev/null & echo "$!")
read -r xpid <&3; pids+=("$xpid"); read -r display <&3
export DISPLAY=":$display" QT_QPA_PLATFORM=xcb QT_LOGGING_RULES='orvex.*=false'
mkdir -p "$work/centre" "$work/prog"
"$src/$build/src/app/orvex-centre" --data "$work/centre" --home-port 80 >/dev/null 2>&1 &
pids+=($!)
cp "$src/$build/src/app/orvex" "$work/prog/"
cp -r "$src/resources" "$work/prog/"
{
  printf '[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n'
  for n in 1 2 3 4 5 6 7 8; do printf 'DynIP Server %d=Centro%d/bench/127.0.0.1/V2\r\n' "$n" "$n"; done
  for n in 9 10; do printf 'DynIP Server %d=Avisos%d/bench/127.0.0.1/V1\r\n' "$n" "$n"; done
} >"$work/prog/Orvex.ini"
sleep 1
once() { # title program... -> ms
  local out pid ms try
  for try in 1 2 3; do # the display may refuse a connection while the last program ends
    out=$("$src/$build/bench/map_watch" "$@" 2>/dev/null) || true
    pid=${out%% *}; ms=${out##* }
    [ -n "$pid" ] && { kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; }
    [[ "$ms" =~ ^[0-9.]+$ ]] && break
  done
  echo "$ms"
}
agent=(); bare=()
for i in $(seq 1 "$rounds"); do
  agent+=("$(ORVEX_INSTANCE_KEY="orvex-first-$i" once Orvex "$work/prog/orvex")")
  bare+=("$(once Bare "$src/$build/bench/bare_tray" "$src/resources/orvex.ico")")
done
median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
ma=$(median "${agent[@]}"); mb=$(median "${bare[@]}")
echo "exec -> window mapped, median of $rounds: agent ${ma} ms [$(printf '%s ' "${agent[@]}")]"
echo "                                         bare  ${mb} ms [$(printf '%s ' "${bare[@]}")]"
awk -v a="$ma" -v b="$mb" -v l="$(cut -d' ' -f1-3 /proc/loadavg)" \
  'BEGIN {printf "ratio agent / bare %.2f (target <= 4); load average %s\n", a / b, l}'
INNER
