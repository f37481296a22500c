#!/usr/bin/env bash
# The Windows program as a dispatcher gets it: the installer built by
# scripts/package-windows, run silently in a fresh Wine prefix of the build
# folder, and the installed agent against the Linux reference centre and
# ngircd, all inside a network namespace of its own with its own X server.
#   installed.sh SOURCE BUILD
set -u
src="$1" build="$2"

. "$(dirname "$0")/../common/missing.sh"
if [ "${3:-}" != "--inside" ]; then
  setup=$(ls "$src"/build/windows-cross/package/orvex-*-windows-x64-setup.exe 2>/dev/null | head -1)
  if [ -z "$setup" ]; then
    [ -f "$src/build/package-windows.log" ] &&
      { echo "--- the end of scripts/package-windows's output:"; tail -n 40 "$src/build/package-windows.log"; }
    missing "no Windows installer: scripts/package-windows builds it (scripts/test does)"
  fi
  for tool in wine wineserver Xvfb curl python3 x86_64-w64-mingw32-g++; do
    command -v "$tool" >/dev/null || missing "$tool is not installed (scripts/install-deps)"
  done
  [ -x /usr/sbin/ngircd ] || missing "ngircd is not installed"
  [ -x "$build/src/app/orvex-centre" ] || { echo "FAIL: no orvex-centre in $build"; exit 1; }
  unshare --net true 2>/dev/null || missing "network namespaces are not permitted here (unshare --net)"
  exec unshare --net bash "$0" "$src" "$build" --inside "$setup"
fi
setup="$4"
ip link set lo up

work="$build/wine-installed"
rm -rf "$work"
mkdir -p "$work/centre" "$work/irc" "$work/shots"
export WINEPREFIX="$work/prefix" WINEARCH=win64 WINEDEBUG=-all
# No menus or file associations on the host, and no Mono or Gecko prompts.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
. "$(dirname "$0")/../common/e2e.sh"
trap 'wineserver -k 2>/dev/null; stop_started' EXIT
logged() { grep -q -- "$1" "$work/agent.log" 2>/dev/null; }
count() { grep -c -- "$1" "$work/agent.log" 2>/dev/null || true; }
winpath() { winepath -w "$1" 2>/dev/null; }

exec 3< <(Xvfb -displayfd 1 -nolisten tcp -screen 0 1024x768x24 2>/dev/null & echo "$!")
read -r xpid <&3; pids+=("$xpid")
read -r display <&3
export DISPLAY=":$display"

# --- Install, silently, into a new prefix.
wine wineboot --init >"$work/wineboot.log" 2>&1 || fail "Wine could not make its prefix"
prog="$WINEPREFIX/drive_c/Program Files/Sendaro/Orvex"
menu="$WINEPREFIX/drive_c/ProgramData/Microsoft/Windows/Start Menu/Programs"
wine "$setup" /S >"$work/setup.log" 2>&1 || fail "the installer failed"
wineserver -w
for f in orvex.exe oxzip.exe Qt6Core.dll Qt6Widgets.dll platforms/qwindows.dll \
  styles/qwindowsvistastyle.dll imageformats/qico.dll resources/orvex_problemared.wav \
  Orvex.ini Desinstalar.exe; do
  [ -f "$prog/$f" ] || fail "the installation has no $f"
done
[ -d "$prog/Instalables" ] || fail "the installation has no Instalables folder"
[ -f "$menu/Sendaro/Orvex.lnk" ] || fail "no Orvex in the Start menu's Sendaro group"
[ -z "$(find "$WINEPREFIX/drive_c" -ipath '*startup*' -name 'Orvex.lnk')" ] ||
  fail "the start-up link was made although nobody ticked it"

# An upgrade keeps the installation's settings and data.
printf '[Centro]\r\nHost=127.0.0.1\r\n\r\n[Registracion]\r\nEmpresa=Gr\xfaas del Sur S.A.\r\n\r\n[DynIP]\r\nDynIP Server 1=Central/wineprov/127.0.0.1/V2/5\r\nDynIP Server 2=Avisos/wineprov/127.0.0.1/V1/5\r\n' \
  >"$prog/Orvex.ini"
