# What the tests in the emulated machine share. Each prints a line, "ok" or "FAILED" and what it is about; after a
# failure the lines that differ.

tests_run=0
tests_failed=0

# run COMMAND...: keeps what it writes in $out and $err (files) and its exit status in $status.
out=/tmp/out
err=/tmp/err
run() {
  status=0
  "$@" >$out 2>$err </dev/null || status=$?
}

passed() {
  tests_run=$((tests_run + 1))
  echo "ok      $1"
}

failed() { # ABOUT [WHY]
  tests_run=$((tests_run + 1))
  tests_failed=$((tests_failed + 1))
  echo "FAILED  $1${2:+: $2}"
}

# is ABOUT EXPECTED ACTUAL
is() {
  if [ "$2" = "$3" ]; then passed "$1"; else failed "$1" "\"$3\" instead of \"$2\""; fi
}

# A report ends with the time, which cannot be known beforehand.
without_time() { sed 's/^\(-\{45\}\) [A-Z][a-z][a-z] [A-Z][a-z][a-z] .* 20[0-9][0-9]$/\1 (the time)/' "$1"; }

# same ABOUT EXPECTED ACTUAL: two files.
same() {
  without_time "$2" >/tmp/expected
  without_time "$3" >/tmp/actual
  if [ -e "$2" ] && [ -e "$3" ] && cmp -s /tmp/expected /tmp/actual; then
    passed "$1"
  else
    failed "$1"
    diff -U 1 /tmp/expected /tmp/actual | sed -n '3,40p'
  fi
}

# says ABOUT STATUS OUTPUT MESSAGES: all of the last command; texts as for printf.
says() {
  is "$1: status" "$2" "$status"
  printf "$3" >/tmp/wanted
  same "$1: output" /tmp/wanted $out
  printf "$4" >/tmp/wanted
  same "$1: messages" /tmp/wanted $err
}

# reports ABOUT FILE: the last command ended well, with that output and no message.
reports() {
  is "$1: status" 0 "$status"
  same "$1: output" "$2" $out
  is "$1: messages" "" "$(cat $err)"
}

finish() {
  echo "$tests: $((tests_run - tests_failed)) of $tests_run passed"
  [ "$tests_failed" = 0 ] && echo "$tests: all is well"
}

banner='Kestrel II hardware-health monitor\nKestrel II watches Brigantine server boards\n'
boards=/tests/boards

# section PRODUCT: that product's section of the master file, as a configuration.
section() {
  awk -v head="[_$1_]" '$0 == head { inside = 1; next } /^\[_/ { inside = 0 } inside' /tests/AllKestrel.ini
}

# registers BOARD TABLE...: the values of those tables of a board's file, as "REGISTER VALUE" in lines; the first
# value of those that move.
registers() {
  local board=$1 table
  shift
  for table in "$@"; do
    awk -v table="[$table]" '
      /^\[/ { inside = ($0 == table) }
      inside && /^0x/ {
        split($0, half, " = ")
        sub(/.*(value|values|swing) = \[?/, "", $0)
        if ($0 ~ /^0x[0-9A-F]+ = /) sub(/^0x[0-9A-F]+ = /, "", $0)
        match($0, /^(0x)?[0-9A-Fa-f]+/)
        print half[1], substr($0, 1, RLENGTH)
      }' "$boards/$board/board.toml"
  done
}

# fill SLAVE BOARD TABLE...: the registers of a board's chip, into a memory on the SMBus.
fill() {
  local slave=$1
  shift
  registers "$@" >/tmp/registers-to-fill
  while read -r register value; do
    i2cset -y 0 "$slave" "$register" "$value" b || failed "writing $register of slave $slave"
  done </tmp/registers-to-fill
}

# A monitor behind an index and a data port: the clock's memory, registers 0x70 and 0x71. tests/ports.ini is its
# configuration.
port_out() { printf "\\x$2" | dd of=/dev/port bs=1 seek=$((0x$1)) conv=notrunc 2>/dev/null; }

port_in() { dd if=/dev/port bs=1 skip=$((0x$1)) count=1 2>/dev/null | hexdump -e '"%02x"'; }

clock_register() {
  port_out 70 "$1"
  port_in 71
}

fill_clock() {
  while read -r register value; do
    port_out 70 "$register"
    port_out 71 "$value"
  done <<REGISTERS
4e 80
30 07
31 10
3a 3e
3b 10
22 ce
2f d9
38 c4
50 28
55 50
42 10
46 01
REGISTERS
}

ports_report() {
  cat <<REPORT
$(printf "$banner")
Monitored Item            High Limit  Low Limit     Status 
----------------------------------------------------------------------
Fan 1                                       675       5625           
+3.3V                           3.47       3.14       3.30           
System Temperature            80/176                40/104           
Chassis Intrusion                                      Bad   Warning!
--------------------------------------------- (the time)
REPORT
}
