# An upgrade takes new master files, but not the administrator's, and never touches the board's configuration.
kestrel-virtual --keep /tmp/first w83627hf -v >/dev/null # its configuration: a chip behind ports
sed 's/^POLLING=.*/POLLING=7/' /tmp/first/etc/Kestrel.ini >/etc/Kestrel.ini
cp /tmp/first/etc/Kestrel.ini /etc/Kestrel.ini.old
chmod 0640 /etc/Kestrel.ini
touch -d 2026-01-01 /etc/Kestrel.ini
echo ";; the administrator's" >>/etc/OldRevMB.ini
state() { stat -c '%a %Y %i' /etc/Kestrel.ini /etc/Kestrel.ini.old; cksum /etc/Kestrel.ini /etc/Kestrel.ini.old; }
before=$(state)

# Ports are not granted in here: every reading fails, and the report shows it.
readings_fail() { [ "$(kestrel -t 2>/dev/null | grep -c 'N/A')" -gt 5 ]; }
check "without ports readings are not made up" readings_fail

check "the upgrade" install "$(later kestrel)" "$(later kestrel-virtual)"
check "the configuration stays as it is" same "$(state)" "$before"
check "a master file that nobody changed is new" same "$(tail -n 1 /etc/AllKestrel.ini)" ";; later"
check "one that the administrator changed stays" same "$(tail -n 1 /etc/OldRevMB.ini)" ";; the administrator's"
check "the new one lies beside it" test -e /etc/OldRevMB.ini.dpkg-dist
check "kestrel works" same "$(kestrel -v | tail -n 1)" "kestrel version 2.87(120421)"
