# Sourced by the shell tests: a piece the machine lacks (a package, a
# permission) skips the test with a line saying why (exit 77), except in CI
# (CI=true), where every piece must be there and a missing one fails.
missing() {
  if [ "${CI:-}" = true ]; then
    echo "FAIL: $* (in CI every test must run)"
    exit 1
  fi
  echo "skipped: $*"
  exit 77
}
