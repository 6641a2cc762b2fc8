# Removing keeps what is the administrator's; purging leaves nothing.
check "it can be removed" remove remove kestrel
check "kestrel-virtual went with it" absent /usr/bin/kestrel-virtual
check "the program is gone" absent /usr/sbin/kestrel
check "the configuration stays" same "$(state)" "$before"
check "the master files stay" test -s /etc/AllKestrel.ini
check "it can be installed again" install "$(package kestrel)"
check "with the configuration of before" same "$(state)" "$before"

touch /etc/Kestrel.ini.new /etc/Kestrel.ini.old.new # as a save leaves them that is killed
check "it can be purged" remove purge kestrel kestrel-virtual
check "with what came with it" remove autoremove --purge
all_files >/tmp/after
check "nothing is left" diff /tmp/before /tmp/after
