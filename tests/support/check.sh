# shellcheck shell=bash
# Read by the test scripts: they count what is not as expected, and end by it.
failures=0

# check WHAT EXPECTED GOT
check() {
  [ "$2" != "$3" ] || return 0
  printf 'FAILED: %s\n' "$1"
  diff -u --label expected --label got <(echo "$2") <(echo "$3") || true
  failures=$((failures + 1))
}
