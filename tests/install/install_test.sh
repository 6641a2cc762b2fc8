#!/bin/bash
# install_test.sh SOURCE_DIR BUILD_DIR: what `cmake --install` puts where, with which modes; that it runs from there;
# and that a second installation leaves the administrator's files alone.
set -euo pipefail
source=$1
build=$2
scratch=$(mktemp -d "$build/install_test.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
# shellcheck source=tests/support/check.sh
. "$(dirname "$0")/../support/check.sh"

install() { DESTDIR=$scratch cmake --install "$build" "$@" >"$scratch/log"; }

# Beside the boards and what they share, which are as in the tree.
everything() {
  (cd "$scratch" && find . -type f -not -path './log' -not -path '*/share/kestrel/boards/*' -not -path '*/share/kestrel/shared/*' \
    -printf '%m %P\n' | LC_ALL=C sort -k 2)
}
files_below() { # PREFIX
  LC_ALL=C sort -k 2 <<FILES
644 etc/AllKestrel.ini
644 etc/OldRevMB.ini
644 etc/OldRevMB_2.ini
644 etc/OldRevMB_3.ini
644 usr/share/polkit-1/actions/com.brigantine.kestrel.policy
755 $1/bin/kestrel-pkexec
755 $1/bin/kestrel-virtual
644 $1/lib/kestrel/kestrel-gtk.so
644 $1/lib/modules-load.d/kestrel.conf
644 $1/lib/systemd/system/kestrel.service
755 $1/sbin/kestrel
644 $1/share/applications/com.brigantine.kestrel.desktop
644 $1/share/bash-completion/completions/kestrel
644 $1/share/bash-completion/completions/kestrel-virtual
644 $1/share/icons/hicolor/scalable/apps/kestrel.svg
644 $1/share/kestrel/data/AllKestrel.ini
644 $1/share/kestrel/data/OldRevMB.ini
644 $1/share/kestrel/data/OldRevMB_2.ini
644 $1/share/kestrel/data/OldRevMB_3.ini
644 $1/share/man/man1/kestrel-pkexec.1
644 $1/share/man/man1/kestrel-virtual.1
644 $1/share/man/man5/AllKestrel.ini.5
644 $1/share/man/man5/Kestrel.ini.5
644 $1/share/man/man8/kestrel.8
644 $1/share/metainfo/com.brigantine.kestrel.metainfo.xml
644 $1/share/pixmaps/kestrel/idr_main.ico
FILES
}

install
check "the files of an installation" "$(files_below usr/local)" "$(everything)"
check "the boards" "" "$(diff -r "$source/virtualboard/boards" "$scratch/usr/local/share/kestrel/boards" 2>&1)"
check "what they share" "" "$(diff -r "$source/virtualboard/shared" "$scratch/usr/local/share/kestrel/shared" 2>&1)"
for place in bin/kestrel-pkexec:program= ../share/polkit-1/actions/com.brigantine.kestrel.policy:exec.path \
  lib/systemd/system/kestrel.service:ExecStart=; do
  check "${place%:*} names the program" "1" "$(grep "${place#*:}" "$scratch/usr/local/${place%:*}" | grep -c /usr/local/sbin/kestrel)"
done

# Neither the source tree nor the build is needed any more.
mv "$scratch/usr" "$scratch/moved"
check "it runs where it stands" "$(cat "$source/virtualboard/boards/first-start/expect/report.txt")" \
  "$("$scratch/moved/local/bin/kestrel-virtual" --clock "2026-01-05 10:00:00" first-start -t)"
if grep -q '^CMAKE_BUILD_TYPE:STRING=Release$' "$build/CMakeCache.txt"; then # others name sources for who debugs them
  check "nothing in it names the tree" "" "$(grep -rl -e "$source" "$scratch/moved" || true)"
fi
mv "$scratch/moved" "$scratch/usr"

echo ";; the administrator's" >>"$scratch/etc/OldRevMB.ini"
rm "$scratch/etc/OldRevMB_2.ini"
install
check "what is changed stays" ";; the administrator's" "$(tail -n 1 "$scratch/etc/OldRevMB.ini")"
check "and is named" "1" "$(grep -c "Kept: $scratch/etc/OldRevMB.ini" "$scratch/log")"
check "what is missing comes" "$(cat "$source/data/OldRevMB_2.ini")" "$(cat "$scratch/etc/OldRevMB_2.ini")"

rm -r "$scratch/etc" "$scratch/usr"
install --prefix /opt/kestrel
check "with another prefix" "$(files_below opt/kestrel)" "$(everything)"
check "it is named there" "program=/opt/kestrel/sbin/kestrel" "$(grep ^program= "$scratch/opt/kestrel/bin/kestrel-pkexec")"

[ $failures = 0 ]
