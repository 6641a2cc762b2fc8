# A machine with a management controller behind a keyboard-controller interface; its behaviour is directed by
# commands that kestrel never sends.

direct() { ipmitool raw 0x3e "$@" >/dev/null 2>&1 || failed "directing the BMC: $*"; }

modprobe ipmi_si
modprobe ipmi_devintf
is "the device" "character special file" "$(stat -c %F /dev/ipmi0 2>/dev/null)"

# ---- Every kind, by its GUID: the reports are those of the virtual boards

number=0
for board in "$boards"/bmc-*; do
  name=$(basename "$board")
  direct 1 $number
  number=$((number + 1))
  [ "$name" = bmc-maker ] && continue # behind the maker's driver
  section "$(sed -n 's/^configuration = "\(.*\)".*/\1/p' "$board/board.toml")" >/etc/Kestrel.ini
  run kestrel -t
  [ "$status" = 0 ] || failed "$name: status" "$status"
  cp "$board/expect/report.txt" /tmp/wanted
  if [ "$name" = bmc-peppercon ]; then # the only kind that leaves the board's monitor to the ports; there is none
    for file in /tmp/wanted $out; do
      sed -i '/^Fan 1 /d; /^+12V /d; /^CPU1 Temperature /d' $file
    done
  fi
  same "$name: report" /tmp/wanted $out
  is "$name: messages" "" "$(cat $err)"
done

# ---- What general tools see of it

run ipmitool sensor
is "sensors that ipmitool lists" 17 "$(wc -l <$out)"
is "a fan and its limit" "Fan 1 5400.000 675.000" "$(awk -F ' *\\| *' '/^Fan 1/ { print $1, $2, $6 }' $out)" # 45 * 120, 45 * 15

# ---- A latch of a chip behind it

direct 1 0 # bmc-ao-winbond
section N6DR-6 >/etc/Kestrel.ini
cp "$boards/bmc-ao-winbond/expect/report.txt" /tmp/well

ipmitool raw 0x30 0x91 0x56 0x00 0xca 0x80 >/dev/null 2>&1 || failed "opening the chassis" # slave 0x2B
sed 's|^\(Chassis Intrusion  *\)  Good           $|\1   Bad   Warning!|' /tmp/well >/tmp/wanted
run kestrel -t
reports "an open chassis" /tmp/wanted
run kestrel -r "Chassis Intrusion"
says "-r" 0 "${banner}Done.\n\"Chassis Intrusion\" is reset!\n\n" ""
run kestrel -t
reports "a closed chassis" /tmp/well

# ---- A BMC that answers badly, late or not at all

direct 3 0x30 0x70 0xc9 # what the graphics card is asked by
sed 's|^GPU Temperature .*|GPU Temperature                 0/32                   N/A   Warning!|' /tmp/well >/tmp/wanted
run kestrel -t
reports "a completion code" /tmp/wanted
direct 3 0 0 0

# Of the graphics card's limit, the first command about it. It is read again, and every later command has its own reply.
direct 4 0x30 0x70 81 # a reply may have 80 bytes
run kestrel -t
is "a reply that is too long: status" 0 "$status"
same "a reply that is too long: output" /tmp/well $out
is "a reply that is too long: messages" "Error: ioctl(), errno=90" "$(cat $err)" # EMSGSIZE
run kestrel -t
reports "after a reply that was too long" /tmp/well

seconds() { date +%s; }

# Get Device ID, the GUID and both limits of fan 1 are answered. Its count fails after four seconds, the reading is
# repeated, and all is well.
direct 2 4 1
before=$(seconds)
run kestrel -t
reports "silent for seconds" /tmp/well
took=$(($(seconds) - before))
if [ $took -ge 3 ]; then passed "silent for seconds: it was waited for"; else failed "silent for seconds: $took s"; fi

# A start asks for the device ID, then for the GUID. What the driver makes of silence is a completion code: a BMC that
# was busy once, whose chips are not read over the board's own buses, of which there are none here.
direct 3 0x06 0x01 0xc0
run kestrel -t
reports "busy at the start" /tmp/well
direct 3 0 0 0
direct 2 0 1
run kestrel -t
reports "silent at the start" /tmp/well

# (ipmitool would ask questions of its own, and be kept waiting: it is not used after this.)
direct 2 0 2
run kestrel -v
says "silent at the start: -v" 0 "${banner}kestrel version 2.87(120421)\n" ""
