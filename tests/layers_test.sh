#!/usr/bin/env bash
# layers_test.sh SOURCE-DIRECTORY: three rules of the source tree; prints each breach and then fails.
# - A file may include its own folder and folders below it, nothing else, and only by paths from the root of src/.
# - Chips are reached by chips/registers.cpp alone, of all that is above hw.
# - Nothing but the door (hw/os_linux.cpp, held_signals.cpp and turns.cpp) touches the machine.
set -u
cd "$1/hw" 2>/dev/null || { echo "$0: no sources in '$1'" >&2; exit 2; }
cd ..
status=0
breach() { if grep -rnE "$@"; then status=1; fi; }

include='^[[:space:]]*#[[:space:]]*include[[:space:]]*["<]'
forbid() { # forbid FOLDER INCLUDED-FOLDER...
  local folder=$1
  shift
  if [ -d "$folder" ]; then breach "$include($(IFS='|'; echo "$*"))/" "$folder"; fi
}
forbid hw alert config chips items ui driver
forbid alert config chips items ui driver
forbid config alert chips items ui driver
forbid chips alert items ui driver
forbid items ui driver
forbid ui driver
breach "$include\.\." .
if grep -rnE '(^|[^[:alnum:]_])((smbus|isa)_(byte|word)_data_|SMB_BASE_IO_ADDR)' alert config chips items ui driver |
  grep -vE '^chips/registers\.cpp:|^items/ports\.cpp:'; then
  status=1
fi
if grep -rnE "${include}hw/" alert | grep -vE '"hw/(os|text)\.h"'; then status=1; fi

calls='(fopen|freopen|open|openat|creat|opendir|rename|unlink|remove|f?chmod|mkdir|system|popen|fork|vfork|execlp?|execvp?'
calls+='|waitpid|sleep|usleep|nanosleep|getuid|geteuid|time|syslog|openlog|ioctl|mmap|select|p?poll|flock|sigaction|sigprocmask|raise|iopl|ioperm|inb|outb|inl|outl)'
if grep -rnE "(^|[^[:alnum:]_.>])$calls\(" --include=*.cpp --include=*.h . | grep -vE '^\./hw/(os_linux|held_signals|turns)\.cpp:|:[[:space:]]*//|"Error: | error!'; then
  status=1
fi
exit $status
