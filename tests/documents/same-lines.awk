# same-lines.awk EXPECTED SEEN: status 0 when the lines are the same. Blanks at their ends do not count; a line "..." in
# EXPECTED means any number of lines.

{ sub(/[ \t]+$/, "") }
FILENAME == ARGV[1] { expected[++wanted] = $0; next }
{ seen[++came] = $0 }
END {
  e = s = 1
  while (s <= came)
    if (e <= wanted && expected[e] == "...") { dots = e++; from = s }
    else if (e <= wanted && expected[e] == seen[s]) { e++; s++ }
    else if (dots) { e = dots + 1; s = ++from } # the dots stand for one line more
    else exit 1
  while (e <= wanted && expected[e] == "...") e++
  exit e <= wanted
}
