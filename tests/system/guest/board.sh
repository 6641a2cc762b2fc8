# A board of the maker's, by its SMBIOS tables, with the south bridge's SMBus and eight memories on it (slaves 0x50
# to 0x57), whose bytes represent the registers of sensor chips.

adapter=/sys/bus/i2c/devices/i2c-0

load_bus() { modprobe i2c-i801; modprobe i2c-dev; }

unload_bus() { rmmod i2c-dev i2c-i801 i2c-smbus; }

byte_of() { i2cget -y 0 "$1" "$2" b; }

# ---- Who may start it, and what it says about itself

run kestrel -v
says "-v" 0 "${banner}kestrel version 2.87(120421)\n" ""
usage="Usage:
kestrel                         -> full function
kestrel -t                      -> text mode, running only once
kestrel -t -i 5                 -> text mode, running every 5 seconds
kestrel -r \"Chassis Intrusion\"  -> reset the chassis intrusion
kestrel -h                      -> showing this page
kestrel -v                      -> showing version information

"
for option in -h -x "-t -i 0" "-t -i abc" -r report; do
  run kestrel $option
  says "$option" 0 "$banner$usage" ""
done
echo 'nobody:x:65534:65534::/:/bin/sh' >/etc/passwd
run su nobody -c 'kestrel -t'
says "not root" 255 "${banner}Error: Can only be run as root.\n" ""

# ---- A first start

run kestrel -t
is "no master file: status" 255 "$status"
is "no master file: last message" "Error: Cannot create the initial file for Kestrel!" "$(tail -n 1 $err)"
is "no master file: no configuration is left" "" "$(ls /etc/Kestrel.ini* 2>/dev/null)"

# This machine's slave 0x52 is the product's 0x2F.
sed 's/^SLAVE=2f$/SLAVE=52/' /tests/AllKestrel.ini >/etc/AllKestrel.ini
run kestrel -t
says "no device files" 255 "$banner" \
  "Error: no i2c device files found. Please use mkdev.sh to create them.\n"
is "no device files: the configuration is generated again next time" "" "$(ls /etc/Kestrel.ini* 2>/dev/null)"
is "no device files: no driver was loaded" "" "$(cat /proc/modules)"

load_bus
is "the adapter" "SMBus I801 adapter at 0700" "$(cat $adapter/name)"
fill 0x52 w83793g-i801 smbus.slave.common smbus.slave.bank0 smbus.slave.bank2
unload_bus
[ -e /dev/i2c-0 ] || mknod /dev/i2c-0 c 89 0

hidden='PECI Agent4 Temperature\|Chassis Fan 1'
{
  printf "$banner"
  echo ">> Disable monitoring of non-activated item: Chassis Fan 1"
  echo ">> Disable monitoring of non-activated item: PECI Agent4 Temperature"
  echo
  sed "1,2d; /^\($hidden\) /d" $boards/w83793g-i801/expect/report.txt
} >/tmp/first
run kestrel -t
reports "the first start" /tmp/first
is "the first start: drivers it loaded" "i2c_dev i2c_i801 i2c_smbus" \
  "$(cut -d ' ' -f 1 /proc/modules | sort | tr '\n' ' ' | sed 's/ $//')"
section R2M-D4 | sed 's/^SLAVE=2f$/SLAVE=52/' >/tmp/generated
same "the first start: Kestrel.ini.old is the master file's section" /tmp/generated /etc/Kestrel.ini.old
is "the first start: what it hides" "Chassis Fan 1,CPU2 Core B Temperature," \
  "$(awk -F = '/^ITEM_NAME/ { name = $2 } /^MONITOR=FALSE/ { printf "%s,", name }' /etc/Kestrel.ini)"
sed 's/^MONITOR=.*/MONITOR/' /etc/Kestrel.ini >/tmp/configuration
sed 's/^MONITOR=.*/MONITOR/' /etc/Kestrel.ini.old >/tmp/before
same "the first start: nothing else changes" /tmp/before /tmp/configuration
is "the bank is put back" 0x80 "$(byte_of 0x52 0x00)"

# ---- The second start, and what is done then

cp /etc/Kestrel.ini /tmp/configuration
sed "/^\($hidden\) /d" $boards/w83793g-i801/expect/report.txt >/tmp/second
run kestrel -t
reports "the second start" /tmp/second
same "the second start leaves the configuration alone" /tmp/configuration /etc/Kestrel.ini

i2cset -y 0 0x52 0x20 70 b # 70 degrees, 5 above its limit
sed 's|^System Temperature            65/149                 36/96           $|System Temperature            65/149                70/158   Warning!|' \
  /tmp/second >/tmp/hot
run kestrel -t
reports "a register that changes" /tmp/hot

