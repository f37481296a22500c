#!/usr/bin/env bash
# The agent's CPU time and memory while it keeps ten "V2" servers and the
# support server answered at 60-second intervals. Runs the real agent
# (offscreen) in a network namespace of its own, against a small keep-alive
# responder, for ORVEX_BENCH_SECONDS (default 300) after a 10-second start-up.
# Targets: below 0.2 % of one core, below 40 MiB resident at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
agent="${1:-build/release/src/app/orvex}"
seconds="${ORVEX_BENCH_SECONDS:-300}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$agent" "$work/orvex"
cp -r resources "$work/resources"
{
  printf '[Centro]\r\nHost=127.0.0.1\r\n\r\n[DynIP]\r\n'
  for n in 1 2 3 4 5 6 7 8 9 10; do
    printf 'DynIP Server %d=Centro%d/bench/127.0.0.1:9752/V2/60\r\n' "$n" "$n"
  done
} > "$work/Orvex.ini"

unshare --net bash -s "$work" "$seconds" <<'INNER'
set -euo pipefail
work="$1"; seconds="$2"
ip link set lo up
python3 - <<'PY' &
import asyncio
async def answer(reader, writer):
    await reader.readuntil(b"\r\n\r\n")
    writer.write(b"HTTP/1.0 200 OK\r\n\r\nR:OK Lumaris\r\n.END.\r\n")
    await writer.drain(); writer.close()
async def main():
    a = await asyncio.start_server(answer, "127.0.0.1", 9751)
    b = await asyncio.start_server(answer, "127.0.0.1", 9752)
    await asyncio.gather(a.serve_forever(), b.serve_forever())
asyncio.run(main())
PY
responder=$!
sleep 1
QT_QPA_PLATFORM=offscreen QT_LOGGING_RULES='orvex.*=false' ORVEX_INSTANCE_KEY="orvex-bench-$$" \
  "$work/orvex" >"$work/agent.log" 2>&1 &
agent=$!
ticks=$(getconf CLK_TCK)
cpu() { awk '{print $14 + $15}' "/proc/$agent/stat"; }
sleep 10
c0=$(cpu); t0=$(date +%s.%N)
sleep "$seconds"
c1=$(cpu); t1=$(date +%s.%N)
rss=$(awk '/VmRSS/ {print $2}' "/proc/$agent/status")
hwm=$(awk '/VmHWM/ {print $2}' "/proc/$agent/status")
kill "$agent" "$responder" 2>/dev/null || true
awk -v c0="$c0" -v c1="$c1" -v t0="$t0" -v t1="$t1" -v hz="$ticks" -v rss="$rss" -v hwm="$hwm" 'BEGIN {
  cpu = (c1 - c0) / hz; wall = t1 - t0
  printf "agent over %.0f s with 11 servers at 60 s: CPU %.2f s = %.3f %% of one core (target < 0.2 %%)\n", wall, cpu, 100 * cpu / wall
  printf "resident memory at the end %.1f MiB, peak %.1f MiB (target < 40 MiB)\n", rss / 1024, hwm / 1024
}'
INNER
