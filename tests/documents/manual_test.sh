#!/usr/bin/env bash
# manual_test.sh SOURCE_DIR BUILD_DIR: the manual pages are well-formed, and complete: every option, key, name, chip
# code, rule and message of the program is in them, as the program has it. Prints what is missing.
set -euo pipefail
source=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)
cd "$source/data/man"
failures=0
checked=0

fail() {
  echo "FAILED: $1"
  failures=$((failures + 1))
}

# shows PAGE TEXT: a page, its blanks made one, has the text.
shows() {
  checked=$((checked + 1))
  [[ $1 == *"$2"* ]]
}

# at_least NUMBER WHAT: so many things were checked since the last time; fewer mean that the source was read wrongly.
at_least() {
  [ "$checked" -ge "$1" ] || fail "only $checked $2 were found in the source"
  checked=0
}

plain() { mandoc -T ascii -O "width=$1" "$2" 2>/dev/null | sed 's/.\x08//g'; }
text_of() { plain 400 "$1" | tr -s ' \n' ' '; }

# ---- Form

for page in *; do
  complaints=$(mandoc -T lint -W style "$page" 2>/dev/null | grep -v 'STYLE: referenced manual not found') || true
  [ -z "$complaints" ] || fail "mandoc: $complaints"
  wide=$(plain 78 "$page" | awk 'length > 80') || true
  [ -z "$wide" ] || fail "$page is wider than a terminal: $wide"
  while read -r _ section; do
    grep -qiE "^\.S[hs] ${section//[][]/.}$" "$page" || fail "$page: there is no section $section"
  done < <(grep '^\.Sx' "$page" | sed 's/ [.,;)]*$//')
  checked=$((checked + 1))
done
at_least 5 "pages"

kestrel=$(text_of kestrel.8)
ini=$(text_of Kestrel.ini.5)
virtual=$(text_of kestrel-virtual.1)

# ---- Options

program=$build/virtualboard/kestrel-virtual
options=$(plain 78 kestrel.8)
while read -r option; do
  grep -q "^     $option\( \|$\)" <<<"$options" || fail "kestrel(8) does not explain $option"
  checked=$((checked + 1))
done < <("$program" w83627hf -h | grep -o ' -[a-z]\b')
at_least 6 "options of kestrel"

options=$(plain 78 kestrel-virtual.1)
# An option, with the word for its argument on the help page.
while read -r option argument; do
  argument=${argument,,}
  grep -q "^     $option${argument:+ $argument}\(  \|,\|$\)" <<<"$options" ||
    fail "kestrel-virtual(1) does not explain $option ${argument}"
  checked=$((checked + 1))
done < <("$program" --help | grep -oE '^  --[a-z]+( [A-Z:]+)?')
at_least 14 "options of kestrel-virtual"

# ---- Keys of the configuration, with their kinds and capacities

# "RECORD FIELD CAPACITY" of each text in the records.
capacities=$(awk '/^struct/ { record = $2 } match($0, /^ *char [A-Za-z0-9]+\[[0-9]+\]/) {
  split(substr($0, RSTART, RLENGTH), part, /[][ ]+/); print record, part[3], part[4] }' "$source/src/config/settings.h")

section_of() { # section_of RECORD: what the page says of its section
  case $1 in
  system_settings) sed 's/.*THE \[SYSTEM\] SECTION//; s/THE \[ITEM\] SECTIONS.*//' ;;
  item_record) sed 's/.*THE \[ITEM\] SECTIONS//; s/THE \[PARAMETER\] SECTIONS.*//' ;;
  parameter_record) sed 's/.*THE \[PARAMETER\] SECTIONS//; s/TABLE OF NAMES.*//' ;;
  esac <<<"$ini"
}

while read -r kind key a b _; do
  if [ "$kind" = TEXT_KEY ]; then
    record=$a
    capacity=$(awk -v record="$record" -v field="$b" '$1 == record && $2 == field { print $3 }' <<<"$capacities")
    wanted="$key=text ($((capacity - 1)))"
  else
    record=$b
    wanted="$key=${a,,}"
  fi
  shows "$(section_of "$record")" "$wanted " || fail "Kestrel.ini(5) does not have \"$wanted\" in $record"
done < <(grep -E '^ *(NUMBER|TEXT)_KEY\("' "$source/src/config/ini_read.cpp" | sed 's/[(),"]/ /g')
at_least 34 "keys"

# ---- The table of names

while read -r name code; do
  shows "${ini//[(]/ }" " $name $code" || fail "Kestrel.ini(5) does not give the name $name the code $code"
done < <(sed -n 's/^ *add_row(&table, "\([A-Za-z0-9]*\)", 0, "", \([0-9]*\));.*/\1 \2/p' "$source/src/config/code_table.cpp")
at_least 18 "names"

while read -r name count first; do
  last=$((first + count - 1))
  shows "$ini" "${name}1 to $name$count are $first to $last" || shows "$ini" "${name}1 to $name$count $first to $last" ||
    fail "Kestrel.ini(5) does not say ${name}1 to $name$count are $first to $last"
done < <(sed -n 's/^ *add_numbered(&table, "\([A-Za-z_]*\)", \([0-9]*\), \([0-9]*\));.*/\1 \2 \3/p' "$source/src/config/code_table.cpp")
at_least 5 "groups of names"

