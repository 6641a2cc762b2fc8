# The window, and its way from a desktop.
check "kestrel-gtk installs" install "$(package kestrel)" "$(package kestrel-gtk)" "$(package kestrel-virtual)"
check "what shows it installs" install xvfb xauth xdotool
check "its manual page" test -s /usr/share/man/man1/kestrel-pkexec.1.gz

in_a_display() { # COMMAND...: the name of its window
  Xvfb :7 -noreset -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
  local server=$!
  timeout 30 bash -c 'until DISPLAY=:7 xdotool getdisplaygeometry 2>/dev/null; do sleep 0.2; done' >/dev/null
  DISPLAY=:7 "$@" >/tmp/window.log 2>&1 &
  local program=$!
  timeout 30 bash -c 'until DISPLAY=:7 xdotool search --name "^Kestrel II$" 2>/dev/null; do sleep 0.2; done' >/dev/null
  local found=$?
  kill $program
  wait $program
  kill $server
  [ $found = 0 ] || { cat /tmp/window.log; false; }
}
check "the window of a virtual board opens" in_a_display kestrel-virtual lively

check "what asks for the password installs" install dbus polkitd
check "pkexec lets the display through" env KESTREL_SCRATCH_ROOT=yes ./pkexec.sh

check "all can be purged" remove purge kestrel kestrel-gtk kestrel-virtual
rm -rf /tmp/first
rm -rf /var/cache/man
left() { find / -xdev -path /proc -prune -o -path /tests -prune -o -path /packages -prune -o -ipath '*kestrel*' -print; }
check "nothing of it is left" same "$(left)" ""
