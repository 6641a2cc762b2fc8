# The virtual boards, as any user: the installed program gives the reports that were worked out by hand.
check "kestrel-virtual installs" install "$(package kestrel-virtual)"
check "all boards are there" same "$(ls /usr/share/kestrel/boards)" "$(ls boards)"
check "all boards are listed" same "$(as_user kestrel-virtual --list | cut -d ' ' -f 1)" "$(ls boards)"

report() { as_user kestrel-virtual --strict --clock "2026-01-05 10:00:00" "$1" -t 2>/dev/null; }
for board in boards/*; do
  name=$(basename "$board")
  check "the report of $name" same "$(report "$name")" "$(cat "$board/expect/report.txt")"
done

# What the documents tell an administrator to do, in their order.
check "the examples of the documents" quietly bash -eu /tests/installed-examples.sh
check "its manual page" test -s /usr/share/man/man1/kestrel-virtual.1.gz
for page in kestrel Kestrel.ini AllKestrel.ini kestrel-virtual; do
  check "man $page" test -n "$(man "$page" 2>/dev/null | head -n 1)"
done
