#!/usr/bin/env bash
# The reference centre's peak memory while clients upload configurations at
# once: COUNT connections (default 4) each send a GET of SIZE MiB (default
# 200) to /ox/uploadconfiguration.cgi, a piece of each in turn, as the agent
# sends an archive escaped in the query. Prints what each client was answered
# and the centre's peak resident memory (VmHWM). Loopback only.
#   bench/centre_memory.sh [orvex-centre [COUNT [SIZE_MIB [centre flags...]]]]
set -euo pipefail
cd "$(dirname "$0")/.."
centre="${1:-build/release/src/app/orvex-centre}"
count="${2:-4}"
size="${3:-200}"
shift $(( $# < 3 ? $# : 3 ))
work=$(mktemp -d)
"$centre" --data "$work/data" --keepalive-port 0 --datagram-port 0 --delays-port 0 \
  --home-port 0 "$@" >"$work/out" 2>"$work/err" &
pid=$!
trap 'kill $pid 2>/dev/null; wait $pid 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 50); do grep -q home= "$work/out" 2>/dev/null && break; sleep 0.1; done
port=$(sed -n 's/.*home=\([0-9]*\).*/\1/p' "$work/out")
python3 - "$port" "$count" "$size" <<'PY'
import socket, sys
port, count, size = int(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3]) << 20
piece = b"%41" * (64 << 10)
clients = []
for i in range(count):
    s = socket.create_connection(("127.0.0.1", port))
    s.sendall(b"GET /ox/uploadconfiguration.cgi?empresa=Bench&pcname=PC%d&content=" % i)
    clients.append([s, 0, b""])
while any(c[1] < size for c in clients):
    for c in clients:
        if c[1] >= size:
            continue
        try:
            c[0].sendall(piece)
        except OSError:  # answered early and closed
            c[1] = size
        c[1] += len(piece)
for c in clients:
    try:
        c[0].sendall(b" HTTP/1.0\r\n\r\n")
    except OSError:
        pass
    try:
        while chunk := c[0].recv(4096):
            c[2] += chunk
    except OSError:
        pass
    print("client:", c[2].split(b"\r\n")[0].decode() or "(closed without a reply)")
PY
echo "centre peak memory: $(grep VmHWM /proc/$pid/status | awk '{printf "%.0f MiB", $2/1024}')"
