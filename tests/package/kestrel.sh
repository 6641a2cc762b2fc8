# The program alone, from the package file: it brings nothing graphical, starts nothing and makes no files.
check "man installs" install man-db
all_files >/tmp/before

check "kestrel installs" install "$(package kestrel)"
check "no graphical library came" absent /usr/lib/x86_64-linux-gnu/libgtk-x11-2.0.so.0
check "there is no window without kestrel-gtk" absent /usr/lib/kestrel
check "no configuration is made by installing" absent /etc/Kestrel.ini
for master in AllKestrel OldRevMB OldRevMB_2 OldRevMB_3; do
  check "/etc/$master.ini is a conffile" grep -qx "/etc/$master.ini" /var/lib/dpkg/info/kestrel.conffiles
done
check "the service is there" test -s /lib/systemd/system/kestrel.service
check "the service is not enabled" same "$(find /etc/systemd -name 'kestrel*')" ""
for page in man8/kestrel.8 man5/Kestrel.ini.5 man5/AllKestrel.ini.5; do
  check "$page is there" test -s "/usr/share/man/$page.gz"
done
links() { grep -oh '](\([a-z-]*\.md\)' /usr/share/doc/kestrel/*.md | cut -c 3- | sort -u; }
for name in $(links); do
  check "the document $name, which others name" test -s "/usr/share/doc/kestrel/$name"
done
check "documents name each other" test "$(links | wc -l)" -ge 5
check "the version" same "$(kestrel -v | tail -n 1)" "kestrel version 2.87(120421)"
check "another user gets the options" same "$(as_user kestrel -h | sed -n 3p)" "Usage:"
check "another user gets nothing more" same "$(as_user kestrel -t 2>&1 | tail -n 1; echo "${PIPESTATUS[0]}")" \
  $'Error: Can only be run as root.\n255'
check "no board of ours" same "$(kestrel -t 2>&1 | tail -n 1; echo "${PIPESTATUS[0]}")" \
  $'Warn: This is not Brigantine\'s motherboard!\n255'
check "the window says what is missing" same "$(as_user kestrel 2>&1 | tail -n 1)" "Error: Can only be run as root."
