# What a process may do. Run in the service's place and by hand: "WHAT: done" or "WHAT: refused" in lines.

try() { # WHAT COMMAND...
  what=$1
  shift
  if "$@" >/dev/null 2>&1; then echo "$what: done"; else echo "$what: refused"; fi
}

write() { echo -1 >"$1"; }

base_board() { dmidecode | grep -i 'DMI type 2,' -A 6 | grep Product | sed 's/Product Name: //g' | grep -q R2M-D4; }

try "the machine's memory" dd if=/dev/mem of=/dev/null bs=16 skip=61440 count=1
try "the SMBus" i2cget -y 0 0x52 0x00 b
try "dmidecode in a pipe" base_board
try "its own directory" touch /run/kestrel/new
try "the program directory" touch /usr/sbin/new
try "the configuration" touch /etc/Kestrel.ini
try "root's home" ls /root
try "a kernel setting" write /proc/sys/kernel/panic
try "another device" dd if=/dev/port of=/dev/null bs=1 skip=128 count=1
try "the kernel's messages" dd if=/dev/kmsg of=/dev/null iflag=nonblock count=1
try "a device file" mknod /run/kestrel/disk b 8 0
try "a driver" modprobe at24
try "another process" ls /proc/1/fd
try "a mount" mount -t tmpfs none /mnt
try "a name space" unshare -U true
try "another user" setpriv --reuid=65534 true
try "a network" busybox ifconfig lo
try "the system log" logger no
rm -f /run/kestrel/new /run/kestrel/disk /usr/sbin/new
umount /mnt 2>/dev/null
true
