# Sourced by the end-to-end scripts once `work` names the run's folder. The
# processes a script starts go into `pids`; stop_started ends them.
pids=()
stop_started() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done
  sleep 0.2
  for p in "${pids[@]}"; do kill -9 "$p" 2>/dev/null; done
}
# Says what went wrong, with the end of every log of the run.
fail() {
  echo "FAIL: $*"
  for f in "$work"/*.log; do echo "--- $f"; tail -n 40 "$f"; done
  exit 1
}
wait_for() { # seconds command...
  local limit=$(($1 * 10)); shift
  for _ in $(seq 1 "$limit"); do "$@" && return 0; sleep 0.1; done
  return 1
}
# The reference centre's status page, and whether its value at a python
# subscript is exactly $2.
status() { curl -s --max-time 5 http://127.0.0.1/status.json; }
has() {
  status | WANT="$2" python3 -c "import json,os,sys; s=json.load(sys.stdin); sys.exit(0 if s$1 == os.environ['WANT'] else 1)" 2>/dev/null
}
