#!/usr/bin/env bash
# The real agent under Xvfb against the real reference centre and ngircd, in
# a network namespace of its own: the fixed ports (9751, 9745, 9750, 9744 and
# the home server's 80) collide with nothing, and nothing leaves the machine.
set -u
orvex="$1"
bin=$(cd "$(dirname "$orvex")" && pwd)

if [ "${1:-}" != "--inside" ]; then
  . "$(dirname "$0")/../common/missing.sh"
  unshare --net true 2>/dev/null || missing "network namespaces are not permitted here (unshare --net)"
  for tool in Xvfb curl python3; do
    command -v "$tool" >/dev/null || missing "$tool is not installed"
  done
  [ -x /usr/sbin/ngircd ] || missing "ngircd is not installed"
  [ -x "$bin/orvex-centre" ] || { echo "FAIL: no orvex-centre beside $orvex"; exit 1; }
  exec unshare --net bash "$0" --inside "$orvex"
fi
orvex="$2"
bin=$(cd "$(dirname "$orvex")" && pwd)
ip link set lo up

work=$(mktemp -d)
. "$(dirname "$0")/../common/e2e.sh"
trap 'stop_started; rm -rf "$work"' EXIT
count() { grep -c -- "$2" "$1" 2>/dev/null || true; }
json() { # python expression on the status as `s`
  status | python3 -c "import json,sys; s=json.load(sys.stdin); print($1)" 2>/dev/null
}

# The centre, the chat server and a display.
mkdir -p "$work/centre" "$work/irc"
"$bin/orvex-centre" --data "$work/centre" --home-port 80 >"$work/centre.log" 2>&1 &
pids+=($!)
printf 'Bienvenido\n' >"$work/irc/motd"
printf '[Global]\nName = irc.e2e\nInfo = e2e\nListen = 127.0.0.1\nPorts = 9744\nMotdFile = %s\nPidFile = %s\n[Options]\nIdent = no\nPAM = no\nDNS = no\n' \
  "$work/irc/motd" "$work/irc/pid" >"$work/irc/ngircd.conf"
/usr/sbin/ngircd -n -f "$work/irc/ngircd.conf" >"$work/ngircd.log" 2>&1 &
pids+=($!)
exec 3< <(Xvfb -displayfd 1 -nolisten tcp -screen 0 1024x768x24 2>/dev/null & echo "$!")
read -r xpid <&3; pids+=("$xpid")
read -r display <&3
export DISPLAY=":$display" QT_QPA_PLATFORM=xcb
wait_for 10 curl -s -o /dev/null http://127.0.0.1/status.json || fail "the centre did not start"
# The agent's chat backs off after a refused connection: the server is up first.
wait_for 10 bash -c 'exec 5<>/dev/tcp/127.0.0.1/9744' 2>/dev/null || fail "ngircd did not start"

# A program folder as an installation has it.
prog="$work/prog"
mkdir -p "$prog"
cp "$orvex" "$prog/orvex"
cp -r "$(dirname "$0")/../../resources" "$prog/resources"
printf '[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\nDynIP Server 1=Central/e2eprov/127.0.0.1/V2/5\r\nDynIP Server 2=Avisos/e2eprov/127.0.0.1/V1/5\r\n' \
  >"$prog/Orvex.ini"
export QT_LOGGING_RULES="orvex.*.info=true" ORVEX_INSTANCE_KEY="orvex-e2e-scan-$$"
"$prog/orvex" >"$work/agent.log" 2>&1 &
agent=$!; pids+=("$agent")

wait_for 20 grep -q "Sistema en linea" "$work/agent.log" || fail "the agent never reached 'Sistema en linea'"
sounds=$(count "$work/agent.log" "warning sound")
[ "$sounds" -ge 1 ] || fail "no warning sound for the first states"

