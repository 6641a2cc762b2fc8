#!/usr/bin/env bash
# A file under src/ may include its own folder and folders below it, nothing else. Prints each breach.
set -u
src=$1
status=0
forbid() { # forbid FOLDER INCLUDED-FOLDERS...
  local folder=$1 pattern
  shift
  pattern=$(IFS='|'; echo "$*")
  if grep -nE "^#include \"($pattern)/" "$src/$folder"/*.h "$src/$folder"/*.cpp 2>/dev/null; then status=1; fi
}
forbid hw alert config items ui driver
forbid alert config items ui driver
forbid config alert items ui driver
forbid items ui driver
forbid ui driver
if grep -nE '^#include "hw/' "$src"/alert/*.h "$src"/alert/*.cpp | grep -vE '"hw/(os|text)\.h"'; then status=1; fi
exit $status
