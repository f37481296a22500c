#!/usr/bin/env bash
# Ending the agent while it waits on a download that trickles (a byte every
# 3 s, as a stalled home server sends): SIGTERM ends the process at once,
# with the tray icon and the download's temporary file gone; a SIGKILL leaves
# no named part file, and one an interrupted run left (a kill while a file
# was being handed over) is removed at the next start.
# In a network namespace of its own, with a scripted home server on port 80.
set -u
orvex="$1"
if [ "${2:-}" != "--inside" ]; then
  . "$(dirname "$0")/../common/missing.sh"
  unshare --net true 2>/dev/null || missing "network namespaces are not permitted here (unshare --net)"
  exec unshare --net bash "$0" "$orvex" --inside
fi
ip link set lo up
work=$(mktemp -d)
pids=()
cleanup() { for p in "${pids[@]}"; do kill -9 "$p" 2>/dev/null; done; rm -rf "$work"; }
trap cleanup EXIT
fail() { echo "FAIL: $*"; for f in "$work"/*.log; do echo "--- $f"; tail -n 30 "$f"; done; exit 1; }
wait_for() { local limit=$(($1 * 10)); shift; for _ in $(seq 1 "$limit"); do "$@" && return 0; sleep 0.1; done; return 1; }

python3 - >"$work/server.log" 2>&1 <<'PY' &
import socket, threading, time
def serve(c):
    try:
        c.recv(65536)
        print("request", flush=True)
        c.sendall(b"HTTP/1.0 200 OK\r\nContent-Length: 1000000\r\n\r\n")
        while True:
            time.sleep(3)
            c.sendall(b"x")
    except OSError:
        pass
s = socket.socket(); s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
s.bind(("127.0.0.1", 80)); s.listen(8)
while True:
    c, _ = s.accept()
    threading.Thread(target=serve, args=(c,), daemon=True).start()
PY
pids+=($!)
wait_for 10 bash -c 'exec 5<>/dev/tcp/127.0.0.1/80' 2>/dev/null || fail "the home server did not start"

prog="$work/prog"
mkdir -p "$prog/Instalables"
cp "$orvex" "$prog/orvex"
cp -r "$(dirname "$0")/../../resources" "$prog/resources"
printf '[Centro]\r\nHost=127.0.0.1\r\n' >"$prog/Orvex.ini"
export QT_QPA_PLATFORM=offscreen QT_LOGGING_RULES="orvex.*.info=true" ORVEX_ANSWER=yes
export ORVEX_ACTIONS_FILE="$work/acciones.txt" ORVEX_INSTANCE_KEY="orvex-exit-$$"
parts() { ls -A "$prog/Instalables" | grep -c '^\.orvex-'; }

start_restore() { # log
  printf 'Recuperar configuración por Internet\n' >"$ORVEX_ACTIONS_FILE"
  "$prog/orvex" >"$work/$1" 2>&1 &
  agent=$!; pids+=("$agent")
  local before; before=$(grep -c request "$work/server.log")
  wait_for 30 sh -c "[ \$(grep -c request '$work/server.log') -gt $before ]" ||
    fail "the download never started"
  sleep 1
}

# SIGTERM while the download trickles.
start_restore agent.log
start=$(date +%s.%N)
kill -TERM "$agent"
wait_for 20 sh -c "! kill -0 $agent 2>/dev/null" || fail "still running 20 s after SIGTERM"
seconds=$(echo "$(date +%s.%N) - $start" | bc)
grep -q "unloading" "$work/agent.log" || fail "the agent did not unload"
[ "$(parts)" -eq 0 ] || fail "temporary files left: $(ls -A "$prog/Instalables")"

# SIGKILL: the part file has no name while it fills, so nothing stays; one
# left by a kill during a handover goes at the next start.
start_restore killed.log
kill -KILL "$agent"
wait "$agent" 2>/dev/null
[ "$(parts)" -eq 0 ] || fail "a killed download left $(ls -A "$prog/Instalables")"
echo stale >"$prog/Instalables/.orvex-AbC123.part"
"$prog/orvex" >"$work/next.log" 2>&1 &
agent=$!; pids+=("$agent")
wait_for 30 grep -q "temporary files an earlier run left" "$work/next.log" || fail "the next start did not clean up"
[ "$(parts)" -eq 0 ] || fail "temporary files left after the next start"
kill -TERM "$agent"
wait_for 20 sh -c "! kill -0 $agent 2>/dev/null" || fail "the next run did not end"
echo "PASS: SIGTERM during a trickling download ended the agent in ${seconds} s, nothing left behind"