# The keep-alives as the centre received them, byte for byte.
want=$'GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=e2eprov&&REMOTEIP=192.168.0.1 HTTP/1.0\r\nAccept: text/plain\r\nAccept-Language: en-us\r\nAccept-Encoding: gzip, deflate\r\nUser-Agent: Mozilla/4.0 (compatible; MSIE 5.0; Windows 98; DigExt)\r\nConnection: Keep-Alive\r\n\r\n'
has '["providers"]["e2eprov"]["keepalive"]["http"]["request"]' "$want" \
  || fail "keep-alive request: $(json 'repr(s["providers"]["e2eprov"]["keepalive"]["http"]["request"])')"
has '["providers"]["e2eprov"]["keepalive"]["udp"]["request"]' "e2eprov" \
  || fail "no datagram keep-alive holding the domain"

# A greeting from support opens a chat window.
python3 "$(dirname "$0")/../../tools/support-peer.py" 127.0.0.1 9744 soporte '#ox2k4' e2eprov \
  'Hola, aqui soporte' >"$work/peer.log" 2>&1 &
pids+=($!)
wait_for 30 grep -q "message from soporte on Sendaro" "$work/agent.log" \
  || fail "the greeting did not reach the agent"

# New delays reach the centre, decoded exactly.
printf 'Gr\xfaa Norte\t01:30\t\r\nMecanica\t00:15\t\r\n' >"$prog/OxDemoras.txt"
wait_for 15 has '["providers"]["e2eprov"].get("delays", {}).get("text")' \
  $'Grúa Norte\t01:30\t\r\nMecanica\t00:15\t\r\n' \
  || fail "the delays did not reach the centre: $(json 's["providers"]["e2eprov"].get("delays")')"

# The centre fails keep-alives: limited connectivity within one interval,
# with the sound; then back on line, with the sound again.
curl -s http://127.0.0.1/control?fail=1 >/dev/null
wait_for 30 grep -q "Conectividad limitada" "$work/agent.log" || fail "no 'Conectividad limitada'"
wait_for 5 sh -c "[ \$(grep -c 'warning sound' '$work/agent.log') -gt $sounds ]" || fail "no sound for the failure"
sounds=$(count "$work/agent.log" "warning sound")
online=$(count "$work/agent.log" "Sistema en linea")
curl -s http://127.0.0.1/control?fail=0 >/dev/null
wait_for 30 sh -c "[ \$(grep -c 'Sistema en linea' '$work/agent.log') -gt $online ]" || fail "not back on line"
wait_for 5 sh -c "[ \$(grep -c 'warning sound' '$work/agent.log') -gt $sounds ]" || fail "no sound for the recovery"

# Asked to end, it ends cleanly.
kill -TERM "$agent"
wait_for 10 sh -c "! kill -0 $agent 2>/dev/null" || fail "the agent did not end on SIGTERM"
wait "$agent"; rc=$?
[ "$rc" -eq 0 ] || fail "the agent ended with status $rc"
grep -q "unloading" "$work/agent.log" || fail "the agent did not unload"

# A folder that does not name a loopback centre: the agent tries its
# compiled-in public host, which this namespace cannot reach - nothing leaves
# through an interface other than loopback, for there is no other.
[ "$(ip -o link | wc -l)" -eq 1 ] || fail "the namespace has more than loopback"
printf '[DynIP]\r\nDynIP Server 1=Central/e2eprov/127.0.0.1/V2/5\r\n' >"$prog/Orvex.ini"
"$prog/orvex" >"$work/public.log" 2>&1 &
public=$!; pids+=("$public")
wait_for 30 grep -q "centro.sendaro.net" "$work/public.log" ||
  fail "no attempt logged for the public host: $(ps -o pid,stat,wchan:30,etime,cmd -p "$public"; ls -l /proc/$public/fd 2>/dev/null; command -v xdpyinfo >/dev/null && { timeout 3 xdpyinfo >/dev/null 2>&1 && echo "X answers" || echo "X does not answer"; })"
kill -0 "$public" 2>/dev/null || fail "the agent did not keep running without its centre"
kill -TERM "$public"
wait_for 10 sh -c "! kill -0 $public 2>/dev/null" || fail "the agent did not end"
echo "PASS: scan cycle against the reference centre"