printf '[Directorios]\r\nPendientes=C:\\Casos\r\n' >"$prog/Movilar.ini"
printf 'Mecanica\t00:15\t\r\n' >"$prog/OxDemoras.txt"
printf 'datos\x00\x01\xff\xf1\r\n' >"$prog/Moviles.dbs"
cp "$prog/Orvex.ini" "$prog/Movilar.ini" "$prog/OxDemoras.txt" "$work/"
wine "$setup" /S >>"$work/setup.log" 2>&1 || fail "the installer failed on the upgrade"
wineserver -w
for f in Orvex.ini Movilar.ini OxDemoras.txt; do
  cmp -s "$prog/$f" "$work/$f" || fail "the upgrade replaced $f"
done

# --- The centre (serving the installed archiver as pkzip25.exe) and ngircd.
"$build/src/app/orvex-centre" --data "$work/centre" --home-port 80 --archiver "$prog/oxzip.exe" \
  >"$work/centre.log" 2>&1 &
pids+=($!)
printf '[Global]\nName = irc.wine\nInfo = wine\nListen = 127.0.0.1\nPorts = 9744\nPidFile = %s\n[Options]\nIdent = no\nPAM = no\nDNS = no\n' \
  "$work/irc/pid" >"$work/irc/ngircd.conf"
/usr/sbin/ngircd -n -f "$work/irc/ngircd.conf" >"$work/ngircd.log" 2>&1 &
pids+=($!)
wait_for 10 curl -s -o /dev/null http://127.0.0.1/status.json || fail "the centre did not start"
wait_for 10 bash -c 'exec 5<>/dev/tcp/127.0.0.1/9744' 2>/dev/null || fail "ngircd did not start"

# --- The installed agent.
actions="$work/acciones.txt"
act() { # runs maintenance commands in the agent, waits for the window's last word
  printf '%s\n' "$1" >"$actions"
  wait_for 120 logged "LabelAvance: $2" || fail "'$1' did not end in '$2'"
}
unset QT_QPA_PLATFORM # the Windows program has only its own platform plug-in
export QT_LOGGING_RULES="orvex.*.info=true" ORVEX_LOG="$(winpath "$work/agent.log")" \
  ORVEX_ACTIONS_FILE="$(winpath "$actions")" ORVEX_SCREENSHOTS="$(winpath "$work/shots")" \
  ORVEX_SCREENSHOT_AFTER_MS=15000 ORVEX_ANSWER=yes ORVEX_INSTANCE_KEY="orvex-wine-$$"
wine "C:\\Program Files\\Sendaro\\Orvex\\orvex.exe" >"$work/wine.log" 2>&1 &
agent=$!; pids+=("$agent")

wait_for 60 logged "Sistema en linea" || fail "the agent never reached 'Sistema en linea'"
want=$'GET /DynIP?CMD=KEEPALIVE&&DOMAINNAME=wineprov&&REMOTEIP=192.168.0.1 HTTP/1.0\r\nAccept: text/plain\r\nAccept-Language: en-us\r\nAccept-Encoding: gzip, deflate\r\nUser-Agent: Mozilla/4.0 (compatible; MSIE 5.0; Windows 98; DigExt)\r\nConnection: Keep-Alive\r\n\r\n'
has '["providers"]["wineprov"]["keepalive"]["http"]["request"]' "$want" || fail "keep-alive request bytes"
has '["providers"]["wineprov"]["keepalive"]["udp"]["request"]' "wineprov" || fail "no datagram holding the domain"

python3 "$src/tools/support-peer.py" 127.0.0.1 9744 soporte '#ox2k4' wineprov 'Hola, aquí soporte' \
  >"$work/peer.log" 2>&1 &
pids+=($!)
wait_for 60 logged "message from soporte on Sendaro" || fail "the support peer's message did not arrive"

printf 'Gr\xfaa Norte\t01:30\t\r\nMecanica\t00:15\t\r\n' >"$prog/OxDemoras.txt"
wait_for 30 has '["providers"]["wineprov"].get("delays", {}).get("text")' \
  $'Grúa Norte\t01:30\t\r\nMecanica\t00:15\t\r\n' || fail "the delays did not reach the centre"

wait_for 30 sh -c "ls '$work/shots' | grep -q wnPrincipal" || fail "no picture of the window"
sounds=$(count "PlaySoundW")
[ "$sounds" -ge 1 ] || fail "no warning sound for the first states"
curl -s http://127.0.0.1/control?fail=1 >/dev/null
wait_for 60 logged "Conectividad limitada" || fail "no 'Conectividad limitada'"
wait_for 10 sh -c "[ \$(grep -c PlaySoundW '$work/agent.log') -gt $sounds ]" || fail "no warning sound"
curl -s http://127.0.0.1/control?fail=0 >/dev/null
wait_for 60 sh -c "[ \$(grep -c 'Sistema en linea' '$work/agent.log') -gt 1 ]" || fail "not back on line"

