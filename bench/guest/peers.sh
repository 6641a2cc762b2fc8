# What the comparisons in the emulated machine share. Each command gives a line for scripts/bench:
#   measured BUS|COMMAND|VALUES|elapsed and CPU time, least and median|KiB|transactions|CPU time and transactions again
# Times are microseconds; VALUES is how many the command gives; "again" is one more report of a process that runs on.
# Whoever uses it sets $bus and has "transactions LINES COMMAND..." run a command, print how many it took.

runs=10
said=/tmp/said # what the measured commands say

# Prints what "measure" does, nothing when the command fails. LINES: it is ended after those; 0: it ends by itself.
cost() { # LINES COMMAND...
  local lines=$1
  shift
  : >$said
  measure $runs "$lines" $said "$@"
}

field() { # NUMBER WORDS...
  shift "$1"
  echo "$1"
}

median_cpu() { field 4 $(cost "$@"); }

show() { # COMMAND VALUES COST TRANSACTIONS CPU-AGAIN TRANSACTIONS-AGAIN
  is "$1: figures" 5 "$(echo "$3" | wc -w)"
  echo "measured $bus|$1|$2|$(echo "$3" | tr ' ' '|')|$4|$5|$6"
}

# A peer is a script that makes as many passes as its argument says.
peer() { # NAME VALUES SCRIPT
  local once count cpu counts passes=5
  once=$(cost 0 sh "$3" 1)
  count=$(transactions 0 sh "$3" 1)
  cpu=$(runs=3 median_cpu 0 sh "$3" $passes)
  counts=$(transactions 0 sh "$3" $passes)
  show "$1" "$2" "$once" $count $(((cpu - $(field 4 $once)) / (passes - 1))) $(((counts - count) / (passes - 1)))
}

# One more report of the program: what a longer run costs more than a shorter one. It begins with two lines; a report
# has three beside its items.
program() { # VALUES
  local once count cpu counts more=20
  local few=$((2 + 2 * ($1 + 3))) many=$((2 + (2 + more) * ($1 + 3)))
  once=$(cost 0 kestrel -t)
  count=$(transactions 0 kestrel -t)
  cpu=$(runs=1 median_cpu $few kestrel -t -i 1)
  cpu=$((($(runs=1 median_cpu $many kestrel -t -i 1) - cpu) / more))
  counts=$(transactions $few kestrel -t -i 1)
  counts=$((($(transactions $many kestrel -t -i 1) - counts) / more))
  show "kestrel -t" "$1" "$once" $count $cpu $counts
}
