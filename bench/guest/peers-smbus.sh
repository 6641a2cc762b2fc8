# A report beside i2c-tools: the registers of two sensor chips, in memories on the south bridge's SMBus.
. /tests/peers.sh

bus=SMBus
tracing=/sys/kernel/tracing

# By the kernel's own events, which are off while something is timed: they take time.
transactions() {
  echo >$tracing/trace
  echo 1 >$tracing/events/smbus/enable
  runs=1 cost "$@" >/dev/null
  echo 0 >$tracing/events/smbus/enable
  grep -c 'smbus_read:\|smbus_write:' $tracing/trace
}

modprobe i2c-i801
modprobe i2c-dev
mount -t tracefs tracefs $tracing
fill 0x50 adm1026-amd8111 smbus.slave.common
while read -r register value; do
  i2cset -y 0 0x51 "$register" "$value" b || failed "writing $register of slave 0x51"
done <<REGISTERS
0x2D 115
0x45 130
0x4D 100
REGISTERS
section H3DP-8 | sed 's/^SLAVE=2c$/SLAVE=50/; s/^SLAVE=2d$/SLAVE=51/' >/etc/Kestrel.ini

sed 's|^Memory Voltage .*|Memory Voltage                  1.52       1.17       1.35           |' \
  $boards/adm1026-amd8111/expect/report.txt >/tmp/wanted
run kestrel -t
reports "the report" /tmp/wanted

# Each register that the report reads, once: 3 of each of 7 voltages, 2 of each of 2 fans and their divisors' one,
# 2 of each of 2 temperatures and of the switch.
transactions 0 kestrel -t >/dev/null
sed -n 's/.*smbus_read: i2c-0 a=0\(..\) f=.* c=\([0-9a-f]*\) BYTE_DATA/0x\1 0x\2/p' $tracing/trace | sort -u >/tmp/registers
is "registers that it reads" 32 "$(wc -l </tmp/registers)"

{
  echo 'for pass in $(seq $1); do'
  sed 's/.*/i2cget -y 0 & b || exit 1/' /tmp/registers
  echo 'done'
} >/tmp/by-i2cget
cat >/tmp/by-range <<'COMMANDS'
for pass in $(seq $1); do
  i2cdump -y -r 0x00-0x6b 0 0x50 b || exit 1
  i2cdump -y -r 0x2d-0x4d 0 0x51 b || exit 1
done
COMMANDS
sed 's/-r 0x..-0x.. //' /tmp/by-range >/tmp/by-chip

program 12
peer "\`i2cget\` for each of the 32 registers" 12 /tmp/by-i2cget
peer "\`i2cdump\` of the smallest range of each chip" 12 /tmp/by-range
peer "\`i2cdump\` of each whole chip" 12 /tmp/by-chip