while read -r name one other first; do
  last=$((first + 30))
  for pair in "${name}1$one $first, ${name}1$other $((first + 1))" "${name}16$one $last, ${name}16$other $((last + 1))"; do
    shows "$ini" "$pair" || fail "Kestrel.ini(5) does not have \"$pair\""
  done
done < <(sed -n 's/^ *add_pairs(&table, "\([A-Z]*\)", "\(.\)", "\(.\)", \([0-9]*\));.*/\1 \2 \3 \4/p' "$source/src/config/code_table.cpp")
at_least 6 "pairs of names"
shows "$ini" "FAN1H 168 to FAN16H 183" || fail "Kestrel.ini(5) does not have the names of fan limits"
at_least 1 "fan limits"

# ---- Chips: a row for each code, which has what the chip's row in the source has

chip_rows=$(plain 400 Kestrel.ini.5 | sed -n '/^CHIPS/,/A higher code/p')
voltage_chips=$(plain 78 Kestrel.ini.5 | sed -n '/chip *P12V/,/^ *a: /p' | cut -c 6-12 | tr ',\n' '  ')
source_rows=$(cat "$source"/src/chips/*.cpp | tr '\n' ' ' | grep -oE '\{\.code = CHIP_[^;]*\};' | sed 's/{\.code = /\n/g')

# has CODE WHAT SOURCE PAGE: both or neither.
has() { [ "$3" = "$4" ] || fail "Kestrel.ini(5): chip $1: $2: in the source \"${3:-no}\", in the page \"${4:-no}\""; }

while read -r name number; do
  [[ $name =~ ^CHIP_[A-Z0-9_]+$ ]] || continue
  printf -v code %X "$number"
  row=$(grep -E "^     $code  +" <<<"$chip_rows") || { fail "Kestrel.ini(5) has no row for chip code $code ($name)"; continue; }
  model=${name#CHIP_} model=${model#ME_} model=${model%_[0-9]*}
  [[ $model =~ ^[0-9]+$ ]] || shows "$row" " $model" || fail "Kestrel.ini(5) does not call chip $code $model"
  own=$(grep "^${name}[,} ]" <<<"$source_rows") || { fail "no row of $name in src/chips"; continue; }
  clears='' words='' volts='' page_clears='' page_words='' page_volts=''
  [[ $own != *".clear = "* ]] || clears=yes
  [[ $own != *".text = "* ]] || words=yes
  [[ $own != *".volts = "* ]] || volts=yes
  [[ $row != *clear* ]] || page_clears=yes
  [[ $row != *words* ]] || page_words=yes
  [[ " $voltage_chips " != *" $code "* ]] || page_volts=yes
  has "$code" "a way to clear its switch" "$clears" "$page_clears"
  has "$code" words "$words" "$page_words"
  has "$code" voltages "$volts" "$page_volts"
  checked=$((checked + 1))
done < <(sed -n 's/^ *\(CHIP_[A-Z0-9_]*\) = \([0-9]*\),.*/\1 \2/p' "$source/src/hw/chip_codes.h")
at_least 35 "chip codes"

# ---- Rules of revisions, in their order

in_source=$(sed -n 's/^ *{"\([^"]*\)", \(VERSION_IS\|VERSION_IS_NOT\|[A-Z0-9_]*\), \("\([^"]*\)"\|nullptr\),.* OLD_REVISION\([_0-9]*\)_INI}.*/\1 \2 \4 OldRevMB\5.ini/p' \
  "$source/src/config/revision_rules.cpp" | sed 's/VERSION_IS_NOT/a version other than/; s/VERSION_IS/version/; s/GPIO\([0-9]*\)_HIGH .* /GPIO \1 /; s/BIOS_BITS  */BIOS /')
in_page=$(plain 400 AllKestrel.ini.5 | grep -E '^     [HNR][A-Z0-9]+-.* OldRevMB' |
  sed 's/^ *//; s/  */ /g; s/GPIO \([0-9]*\) .* /GPIO \1 /; s/ [^ ]* [^O]*BIOS [^O]*/ BIOS /')
[ "$(grep -c . <<<"$in_source")" = 24 ] || fail "24 rules were not found in the source"
[ "$in_source" = "$in_page" ] || fail "AllKestrel.ini(5) has other rules:
$(diff <(echo "$in_source") <(echo "$in_page"))"

# ---- Keys of board.toml

while read -r word; do
  [[ " nan shared " != *" $word "* ]] || continue # of a message, of a directory
  [[ $virtual =~ [^a-z_]${word}[^a-z_] ]] || fail "kestrel-virtual(1) does not have the word \"$word\" of board.toml"
  checked=$((checked + 1))
done < <(grep -oE '"[a-z_]+"' "$source/virtualboard/board.cpp" | tr -d '"' | sort -u)
at_least 60 "words of board.toml"

# ---- Messages: what the program prints, up to the first place that is filled in

# Those that no configuration and no machine brings about.
never='^(Error: unknown ChipCode=|Error: wrong address type\.)'
while IFS= read -r message; do
  [[ ! $message =~ $never ]] || continue
  shows "$kestrel" "${message% }" || fail "kestrel(8) does not explain: $message"
done < <(cd "$source/src" && cat ./*/*.cpp | grep -oE '"(Error|Warn|Warning|>>|Done|Failed|Couldn|on_buttonSave| build_|fork|waitpid|Send |Please)[^"\\%]*' |
  sed 's/^" *//' | sort -u)
at_least 45 "messages"

[ "$failures" = 0 ] || { echo "$failures failures"; exit 1; }
echo "the manual pages are complete"
