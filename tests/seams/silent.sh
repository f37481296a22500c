#!/usr/bin/env bash
# The native pinger suite in a network namespace of its own, where 10.9.9.2
# sits behind one end of a veth pair with no address on the other: an echo
# to it goes unanswered and nothing leaves the machine (wine.sh does the same
# for the Windows build). Exit 77 (skipped) where namespaces are not ours.
#   silent.sh TEST_SEAMS
set -u
if [ "$(id -u)" != 0 ] || ! command -v unshare >/dev/null || ! command -v ip >/dev/null; then
  echo "a network namespace needs root, unshare and ip: skipped"
  exit 77
fi
exec unshare --net bash -c '
  ip link set lo up && ip link add v0 type veth peer name v1 &&
  ip addr add 10.9.9.1/24 dev v0 && ip link set v0 up && ip link set v1 up &&
  ip neigh add 10.9.9.2 lladdr 02:00:00:00:00:02 dev v0 nud permanent || exit 1
  ORVEX_SILENT_ADDRESS=10.9.9.2 exec "$0" --test-suite=pinger' "$1"
