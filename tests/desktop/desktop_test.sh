#!/bin/bash
# desktop_test.sh SOURCE_DIR BUILD_DIR: the files of the desktop are valid, and kestrel-pkexec starts what it should.
# The wrapper runs with stand-ins for pkexec, the program and `id`, so that no password is asked for and nothing is
# started.
set -euo pipefail
desktop=$1/data/desktop
scratch=$(mktemp -d "$2/desktop_test.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
# shellcheck source=tests/support/check.sh
. "$(dirname "$0")/../support/check.sh"

# silent WHAT COMMAND...: it succeeds and prints nothing.
silent() {
  local what=$1 output status=0
  shift
  output=$("$@" 2>&1) || status=$?
  check "$what" "status 0" "status $status${output:+: $output}"
}

# ---- The files

silent "the desktop entry" desktop-file-validate --warn-kde "$desktop/com.brigantine.kestrel.desktop"
appstream=$(appstreamcli validate --no-net --strict --no-color "$desktop/com.brigantine.kestrel.metainfo.xml" 2>&1) || true
check "the metainfo, by appstreamcli" "✔ Validation was successful." "$appstream"

program=$scratch/sbin/kestrel
filled() { sed "s|@KESTREL_PROGRAM@|$program|" "$desktop/$1.in" >"$scratch/$1"; }
filled com.brigantine.kestrel.policy
filled kestrel-pkexec
chmod 755 "$scratch/kestrel-pkexec"
dtd=/usr/share/polkit-1/policyconfig-1.dtd # polkit's; where it is not, the test of the packages asks polkit itself
[ ! -e $dtd ] || silent "the policy, by its DTD" xmllint --nonet --noout --dtdvalid $dtd "$scratch/com.brigantine.kestrel.policy"
silent "the wrapper, by shellcheck" shellcheck "$scratch/kestrel-pkexec"
silent "the wrapper, by dash" dash -n "$scratch/kestrel-pkexec"

# One name in all of them.
check "the entry starts the wrapper" "Exec=kestrel-pkexec" "$(grep ^Exec= "$desktop/com.brigantine.kestrel.desktop")"
check "the metainfo launches the entry" com.brigantine.kestrel.desktop \
  "$(xmllint --xpath 'string(/component/launchable[@type="desktop-id"])' "$desktop/com.brigantine.kestrel.metainfo.xml")"
check "the metainfo has this release" "$(sed -n 's/.*KESTREL_VERSION.*"\(.*\)".*/\1/p' "$1/src/config/version.h")" \
  "$(xmllint --xpath 'string(/component/releases/release[1]/@version)' "$desktop/com.brigantine.kestrel.metainfo.xml")"
check "the policy is for the program that the wrapper starts" "$program" "$(xmllint --nonet \
  --xpath 'string(//annotate[@key="org.freedesktop.policykit.exec.path"])' "$scratch/com.brigantine.kestrel.policy")"

# ---- The wrapper

mkdir "$scratch/bin" "$scratch/sbin"
# stand_in FILE: prints its name, the display, the key and its arguments, and ends with 7.
stand_in() {
  cat >"$1" <<'STAND_IN'
#!/bin/sh
printf '%s' "${0##*/} ${DISPLAY-none} ${XAUTHORITY-none}"
for word; do printf ' <%s>' "$word"; done
exit 7
STAND_IN
  chmod 755 "$1"
}
stand_in "$program"
stand_in "$scratch/bin/pkexec"
# shellcheck disable=SC2016 # the stand-in expands it
printf '#!/bin/sh\necho "$TEST_UID"\n' >"$scratch/bin/id"
chmod 755 "$scratch/bin/id"

# run UID NAME=VALUE... -- ARGUMENT...: what the wrapper printed, in such an environment, and its status.
run() {
  local environment=(PATH="$scratch/bin" TEST_UID="$1") status=0 output
  shift
  while [ "$1" != -- ]; do environment+=("$1"); shift; done
  shift
  output=$(env -i "${environment[@]}" "$scratch/kestrel-pkexec" "$@" 2>&1) || status=$?
  printf '%s = %d' "$output" "$status"
}

check "a display and its key" "pkexec :0 /run/user/1000/key <$program> = 7" \
  "$(run 1000 DISPLAY=:0 XAUTHORITY=/run/user/1000/key --)"
check "a display without a key" "pkexec :0 none <$program> = 7" "$(run 1000 DISPLAY=:0 --)"
check "X in a Wayland session" "pkexec :1 none <$program> = 7" "$(run 1000 WAYLAND_DISPLAY=wayland-0 DISPLAY=:1 --)"

no_display="kestrel-pkexec: there is no X display (DISPLAY is not set); -t prints the report without one = 255"
check "no display" "$no_display" "$(run 1000 --)"
check "an empty display" "$no_display" "$(run 1000 DISPLAY= --)"
check "a period alone is the window" "$no_display" "$(run 1000 -- -i 5)"
check "-M alone is the window" "$no_display" "$(run 1000 -- -M)"
check "a report needs no display" "pkexec none none <$program> <-t> <-i> <5> = 7" "$(run 1000 -- -t -i 5)"
check "nor if the period comes first" "pkexec none none <$program> <-i> <5> <-text> = 7" "$(run 1000 -- -i 5 -text)"
check "nor a reset" "pkexec none none <$program> <-r> <Chassis Intrusion> = 7" "$(run 1000 -- -r 'Chassis Intrusion')"

check "arguments stay what they are" "pkexec :0 none <$program> <-r> <a  \"b\"; \$(id) 'c' *> <> <--user> <-- x> = 7" \
  "$(run 1000 DISPLAY=:0 -- -r "a  \"b\"; \$(id) 'c' *" '' --user '-- x')"
check "no option reaches pkexec" "kestrel none none <--user> <joe> = 7" "$(run 1000 -- --user joe)"

for page in -v -h --help -x word ""; do
  check "'$page' wants no password" "kestrel none none <$page> = 7" "$(run 1000 -- "$page")"
done

check "root is not asked" "kestrel :0 none <-i> <5> = 7" "$(run 0 DISPLAY=:0 -- -i 5)"
check "root without a display: the program says so itself" "kestrel none none = 7" "$(run 0 --)"

rm "$scratch/bin/pkexec"
no_pkexec="kestrel-pkexec: pkexec is not installed; run $program as root instead = 255"
check "no pkexec" "$no_pkexec" "$(run 1000 DISPLAY=:0 --)"
check "no pkexec, a report" "$no_pkexec" "$(run 1000 -- -t)"
check "no pkexec, a page" "kestrel none none <-v> = 7" "$(run 1000 -- -v)"
check "no pkexec, root" "kestrel none none <-t> = 7" "$(run 0 -- -t)"

[ "$failures" = 0 ]
