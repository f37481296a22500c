#!/usr/bin/env bash
# Runs bench_scan_pause in a network namespace of its own, where 10.9.9.2
# swallows every packet: it sits behind one end of a veth pair whose other end
# has no address, with a fixed neighbour entry so that no ARP question gives it
# away. The benchmark's unreachable server never answers, and nothing leaves
# the machine.
set -euo pipefail
bench="${1:-build/release/bench/bench_scan_pause}"
exec unshare --net bash -c '
  ip link set lo up
  ip link add v0 type veth peer name v1
  ip addr add 10.9.9.1/24 dev v0
  ip link set v0 up && ip link set v1 up
  ip neigh add 10.9.9.2 lladdr 02:00:00:00:00:02 dev v0 nud permanent
  QT_QPA_PLATFORM=offscreen QT_LOGGING_RULES="orvex.*=false" "$0" 10.9.9.2' "$bench"
