#!/usr/bin/env bash
# The real agent against a stock web server (lighttpd with small CGI
# scripts) instead of the reference centre, in a network namespace of its
# own: the fixed ports (80, 9751 for keep-alives, 9750 for delays) collide
# with nothing and nothing leaves the machine. lighttpd refuses request lines
# above 8 KB and escaped control bytes in them, so the configuration save
# must fall back to a POST, and the delay upload is refused.
set -u
if [ "${1:-}" != "--inside" ]; then
  orvex="$1"
  bin=$(cd "$(dirname "$orvex")" && pwd)
  . "$(dirname "$0")/../common/missing.sh"
  [ -x /usr/sbin/lighttpd ] || missing "lighttpd is not installed (package lighttpd)"
  [ -x /usr/bin/python3 ] || missing "python3 is not installed (package python3)"
  unshare --net true 2>/dev/null || missing "network namespaces are not permitted here (unshare --net)"
  [ -x "$bin/oxzip" ] || { echo "FAIL: no oxzip beside $orvex"; exit 1; }
  exec unshare --net bash "$0" --inside "$orvex"
fi
orvex="$2"
bin=$(cd "$(dirname "$orvex")" && pwd)
ip link set lo up

work=$(mktemp -d)
. "$(dirname "$0")/../common/e2e.sh"
cleanup() {
  stop_started
  # KEEP_E2E=1 keeps the folder (logs, what the server stored) for a look.
  [ -n "${KEEP_E2E:-}" ] && echo "kept $work" || rm -rf "$work"
}
trap cleanup EXIT

# The server: CGI scripts in a document root, the archiver at "/".
www="$work/www"
store="$work/store"
mkdir -p "$www/ox" "$store"
cp "$bin/oxzip" "$www/pkzip25.exe"
cat >"$www/DynIP" <<'EOF'
#!/bin/sh
printf 'Content-Type: text/plain\r\n\r\nR:OK Lumaris\r\n.END.\r\n'
EOF
# Keeps the last archive received, from a GET's query or a POST's body, and
# notes how it came.
cat >"$www/ox/uploadconfiguration.cgi" <<EOF
#!/usr/bin/python3
import os, sys, urllib.parse
if os.environ.get("REQUEST_METHOD") == "POST":
    query = sys.stdin.buffer.read(int(os.environ.get("CONTENT_LENGTH") or 0))
else:
    query = os.environ.get("QUERY_STRING", "").encode("latin-1")
