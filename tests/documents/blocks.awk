# blocks.awk -v into=DIR [-v manual=1] DOCUMENT: takes the examples out of a Markdown document or a manual page. Each
# becomes two files, DIR/0001.head (its line and the words of its marker) and DIR/0001.text; a "board:" remark is one,
# too.
# What has no marker is reported on standard output as "LINE: what".

function say(what) { print NR ": " what }
function open_block(words) {
  block = sprintf("%s/%04d", into, ++blocks)
  print NR + 1, words >(block ".head")
  close(block ".head")
  printf "" >(block ".text")
}
function add(line) { print line >(block ".text") }
function end_block() { close(block ".text"); block = "" }
function board(name) { open_block("board " name); end_block() }
function plain(line) { # a line of a manual page as it is shown
  gsub(/\\&/, "", line)
  gsub(/\\-/, "-", line)
  gsub(/\\\(aq/, "'", line)
  gsub(/\\\(dq/, "\"", line)
  gsub(/\\\(ga/, "`", line)
  gsub(/\\\(ti/, "~", line)
  gsub(/\\\(ha/, "^", line)
  gsub(/\\(e|\(rs)/, "\\", line)
  return line
}

# A manual page: .\" example: WORDS, .Bd -literal, ..., .Ed
manual && block && /^\.Ed/ { end_block(); next }
manual && block && /^['.]/ { say("a request inside of an example: " $0); next }
manual && block { add(plain($0)); next }
manual && /^\.\\" board: / { board($3); next }
manual && /^\.\\" example: / { words = substr($0, 14); next }
manual && /^\.Bd .*-(literal|unfilled)/ { if (words == "") say("an example without a marker"); open_block(words == "" ? "text" : words) }
manual && words != "" { if (!/^\.Bd/) say("a marker without an example after it"); words = "" }
manual && /^\.Dl/ { say("a .Dl: use .Bd -literal with a marker") }
manual { next }

# Markdown: a block between fences, with WORDS after the first one. One that is only indented cannot have a marker.
block && /^ *```$/ { end_block(); next }
block { add(substr($0, 1, indent) ~ /^ *$/ ? substr($0, indent + 1) : $0); next }
/^ *```/ {
  indent = index($0, "`") - 1
  words = substr($0, indent + 4)
  if (words == "") say("an example without a marker")
  open_block(words == "" ? "text" : words)
  next
}
/^<!-- board: .* -->$/ { sub(/^<!-- board: /, ""); sub(/ -->$/, ""); board($0); next }
/^    / && empty { say("an indented example: put it between fences, with a marker") }
{ empty = /^$/ }

END { if (block) say("an example that does not end") }