run kestrel -r "Chassis Intrusion"
says "-r" 0 "${banner}Done.\n\"Chassis Intrusion\" is reset!\n\n" ""
is "-r: the clear register" 0x80 "$(byte_of 0x52 0x46)" # 0 with bit 7
i2cset -y 0 0x52 0x44 0x00 b # which is what a chip does then
i2cset -y 0 0x52 0x46 0x00 b
run kestrel -r "chassis intrusion"
says "-r of what is not latched" 0 "${banner}Done.\n\"chassis intrusion\" is reset!\n\n" ""
is "-r of what is not latched: nothing is written" 0x00 "$(byte_of 0x52 0x46)"
run kestrel -r "+5V"
says "-r of no switch" 0 "$banner" "Warning! \"+5V\" is not found.\n\n"

# ---- Another chip, one slave that a kernel driver holds, one that is not there

modprobe at24
echo 24c02 0x51 >$adapter/new_device
fill 0x50 adm1026-amd8111 smbus.slave.common
section H3DP-8 | sed 's/^SLAVE=2c$/SLAVE=50/; s/^SLAVE=2d$/SLAVE=51/' >/etc/Kestrel.ini
run kestrel -t
same "a slave that a driver holds: report" $boards/adm1026-amd8111/expect/report.txt $out
sed 's/0x2d/0x51/' $boards/adm1026-amd8111/expect/errors.txt >/tmp/refused
same "a slave that a driver holds: messages" /tmp/refused $err
sed -i 's/^SLAVE=51$/SLAVE=5f/' /etc/Kestrel.ini
run kestrel -t
reports "a slave that is not there" $boards/adm1026-amd8111/expect/report.txt
i2cset -y 0 0x50 0x23 0x40 b
run kestrel -r "Chassis Intrusion"
says "-r by a pulse" 0 "${banner}Done.\n\"Chassis Intrusion\" is reset!\n\n" ""
is "-r by a pulse: the clear register" 0x01 "$(byte_of 0x50 0x00)" # bit 4 set, and cleared again

# ---- A monitor behind an index and a data port: the clock's memory, registers 0x70 and 0x71

fill_clock
cp /tests/ports.ini /etc/Kestrel.ini
ports_report >/tmp/ports
run kestrel -t
reports "a monitor behind ports" /tmp/ports
is "a monitor behind ports: the bank is put back" 80 "$(clock_register 4e)"

# Copies at once, at one index port: no reading takes another copy's register, no bank is left changed.
copies="1 2 3 4"
for copy in $copies; do
  for turn in 1 2 3 4 5; do kestrel -t; done >/tmp/copy$copy 2>&1 &
done
wait
for turn in 1 2 3 4 5; do without_time /tmp/ports; done >/tmp/expected-copy
for copy in $copies; do same "copies at once: reports of number $copy" /tmp/expected-copy /tmp/copy$copy; done
is "copies at once: the bank is put back" 80 "$(clock_register 4e)"

run kestrel -r "Chassis Intrusion"
says "-r behind ports" 0 "${banner}Done.\n\"Chassis Intrusion\" is reset!\n\n" ""
is "-r behind ports: the clear register" 01 "$(clock_register 46)" # bit 7 set, and cleared again

# ---- Without the machine's memory

mv /dev/mem /dev/mem.away
run kestrel -t
is "no /dev/mem: status" 0 "$status"
same "no /dev/mem: report" /tmp/ports $out
is "no /dev/mem: messages" 'Error: open ("/dev/mem")' "$(cat $err)"
mv /dev/mem.away /dev/mem

echo '[System]' >/etc/Kestrel.ini
run kestrel -t
says "a configuration without items" 255 "$banner" "Error: something wrong in file Kestrel.ini.\n"

# ---- A report every second, for minutes

minutes=5
cp /tmp/configuration /etc/Kestrel.ini
kestrel -t -i 1 >/tmp/reports 2>/tmp/complaints &
reporter=$!
sleep 10
resident=$(awk '/VmRSS/ { print $2 }' /proc/$reporter/status)
sleep $((60 * minutes - 10))
grown=$(($(awk '/VmRSS/ { print $2 }' /proc/$reporter/status) - resident))
if [ $grown -le 16 ]; then passed "for $minutes minutes: memory"; else failed "for $minutes minutes: memory" "$grown KiB more"; fi
kill $reporter
wait $reporter
is "for $minutes minutes: ended by SIGTERM" 143 $?
is "for $minutes minutes: messages" "" "$(cat /tmp/complaints)"
count=$(grep -c '^Monitored Item' /tmp/reports)
if [ "$count" -ge $((60 * minutes * 9 / 10)) ] && [ "$count" -le $((60 * minutes)) ]; then
  passed "for $minutes minutes: $count reports"
else
  failed "for $minutes minutes: $count reports"
fi
