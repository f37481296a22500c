#!/usr/bin/env bash
# Two copies of the real agent on one machine: the second asks, and the
# answer decides which one stays.
set -u
orvex="$1"
work=$(mktemp -d)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill -9 "$p" 2>/dev/null; done
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*"; for f in "$work"/*.log; do echo "--- $f"; cat "$f"; done; exit 1; }

mkdir -p "$work/prog" "$work/tmp"
cp "$orvex" "$work/prog/orvex"
cp -r "$ORVEX_SOURCE_DIR/resources" "$work/prog/resources"
printf '[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\nDynIP Server 1=A/e2e/127.0.0.1/V2\r\n' > "$work/prog/Orvex.ini"

unset DISPLAY WAYLAND_DISPLAY
export QT_QPA_PLATFORM=offscreen
export TMPDIR="$work/tmp"
export ORVEX_INSTANCE_KEY="orvex-e2e-$$"
export QT_LOGGING_RULES="orvex.*.info=true"

wait_gone() { # pid seconds
  for _ in $(seq 1 $(( $2 * 10 ))); do kill -0 "$1" 2>/dev/null || return 0; sleep 0.1; done
  return 1
}
wait_line() { # file text seconds
  for _ in $(seq 1 $(( $3 * 10 ))); do grep -q -- "$2" "$1" 2>/dev/null && return 0; sleep 0.1; done
  return 1
}

"$work/prog/orvex" >"$work/first.log" 2>&1 &
first=$!; pids+=("$first")
wait_line "$work/first.log" "running copy: $ORVEX_INSTANCE_KEY" 20 \
  || fail "the first copy never became the running copy"

# Answered No: only the new copy ends.
ORVEX_ANSWER=no "$work/prog/orvex" >"$work/second.log" 2>&1 &
second=$!; pids+=("$second")
wait_gone "$second" 20 || fail "the copy answered No did not end"
wait "$second"; rc=$?
[ "$rc" -eq 0 ] || fail "the copy answered No ended with status $rc"
grep -q 'Ya hay una copia de Orvex ejecutándose en este equipo.' "$work/second.log" \
  || fail "the question's first line was not asked"
grep -q 'Desea cerrarla? (si pulsa negativamente, solo esta copia se cerrará)' "$work/second.log" \
  || fail "the question's second line was not asked"
kill -0 "$first" 2>/dev/null || fail "the first copy ended although the answer was No"

# Answered Yes: the older copy is asked to close; the new one goes on.
ORVEX_ANSWER=yes "$work/prog/orvex" >"$work/third.log" 2>&1 &
third=$!; pids+=("$third")
wait_gone "$first" 20 || fail "the older copy did not close when asked"
wait_line "$work/third.log" "running copy: $ORVEX_INSTANCE_KEY" 20 \
  || fail "the new copy did not keep running"
kill -0 "$third" 2>/dev/null || fail "the new copy did not keep running"
grep -q 'question Orvex : Ya hay una copia' "$work/third.log" || fail "the new copy did not ask"

# The survivor is now the running copy: a fourth start finds it.
ORVEX_ANSWER=no "$work/prog/orvex" >"$work/fourth.log" 2>&1 &
fourth=$!; pids+=("$fourth")
wait_gone "$fourth" 20 || fail "the fourth copy did not end"
grep -q 'question Orvex : Ya hay una copia' "$work/fourth.log" || fail "the surviving copy was not found by a later start"
kill -0 "$third" 2>/dev/null || fail "the surviving copy ended"
echo "PASS: single instance"
