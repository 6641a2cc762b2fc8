#!/usr/bin/env bash
# completion_test.sh SOURCE_DIR BUILD_DIR: what Bash offers on the tab key after kestrel and kestrel-virtual. Each case
# runs in a clean Bash that stops at unset variables; what it prints on standard error counts as offered.
# shellcheck disable=SC1003,SC2016 # quotes and dollars are what it is about
set -euo pipefail
completion=$(cd "$1/data/completion" && pwd)
boards=$(cd "$1/virtualboard/boards" && pwd)
build=$(cd "$2" && pwd)
scratch=$(mktemp -d "$build/completion_test.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
# shellcheck source=tests/support/check.sh
. "$(dirname "$0")/../support/check.sh"
cd "$scratch"

# clean_bash COMMANDS WORD...: the last WORD is the one after which the tab key was pressed.
clean_bash() {
  env -i PATH="$PATH" HOME="$scratch/home" LC_ALL=C.UTF-8 bash --noprofile --norc -u -c '
    commands=$1
    shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    eval "$commands"
    [ ${#COMPREPLY[@]} = 0 ] || printf "%s\n" "${COMPREPLY[@]}"' bash "$@" 2>&1
}

# kestrel_offers WHAT EXPECTED CONFIGURATION WORD...
kestrel_offers() {
  local what=$1 expected=$2 configuration=$3
  shift 3
  check "$what" "$expected" "$(clean_bash ". '$completion/kestrel'; _kestrel_complete '$configuration'" kestrel "$@")"
}

# virtual_offers WHAT EXPECTED PROGRAM WORD...: in any order, as readline sorts them.
virtual_offers() {
  local what=$1 expected=$2
  shift 2
  check "$what" "$(sort <<<"$expected")" "$(clean_bash ". '$completion/kestrel-virtual'; _kestrel_virtual" "$@" | sort)"
}

lines() { printf '%s\n' "$@"; }

# ---- Loading

check "kestrel registers itself" "complete -F _kestrel kestrel" "$(clean_bash ". '$completion/kestrel'; complete -p kestrel" x)"
check "kestrel-virtual registers itself" "complete -F _kestrel_virtual kestrel-virtual" \
  "$(clean_bash ". '$completion/kestrel-virtual'; complete -p kestrel-virtual" x)"
check "kestrel-virtual, by its name alone" "complete -F _kestrel_virtual kestrel-virtual" \
  "$(cd "$completion" && clean_bash ". ./kestrel-virtual; complete -p kestrel-virtual" x)"
check "the installed configuration" "_kestrel_complete /etc/Kestrel.ini" \
  "$(clean_bash ". '$completion/kestrel'; declare -f _kestrel" x | sed -n 's/^ *\(_kestrel_complete.*\)/\1/p')"
for file in kestrel kestrel-virtual; do
  check "$file, by shellcheck" "" "$(shellcheck "$completion/$file" 2>&1)"
done

# ---- Options of kestrel

touch none.ini
kestrel_offers "all options" "$(lines -t -i -r -h -v)" none.ini ''
kestrel_offers "one option" "-r" none.ini -r
kestrel_offers "options behind options" "$(lines -t -i -r -h -v)" none.ini -t -i 5 -
kestrel_offers "no such option" "" none.ini -x
kestrel_offers "a period" "" none.ini -t -i ''
kestrel_offers "a switch that is called as an option" "$(lines -t -i -r -h -v)" none.ini -r -r ''
usage=$("$build/virtualboard/kestrel-virtual" w83627hf -h | grep -o ' -[a-z]' | tr -d ' ' | sort -u)
check "the options of the usage page" "$usage" "$(clean_bash ". '$completion/kestrel'; _kestrel_complete none.ini" kestrel - | sort)"

# ---- Switches

cat >switches.ini <<'INI'
[System]
ITEM_NAME=Not an item
ITEM_CAT=SWITCH

[Item]
ITEM_NAME=CPU Fan
ITEM_CAT=FAN

[Item]
ITEM_NAME=Chassis Intrusion
ITEM_CAT=SWITCH
MONITOR=TRUE

[iTEM]
item_cat=Switch
item_name=Power Supply 1 Failure

[Item]
ITEM_NAME=Cut by a blank line

ITEM_CAT=SWITCH

[Item]
ITEM_NAME=Cut by a word
note
ITEM_CAT=SWITCH
[Item]
ITEM_NAME=First
ITEM_NAME=Power Supply 2 Failure
ITEM_CAT=FAN
ITEM_CAT=SWITCH
[Item] 
ITEM_NAME=Behind a head with a blank
ITEM_CAT=SWITCH

[Item]
ITEM_NAME=
ITEM_CAT=SWITCH

[Parameter]
ITEM_NAME=Not an item
ITEM_CAT=SWITCH
INI
kestrel_offers "all switches" "$(lines 'Chassis\ Intrusion' 'Power\ Supply\ 1\ Failure' 'Power\ Supply\ 2\ Failure')" \
  switches.ini -r ''
kestrel_offers "a switch" 'Chassis\ Intrusion' switches.ini -r C
kestrel_offers "a switch, whatever the case" 'Chassis\ Intrusion' switches.ini -r chAS
kestrel_offers "a switch behind a blank" 'Power\ Supply\ 2\ Failure' switches.ini -t -r 'Power\ Supply\ 2'
kestrel_offers "a switch in double quotes" 'Power Supply 2 Failure' switches.ini -r '"power supply 2'
kestrel_offers "a switch in single quotes" 'Power Supply 2 Failure' switches.ini -r "'power supply 2"
kestrel_offers "only the letter of the option counts" 'Chassis\ Intrusion' switches.ini -reset C
kestrel_offers "no switch" "" switches.ini -r 'CPU'
kestrel_offers "a fan" "" switches.ini -r 'cpu\ fan'

cat >odd.ini <<'INI'
[Item]
ITEM_NAME=A "b" 'c'
ITEM_CAT=SWITCH

[Item]
ITEM_NAME=D $HOME `touch ran` $(touch ran) \e!
ITEM_CAT=SWITCH

[Item]
ITEM_NAME=F: g=h
ITEM_CAT=SWITCH

[Item]
ITEM_NAME=*
ITEM_CAT=SWITCH
INI
kestrel_offers "quotes" 'A\ \"b\"\ \'\''c\'\' odd.ini -r a
kestrel_offers "quotes in double quotes" 'A \"b\" '\''c'\' odd.ini -r '"a'
kestrel_offers "quotes in single quotes, the last one closed" "A \"b\" '\\''c'\\'''" odd.ini -r "'a"
kestrel_offers "dollars" 'D\ \$HOME\ \`touch\ ran\`\ \$\(touch\ ran\)\ \\e\!' odd.ini -r d
kestrel_offers "dollars in double quotes, the last one closed" 'D \$HOME \`touch ran\` \$(touch ran) \\e"\!""' odd.ini -r '"d'
kestrel_offers "dollars in single quotes" 'D $HOME `touch ran` $(touch ran) \e!' odd.ini -r "'d"
kestrel_offers "dollars behind dollars" 'D\ \$HOME\ \`touch\ ran\`\ \$\(touch\ ran\)\ \\e\!' odd.ini -r 'D\ \$HOME\ \`'
kestrel_offers "an order as a word" "" odd.ini -r '$(touch ran)'
check "an order was run" "" "$(test ! -e ran || echo ran)"
kestrel_offers "a colon" 'F:\ g=h' odd.ini -r F
kestrel_offers "behind a colon, which cuts the word" '\ g=h' odd.ini -r F :
kestrel_offers "behind an equals sign, which cuts it again" 'h' odd.ini -r F : '\ g' =
kestrel_offers "an asterisk" '\*' odd.ini -r '\*'

long=$(printf 'x%.0s' {1..69})
lines '[Item]' ITEM_CAT=SWITCH "ITEM_NAME=${long}y" '' '[Item]' "ITEM_NAME=${long}y" ITEM_CAT=SWITCH \
  '[Item]' "ITEM_NAME=${long/x/y}" ITEM_CAT=SWITCH >long.ini
kestrel_offers "a name that does not fit into its line is cut, and its item ends" "$long" long.ini -r ''
printf '[Item]\nITEM_CAT=SWITCH\nITEM_NAME=At the end' >cut.ini
kestrel_offers "a file without a last line end" 'At\ the\ end' cut.ini -r ''
sed 's/$/\r/' switches.ini >crlf.ini
kestrel_offers "line ends that are not understood" "" crlf.ini -r ''
lines '[System]' POLLING=5 >empty.ini
kestrel_offers "a file without switches" "" empty.ini -r ''
kestrel_offers "no file" "" missing.ini -r ''
mkdir directory.ini
kestrel_offers "a directory" "" directory.ini -r ''
# Root may read any file, so it becomes another user, who must be let into the directory.
as_user=()
[ "$(id -u)" != 0 ] || as_user=(setpriv --reuid=65534 --regid=65534 --clear-groups)
unreadable=$(mktemp -d "${TMPDIR:-/tmp}/completion_test.XXXXXX")
trap 'rm -rf "$scratch" "$unreadable"' EXIT
chmod 755 "$unreadable"
cp "$completion/kestrel" switches.ini "$unreadable"
chmod 000 "$unreadable/switches.ini"
check "a file that may not be read" "" \
  "$("${as_user[@]}" bash -uc '. "$0"; _kestrel_switches "$1"' "$unreadable/kestrel" "$unreadable/switches.ini" 2>&1)"
check "with odd options of the shell" 'Chassis\ Intrusion' "$(
  clean_bash "shopt -s failglob nullglob; set -e; IFS=s; . '$completion/kestrel'; _kestrel_complete switches.ini" kestrel -r c)"

# ---- kestrel-virtual

program=$build/virtualboard/kestrel-virtual
help=$("$program" --help | grep -o '^  --[a-z]*' | tr -d ' ')
virtual_offers "the options of its page" "$help" "$program" -
virtual_offers "an option" "$(lines --sleeps --speed --strict)" "$program" --fast --trace file --s
virtual_offers "an option after an argument that a colon cuts" "--clock" "$program" --fail 3 : EIO --cl
virtual_offers "the boards of the build" "$(cd "$boards" && ls -d w8*)" "$program" w8
virtual_offers "a board after options" "lively" "$program" --strict --speed 10 li
virtual_offers "a board after a time" "lively" "$program" --clock '"2026-01-05 10:00:00"' li
virtual_offers "a number" "" "$program" --uid ''

mkdir -p installed/bin installed/share/kestrel/boards/{alpha,beta,no-board} work/alone 'work/my board/root/etc' work/al-dir
touch installed/share/kestrel/boards/{alpha,beta}/board.toml
printf '#!/bin/sh\n[ "$1" = --list ] && echo "listed    a board that it names itself"\n' >installed/bin/kestrel-virtual
chmod +x installed/bin/kestrel-virtual
cp switches.ini 'work/my board/root/etc/Kestrel.ini'
touch work/file
ln -s installed/bin/kestrel-virtual link
program=$scratch/installed/bin/kestrel-virtual
cd work
virtual_offers "directories, and boards beside the program" "$(lines al-dir alone alpha)" "$program" al
virtual_offers "boards of a program behind a link" "beta" "$scratch/link" be
PATH=$scratch/installed/bin:$PATH virtual_offers "boards of a program in the path" "beta" kestrel-virtual be
virtual_offers "a directory with a blank" 'my board' "$program" my
virtual_offers "a directory with a blank, in quotes" 'my board' "$program" '"my b'
virtual_offers "no program, no boards" "" "$scratch/nowhere/kestrel-virtual" be
virtual_offers "a file for the trace" "file" "$program" --trace f
virtual_offers "a directory to keep files in" "alone" "$program" --keep alo
virtual_offers "no file to keep files in" "" "$program" --keep 'fi'
virtual_offers "options of kestrel" "$(lines -t -i -r -h -v)" "$program" --strict alpha -
virtual_offers "switches of a board's own configuration" 'Chassis\ Intrusion' "$program" 'my\ board' -r c
virtual_offers "switches of a board in quotes" 'Chassis\ Intrusion' "$program" '"my board/"' -r c
virtual_offers "a board without a configuration" "" "$program" alpha -r ''
rm -r "$scratch/installed/share"
virtual_offers "boards that the program names itself" "listed" "$program" li

[ "$failures" = 0 ] || { echo "$failures failures"; exit 1; }
echo "the completions offer what they should"