fields = dict(f.split(b"=", 1) for f in query.split(b"&") if b"=" in f)
content = urllib.parse.unquote_to_bytes(fields.get(b"content", b"").replace(b"+", b" "))
open("$store/Configuracion.zip", "wb").write(content)
open("$store/method", "w").write(os.environ.get("REQUEST_METHOD", ""))
sys.stdout.write("Content-Type: text/plain\r\n\r\nR:OK\r\n.END.\r\n")
EOF
cat >"$www/ox/downloadconfiguration.cgi" <<EOF
#!/bin/sh
printf 'Content-Type: application/zip\r\n\r\n'
cat "$store/Configuracion.zip"
EOF
cat >"$www/ox/updatelistfiles.cgi" <<'EOF'
#!/bin/sh
printf 'Content-Type: text/plain\r\n\r\nnotas\\leeme.txt\r\n'
EOF
cat >"$www/ox/updategetfile.cgi" <<'EOF'
#!/bin/sh
printf 'Content-Type: text/plain\r\n\r\nNotas de la version 2\r\n'
EOF
chmod +x "$www/DynIP" "$www"/ox/*.cgi
cat >"$work/lighttpd.conf" <<EOF
server.document-root = "$www"
server.bind = "127.0.0.1"
server.port = 80
\$SERVER["socket"] == "127.0.0.1:9751" {}
\$SERVER["socket"] == "127.0.0.1:9750" {}
server.modules = ("mod_cgi", "mod_accesslog")
cgi.assign = (".cgi" => "", "/DynIP" => "")
server.errorlog = "$work/lighttpd-error.log"
accesslog.filename = "$work/access.log"
accesslog.format = "%s %r"
EOF
/usr/sbin/lighttpd -D -f "$work/lighttpd.conf" >"$work/lighttpd.log" 2>&1 &
pids+=($!)
wait_for 10 python3 -c 'import socket; socket.create_connection(("127.0.0.1", 80), 1)' \
  || fail "lighttpd did not start"

# A program folder as an installation has it, with a configuration of about
# 300 KB that does not compress much: its escaped archive is far beyond
# lighttpd's request line and holds escaped control bytes. (The company has
# no accent: lighttpd refuses "%FA", the ANSI "ú", unless told otherwise.)
prog="$work/prog"
mkdir -p "$prog/Instalables"
cp "$orvex" "$prog/orvex"
cp -r "$(dirname "$0")/../../resources" "$prog/resources"
printf '[Centro]\r\nHost=127.0.0.1\r\n\r\n[Registracion]\r\nEmpresa=Gruas del Sur S.A.\r\n\r\n[DynIP]\r\nDynIP Server 1=Central/e2eprov/127.0.0.1:9751/V2/5\r\n' \
  >"$prog/Orvex.ini"
for i in 1 2 3; do head -c 100000 /dev/urandom | base64 >"$prog/zona$i.ini"; done
head -c 4000 /dev/urandom >"$prog/casos.dbs"
export QT_QPA_PLATFORM=offscreen QT_LOGGING_RULES="orvex.*.info=true"
export ORVEX_INSTANCE_KEY="orvex-e2e-stock-$$" ORVEX_ANSWER=yes ORVEX_INPUT=Ox
# Starts the agent, waits for a line of its log, then has it run the actions
# and close, as a dispatcher would from its window and tray menu.
run() { # log, line to wait for, actions...
  local log="$1" ready="$2"; shift 2
  rm -f "$work/acciones.txt"
  ORVEX_ACTIONS_FILE="$work/acciones.txt" "$prog/orvex" >"$work/$log" 2>&1 &
  local agent=$!; pids+=("$agent")
  wait_for 30 grep -q "$ready" "$work/$log" || fail "no '$ready' in $log"
  printf '%s\n' "$@" 'Cerrar el programa' >"$work/acciones.txt"
  wait_for 60 sh -c "! kill -0 $agent 2>/dev/null" || fail "the agent did not end ($log)"
}

# Keep-alives and a delay upload, with the actions after them.
printf 'Norte\t01:30\t\r\n' >"$prog/OxDemoras.txt"
run save.log "delays sent to \"Central\"" \
  "Guardar configuración por Internet" "Actualizar sistema por Internet"
log="$work/save.log"
grep -q "Sistema en linea" "$log" || fail "the keep-alive never gave 'Sistema en linea'"
grep -q "delays sent to \"Central\" \"HTTP/1.0 400 Bad Request" "$log" \
  || fail "the refused delay upload was not logged with its status"
grep -Eq "backup refused as a GET with status (400|431)" "$log" || fail "no fallback to a POST"
grep -q "LabelAvance: Backup correcto!." "$log" || fail "the save did not end in 'Backup correcto!.'"
[ "$(cat "$store/method")" = POST ] || fail "the archive did not arrive by POST"
cmp -s "$store/Configuracion.zip" "$prog/Instalables/Configuracion.zip" \
  || fail "the stored archive is not the one oxzip built"
[ "$(stat -c %s "$store/Configuracion.zip")" -gt 200000 ] || fail "the archive is too small"
[ "$(cat "$prog/notas/leeme.txt")" = $'Notas de la version 2\r' ] \
  || fail "the update did not bring notas/leeme.txt"
ls -A "$prog/Instalables" | grep -q '^\.orvex-' && fail "temporary files left in Instalables"

# Restore: a changed file and a lost one come back as they were saved.
cp "$prog/zona1.ini" "$work/zona1.saved"
cp "$prog/zona2.ini" "$work/zona2.saved"
echo cambiado >"$prog/zona1.ini"
rm "$prog/zona2.ini"
run restore.log "Sistema en linea" "Recuperar configuración por Internet"
grep -q "LabelAvance: Instalacion finalizada!." "$work/restore.log" || fail "the restore did not end"
cmp -s "$prog/zona1.ini" "$work/zona1.saved" || fail "zona1.ini did not come back"
cmp -s "$prog/zona2.ini" "$work/zona2.saved" || fail "zona2.ini did not come back"
# The company's escapes reach the server as the agent made them (lighttpd
# writes its log a moment later).
wait_for 10 grep -q '^200 GET /ox/downloadconfiguration.cgi?empresa=Gruas+del+Sur+S%2EA%2E&pcname=' \
  "$work/access.log" || fail "the restore's request was not sent as escaped"
echo "PASS: save, restore, update, keep-alive and refused delays against lighttpd"