# Save: the archiver (this package's oxzip.exe, fetched from the centre as
# pkzip25.exe) runs under Wine; the centre keeps exactly the archive built.
act "Guardar configuración por Internet" "Backup correcto!."
stored=$(find "$work/centre" -path '*configurations*' -type f | head -1)
[ -n "$stored" ] || fail "the centre stored no configuration"
cmp -s "$stored" "$prog/Instalables/Configuracion.zip" || fail "the stored archive differs from the one built"
cmp -s "$prog/Instalables/pkzip25.exe" "$prog/oxzip.exe" || fail "pkzip25.exe is not the archiver served"
# Restore: a changed and a lost file come back byte for byte.
cp "$prog/Orvex.ini" "$work/Orvex.saved"
printf '[Cambiado]\r\nx=1\r\n' >>"$prog/Orvex.ini"
rm "$prog/Movilar.ini"
act "Recuperar configuración por Internet" "Instalacion finalizada!."
cmp -s "$prog/Orvex.ini" "$work/Orvex.saved" || fail "Orvex.ini was not restored"
cmp -s "$prog/Movilar.ini" "$work/Movilar.ini" || fail "Movilar.ini was not restored"

# Shortcuts, read back through the shell's own IShellLinkW.
act "Crear accesos directos" "Creacion de iconos finalizada!."
x86_64-w64-mingw32-g++ -O1 -static -municode -o "$work/lnkread.exe" "$src/tests/wine/lnkread.cpp" \
  -lole32 -luuid || fail "lnkread.exe did not build"
mapfile -t links < <(find "$WINEPREFIX/drive_c" -name '*.lnk' -newer "$work/Orvex.saved")
[ ${#links[@]} -ge 2 ] || fail "the action made ${#links[@]} links"
args=()
for l in "${links[@]}"; do args+=("$(winpath "$l")"); done
wine "$work/lnkread.exe" "${args[@]}" >"$work/links.log" 2>&1 || fail "a link could not be read back"
grep -qi 'sendaro\\Orvex.lnk|C:\\Program Files\\Sendaro\\Orvex\\orvex.exe|' "$work/links.log" ||
  fail "no link to the agent in the Sendaro group: $(cat "$work/links.log")"
grep -qi 'startup\\Orvex.lnk|C:\\Program Files\\Sendaro\\Orvex\\orvex.exe|' "$work/links.log" ||
  fail "no link to the agent in the start-up group: $(cat "$work/links.log")"

# The tray menu's exit command ends the program.
printf 'Cerrar el programa\n' >"$actions"
wait_for 30 sh -c "! kill -0 $agent 2>/dev/null" || fail "the exit command did not end the program"
logged "unloading" || fail "the agent did not unload"
# Wine's desktop process, started for the notification area, outlives the
# agent and would keep this prefix's server up: end the session here.
wineserver -k

# --- Uninstall: nothing of the program is left, the dispatcher's data is.
wine "$prog/Desinstalar.exe" /S >"$work/uninstall.log" 2>&1
wineserver -w
wait_for 30 sh -c "[ ! -f '$prog/orvex.exe' ]" || fail "the uninstaller left orvex.exe"
left=$(cd "$prog" 2>/dev/null && find . -type f | sed 's|^\./||' | sort | tr '\n' ' ')
for f in $left; do
  case "$f" in
  Orvex.ini | Movilar.ini | OxDemoras.txt | Moviles.dbs) ;;
  *) fail "the uninstaller left $f (left: $left)" ;;
  esac
done
[ -z "$(find "$menu" -ipath '*sendaro*')" ] || fail "the Start menu still has the Sendaro group"
[ -z "$(find "$WINEPREFIX/drive_c" -ipath '*startup*' -name 'Orvex.lnk')" ] || fail "the start-up link is left"
if wine reg query 'HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\Orvex' >/dev/null 2>&1; then
  fail "the uninstall entry is left in the registry"
fi
echo "PASS: installed under Wine, on line, chat, delays, limited state with sound, backup and restore, shortcuts, exit, uninstall (left: $left)"
