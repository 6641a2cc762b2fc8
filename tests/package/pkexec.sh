#!/bin/sh
# pkexec.sh: starts the installed kestrel-pkexec as an ordinary user, through the real pkexec and polkitd, and looks at
# what reaches the program. Run as root in a clean root that is thrown away, with kestrel-gtk, polkitd, pkexec and dbus
# installed and /proc mounted. It puts something else in the program's place, so it needs permission to:
#   KESTREL_SCRATCH_ROOT=yes ./pkexec.sh
# What it made is gone at its end, and the program is back.
set -eu
[ "${KESTREL_SCRATCH_ROOT-}" = yes ] || { echo "pkexec.sh: not in a scratch root" >&2; exit 2; }

wrapper=$(command -v kestrel-pkexec)
program=$(sed -n 's/^program=//p' "$wrapper")
policy=/usr/share/polkit-1/actions/com.brigantine.kestrel.policy
rules=/etc/polkit-1/rules.d/00-kestrel-test.rules
scratch=$(mktemp -d)
[ -x "$program" ] && [ -f "$policy" ]

finish() {
    status=$?
    [ -z "${polkitd_pid-}" ] || { kill "$polkitd_pid" && wait "$polkitd_pid"; } 2>/dev/null || true
    [ ! -s "$scratch/bus" ] || kill "$(cat "$scratch/bus")"
    [ ! -e "$scratch/program" ] || mv "$scratch/program" "$program"
    [ ! -e "$scratch/policy" ] || mv "$scratch/policy" "$policy"
    rm -rf "$scratch" "$rules" /run/dbus/system_bus_socket
    exit "$status"
}
trap finish EXIT

# until_so COMMAND...: waits for it to succeed, for half a minute at most.
until_so() {
    for _ in $(seq 300); do
        ! "$@" >/dev/null 2>&1 || return 0
        sleep 0.1
    done
    echo "pkexec.sh: in vain: $*" >&2
    return 1
}
action_known() { pkaction --action-id com.brigantine.kestrel.run; }
action_unknown() { pkaction && ! action_known; }

# as_user NAME=VALUE... [ARGUMENT...]: kestrel-pkexec in such an environment, as a user without rights.
as_user() {
    (cd / && setpriv --reuid nobody --regid nogroup --clear-groups env -i PATH=/usr/local/bin:/usr/bin:/bin HOME=/tmp \
        GTK_MODULES=/tmp/evil.so LD_LIBRARY_PATH=/tmp BASH_ENV=/tmp/evil "$@") >"$scratch/out" 2>"$scratch/err" </dev/null
}

failures=0
# expect WHAT TEXT: the last run printed that, to the byte.
expect() {
    if [ "$(cat "$scratch/out")" = "$2" ]; then
        echo "ok: $1"
    else
        echo "FAILED: $1"
        printf 'expected:\n%s\ngot:\n' "$2"
        cat "$scratch/out" "$scratch/err"
        failures=$((failures + 1))
    fi
}

mv "$program" "$scratch/program"
cat >"$program" <<'PROGRAM'
#!/bin/sh
id -u
for word; do printf '<%s>\n' "$word"; done
env | grep -v '^PWD=' | LC_ALL=C sort
PROGRAM
chmod 755 "$program"

mkdir -p /run/dbus "$(dirname "$rules")"
dbus-daemon --system --nopidfile --fork --print-pid >"$scratch/bus"
/usr/lib/polkit-1/polkitd --no-debug >"$scratch/polkitd" 2>&1 &
polkitd_pid=$!
until_so action_known

status=0
as_user DISPLAY=:7 kestrel-pkexec || status=$?
[ "$status" = 127 ] || { echo "status $status instead of 127" >>"$scratch/out"; }
expect "nobody is let in without a password" ""

cat >"$rules" <<'RULES'
polkit.addRule(function(action, subject) {
    if (action.id == "com.brigantine.kestrel.run" || action.id == "org.freedesktop.policykit.exec")
        return polkit.Result.YES;
});
RULES
rest="HOME=/root
LOGNAME=root
PATH=/usr/sbin:/usr/bin:/sbin:/bin:/root/bin
PKEXEC_UID=65534
USER=root"
let_in() { as_user DISPLAY=:7 kestrel-pkexec -t; }
until_so let_in

# shellcheck disable=SC2016 # the blanks and signs are what is tested
as_user DISPLAY=:7 XAUTHORITY=/run/user/7/key kestrel-pkexec -r 'a "b"; $(id)' -i '' || true
expect "display, key and arguments arrive, the rest of the environment does not" "0
<-r>
<a \"b\"; \$(id)>
<-i>
<>
DISPLAY=:7
$rest
XAUTHORITY=/run/user/7/key"

as_user DISPLAY=:7 kestrel-pkexec || true
expect "without XAUTHORITY the key is that of the user's home" "0
DISPLAY=:7
$rest
XAUTHORITY=/tmp/.Xauthority"

mv "$policy" "$scratch/policy"
until_so action_unknown
as_user DISPLAY=:7 XAUTHORITY=/run/user/7/key kestrel-pkexec || true
expect "it is the policy that lets them through" "0
$rest"
[ "$failures" = 0 ]
