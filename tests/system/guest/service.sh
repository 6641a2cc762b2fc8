# A machine with systemd, Debian's, which has the same board: the service, from its first start on, and what it may not
# do.

settings=/etc/systemd/system/kestrel.service.d
mkdir -p $settings

set_up() { # LINE...: an administrator's settings, and no others
  printf '%s\n' "$@" >$settings/local.conf
  systemctl daemon-reload
}

service() { systemctl show -P "$1" kestrel; }

# within SECONDS COMMAND...: until it succeeds.
within() {
  local tries=$(($1 * 2))
  shift
  until "$@"; do
    [ $((tries -= 1)) -gt 0 ] || return 1
    sleep 0.5
  done
}

# What the service has printed since its last start.
printed() {
  journalctl -q -o cat -t kestrel _SYSTEMD_INVOCATION_ID="$(service InvocationID)"
}

printed_reports() { printed | grep -c '^-\{45\} '; }

has_printed() { [ "$(printed_reports)" -ge "$1" ]; }

shows() { [ "$(service "$1")" = "$2" ]; } # PROPERTY VALUE

# start_anew: as if a long time had passed between two starts.
start_anew() {
  systemctl reset-failed kestrel 2>/dev/null
  systemctl restart kestrel 2>/dev/null
}

# The journal leaves out empty lines, and blanks at the end of others.
in_journal() { sed 's/ *$//; /^$/d' "$1"; }

# journal_reports ABOUT FILE: the service starts, and its first report is that.
journal_reports() {
  start_anew
  within 20 has_printed 1 || failed "$1: no report within 20 s"
  printed | sed '/^-\{45\} /q' >/tmp/printed
  in_journal "$2" >/tmp/report-in-journal
  same "$1" /tmp/report-in-journal /tmp/printed
}

# ---- As it is installed

systemctl is-system-running --wait >/dev/null # drivers that the machine loads by itself are there then
is "installed: enabled" disabled "$(systemctl is-enabled kestrel)"
is "installed: running" inactive "$(systemctl is-active kestrel)"
is "the unit: systemd-analyze verify" "" "$(systemd-analyze verify --man=no kestrel.service 2>&1)"
is "the unit: systemd-analyze security" 1.3 \
  "$(systemd-analyze security --no-pager kestrel.service | sed -n 's/.*exposure level for kestrel.service: \([0-9.]*\).*/\1/p')"
is "at boot: the driver of the SMBus and i2c-dev are loaded" "i2c_dev i2c_i801" \
  "$(cut -d ' ' -f 1 /proc/modules | grep '^i2c_[di]' | sort | tr '\n' ' ' | sed 's/ $//')"

# ---- A first start, on the SMBus: the service loads i2c-dev, but not what is blacklisted

fill 0x52 w83793g-i801 smbus.slave.common smbus.slave.bank0 smbus.slave.bank2
rmmod ipmi_si ipmi_devintf ipmi_msghandler i2c-dev
printf 'blacklist %s\n' ipmi_si ipmi_devintf >/etc/modprobe.d/no-bmc.conf
sed 's/^SLAVE=2f$/SLAVE=52/' /tests/AllKestrel.ini >/etc/AllKestrel.ini

hidden='PECI Agent4 Temperature\|Chassis Fan 1'
sed "/^\($hidden\) /d" $boards/w83793g-i801/expect/report.txt >/tmp/smbus
{
  printf "$banner"
  echo ">> Disable monitoring of non-activated item: Chassis Fan 1"
  echo ">> Disable monitoring of non-activated item: PECI Agent4 Temperature"
  sed "1,2d; /^\($hidden\) /d" $boards/w83793g-i801/expect/report.txt
} >/tmp/first
journal_reports "the first start" /tmp/first
is "the first start: drivers" "i2c_dev i2c_i801 i2c_smbus" \
  "$(cut -d ' ' -f 1 /proc/modules | sort | tr '\n' ' ' | sed 's/ $//')"
is "the first start: a configuration" "644 root" "$(stat -c '%a %U' /etc/Kestrel.ini)"
is "the first start: what it hides" "Chassis Fan 1,CPU2 Core B Temperature," \
  "$(awk -F = '/^ITEM_NAME/ { name = $2 } /^MONITOR=FALSE/ { printf "%s,", name }' /etc/Kestrel.ini)"
