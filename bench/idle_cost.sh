#!/usr/bin/env bash
# What the agent costs while it waits, beside a bare Qt tray program (a tray
# icon and a 1-second timer) and parcellite: all three at once under Xvfb with
# a tray host (trayer), the agent with 11 servers (8 "V2", 2 "V1", the
# support server) against orvex-centre and one ngircd for each "V2" centre
# (127.0.0.1 to 127.0.0.8), in a network namespace of
# its own (as root). Two rounds of SECONDS_PER_ROUND (default 300) with the
# chat server up, one with it down. CPU in % of one core, wake-ups as context
# switches a second (all threads), RSS and PSS at the end.
# Targets: idle CPU < 0.05 %, <= 3 wake-ups a second, RSS <= 36 MiB.
#   bench/idle_cost.sh [release build folder]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build/release}"
for f in src/app/orvex src/app/orvex-centre bench/bare_tray; do
  [ -x "$build/$f" ] || { echo "build $build first (cmake --preset release && cmake --build --preset release)"; exit 1; }
done
for p in trayer parcellite; do
  command -v "$p" >/dev/null || apt-get install -y -qq --no-install-recommends "$p" >/dev/null
done
exec unshare --net bash -s "$(pwd)" "$build" "${SECONDS_PER_ROUND:-300}" <<'INNER'
set -euo pipefail
src="$1"; build="$2"; seconds="$3"
ip link set lo up
work=$(mktemp -d)
pids=()
trap 'for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done; rm -rf "$work"' EXIT
exec 3< <(Xvfb -displayfd 1 -nolisten tcp -screen 0 1024x768x24 2>/dev/null & echo "$!")
read -r xpid <&3; pids+=("$xpid"); read -r display <&3
export DISPLAY=":$display" QT_QPA_PLATFORM=xcb QT_LOGGING_RULES='orvex.*=false'
export HOME="$work" XDG_RUNTIME_DIR="$work"
unset DBUS_SESSION_BUS_ADDRESS
trayer --edge top --widthtype pixel --width 120 --height 24 >/dev/null 2>&1 & pids+=($!)
mkdir -p "$work/centre" "$work/prog"
"$src/$build/src/app/orvex-centre" --data "$work/centre" --listen 0.0.0.0 --home-port 80 >/dev/null 2>&1 & pids+=($!)
# Each "V2" centre has its chat server at its own address, as out in the
# field: one server for all eight would refuse the same nickname seven times.
ircs=()
for n in 1 2 3 4 5 6 7 8; do
  mkdir -p "$work/irc$n"
  printf '[Global]\nName = irc%d.bench\nInfo = bench\nListen = 127.0.0.%d\nPorts = 9744\nPidFile = %s\n[Options]\nIdent = no\nPAM = no\nDNS = no\n' \
    "$n" "$n" "$work/irc$n/pid" >"$work/irc$n/ngircd.conf"
  /usr/sbin/ngircd -n -f "$work/irc$n/ngircd.conf" >/dev/null 2>&1 & ircs+=($!); pids+=($!)
done
cp "$src/$build/src/app/orvex" "$work/prog/"
cp -r "$src/resources" "$work/prog/"
{
  printf '[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n'
  for n in 1 2 3 4 5 6 7 8; do printf 'DynIP Server %d=Centro%d/bench/127.0.0.%d/V2\r\n' "$n" "$n" "$n"; done
  for n in 9 10; do printf 'DynIP Server %d=Avisos%d/bench/127.0.0.1/V1\r\n' "$n" "$n"; done
} >"$work/prog/Orvex.ini"
sleep 1
ORVEX_INSTANCE_KEY="orvex-idle-$$" "$work/prog/orvex" >/dev/null 2>&1 & agent=$!; pids+=("$agent")
"$src/$build/bench/bare_tray" "$src/resources/orvex.ico" >/dev/null 2>&1 & bare=$!; pids+=("$bare")
parcellite -n >/dev/null 2>&1 & parc=$!; pids+=("$parc")
sleep 30 # start-up: the first keep-alives, the chat connections

cpu() { awk '{print $14 + $15}' "/proc/$1/stat"; }
switches() { cat /proc/"$1"/task/*/status 2>/dev/null | awk '/ctxt_switches/ {s += $2} END {print s}'; }
memory() { awk '/^Rss:/ {r = $2} /^Pss:/ {p = $2} END {printf "%.1f / %.1f MiB", r / 1024, p / 1024}' "/proc/$1/smaps_rollup"; }
hz=$(getconf CLK_TCK)
round() { # name
  declare -A c0 s0
  for p in "$agent" "$bare" "$parc"; do c0[$p]=$(cpu "$p"); s0[$p]=$(switches "$p"); done
  local t0 t1; t0=$(date +%s.%N); sleep "$seconds"; t1=$(date +%s.%N)
  for who in agent bare parcellite; do
    case $who in agent) p=$agent ;; bare) p=$bare ;; parcellite) p=$parc ;; esac
    awk -v n="$1" -v w="$who" -v c="$(( $(cpu "$p") - c0[$p] ))" -v s="$(( $(switches "$p") - s0[$p] ))" \
      -v t="$(echo "$t1 - $t0" | bc)" -v hz="$hz" -v m="$(memory "$p")" \
      'BEGIN {printf "%-18s %-10s CPU %.3f %% of a core, %.2f wake-ups/s, RSS/PSS %s\n", n, w, 100 * c / hz / t, s / t, m}'
  done
}
round "chat up, round 1"
round "chat up, round 2"
kill "${ircs[@]}"
sleep 5
round "chat server down"
echo "load average $(cut -d' ' -f1-3 /proc/loadavg); targets: agent CPU < 0.05 %, <= 3 wake-ups/s, RSS <= 36 MiB"
INNER
