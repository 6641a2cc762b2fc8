# A kernel that is locked down, as it is with Secure Boot: no ports, no physical memory.

no_memory='Error: open ("/dev/mem")\n'
is "the kernel" "none [integrity] confidentiality" "$(
  mount -t securityfs securityfs /sys/kernel/security
  cat /sys/kernel/security/lockdown
)"

run kestrel -t
says "a first start" 255 "$banner" "${no_memory}Warn: This is not Brigantine's motherboard!\n"

no_ports="Error: Could not iopl()!\nError: Could not ioperm() Index Register!\nError: Could not ioperm() Data Register!\n"
cp /tests/ports.ini /etc/Kestrel.ini
cat >/tmp/nothing <<REPORT
$(printf "$banner")
Monitored Item            High Limit  Low Limit     Status 
----------------------------------------------------------------------
Fan 1                                         0        N/A   Warning!
+3.3V                           0.00       0.00        N/A   Warning!
System Temperature              0/32                   N/A   Warning!
Chassis Intrusion                                      N/A   Warning!
--------------------------------------------- (the time)
REPORT
run kestrel -t
is "ports: status" 0 "$status"
same "ports: report" /tmp/nothing $out
printf "$no_ports$no_memory" >/tmp/wanted
same "ports: messages" /tmp/wanted $err
run kestrel -r "Chassis Intrusion"
says "-r" 0 "${banner}Failed.\n\"Chassis Intrusion\" is NOT reset!\n\n" "$no_ports$no_memory"

# The controller cannot be found without ports, so no adapter fits.
mknod /dev/i2c-0 c 89 0
section H3DP-8 >/etc/Kestrel.ini
run kestrel -t
says "the SMBus" 255 "$banner" "${no_memory}Error: Cannot find a proper I2C/SMBus device!\n"