within 20 has_printed 2 || failed "the first start: no report of the service within 20 s"
printed | sed '1,/^-\{45\} /d' >/tmp/printed
in_journal /tmp/smbus >/tmp/report-in-journal
same "the first start: the service goes on by itself" /tmp/report-in-journal /tmp/printed
is "the command" "/usr/sbin/kestrel -t -i 60" "$(tr '\0' ' ' </proc/"$(service MainPID)"/cmdline | sed 's/ $//')"
run kestrel -t
reports "beside it, by hand" /tmp/smbus
is "the file of turns" "755 600" "$(stat -c %a /run/kestrel /run/kestrel/turn | xargs)"

# ---- The interval, and the end

set_up '[Service]' Environment=INTERVAL=1 RestartSec=100ms
start_anew
if within 30 has_printed 4; then passed "another interval"; else failed "another interval" "$(printed_reports) reports in 30 s"; fi
run kestrel -t
reports "beside it, every second" /tmp/smbus

waits() { printed | grep -q '^Warning: Another copy of this program is using the hardware; waiting for it.$'; }

hold-turn & # like a copy that hangs
within 10 waits || failed "its turn: it does not wait"
before=$(date +%s%3N)
systemctl stop kestrel
took=$(($(date +%s%3N) - before))
if [ $took -lt 5000 ]; then passed "the end"; else failed "the end" "after $took ms"; fi
is "the end: result" "inactive success" "$(service ActiveState) $(service Result)"
is "the end: the file of turns stays" "755 600" "$(stat -c %a /run/kestrel /run/kestrel/turn | xargs)"
kill -KILL $! # the kernel gives its turn back

start_anew
first=$(service MainPID)
kill -KILL "$first"
if within 10 shows NRestarts 1; then passed "killed: it is started again"; else failed "killed: it stays away"; fi

# ---- Ports, then the BMC

cp /etc/Kestrel.ini /tmp/smbus.ini
fill_clock
ports_report >/tmp/ports
cp /tests/ports.ini /etc/Kestrel.ini
journal_reports "ports" /tmp/ports

rm /etc/modprobe.d/no-bmc.conf
section N6DR-6 >/etc/Kestrel.ini
journal_reports "a BMC, whose drivers are loaded" $boards/bmc-ao-winbond/expect/report.txt

# ---- What a process in its place may do, and what the same may do outside

cp /tmp/smbus.ini /etc/Kestrel.ini
cat >/tmp/may <<MAY
the machine's memory: done
the SMBus: done
dmidecode in a pipe: done
its own directory: done
MAY
cat >/tmp/may-not <<MAY
the program directory
the configuration
root's home
a kernel setting
another device
the kernel's messages
a device file
a driver
another process
a mount
a name space
another user
a network
the system log
MAY
run sh /tests/sandbox.sh
sed 's/$/: done/' /tmp/may-not | cat /tmp/may - >/tmp/wanted
same "outside" /tmp/wanted $out
rmmod at24
given_up=$(service StartLimitBurst)
set_up '[Unit]' StartLimitBurst=2 \
  '[Service]' Type=oneshot RemainAfterExit=yes ExecStart= 'ExecStart=/bin/sh /tests/sandbox.sh' RestartSec=100ms
start_anew
printed >/tmp/printed
sed 's/$/: refused/' /tmp/may-not | cat /tmp/may - >/tmp/wanted
same "in its place" /tmp/wanted /tmp/printed

# ---- What never works is given up, here after the second time

rm /etc/Kestrel.ini /etc/AllKestrel.ini
start_anew && failed "no master file: systemctl succeeds"
within 30 shows SubState failed || failed "no master file: $(service SubState)"
is "no master file: starts" "2, 10 without our setting" \
  "$(journalctl -q -o cat -t kestrel | grep -c '^Error: Cannot create the initial file for Kestrel!$'), $given_up without our setting"
systemctl reset-failed kestrel

is "units that failed" "" "$(systemctl --failed --plain --no-legend)"
