#!/usr/bin/env bash
# What every source file keeps to; run as a test.
#   1. A folder includes only the folders that it may include (the table below), with paths from
#      the top folder. A folder may always include itself.
#   2. A header in a folder detail/ is included by the folder above it alone.
#   3. The library needs the standard library and the C library, nothing else.
#   4. Every header says #pragma once.
#   5. No file is left with a marker of unfinished work.
# Prints each offence as FILE:LINE: what is wrong, and fails when there is one.
set -euo pipefail
cd "${1:-$(dirname "${BASH_SOURCE[0]}")/..}"

# FOLDER: the folders that it may include, each with all folders below it. "*" is anything public.
# A file belongs to the longest folder here that it lies in.
layers='
platform/orb/base:
platform/orb/loop: platform/orb/base
platform/orb/containers: platform/orb/base platform/orb/loop
platform/orb/model: platform/orb/base platform/orb/loop platform/orb/containers
platform/keel: platform/orb
platform/ipa: platform/orb
platform/session: platform/orb
platform/routing: platform/orb platform/keel platform/ipa
platform/regex: platform/orb platform/keel platform/ipa
policy_config: platform/orb platform/keel platform/ipa platform/routing
policy_status: platform/orb platform/keel platform/ipa platform/routing platform/regex policy_config
policy_sm: platform/orb platform/keel platform/ipa platform/routing platform/regex policy_config policy_status
policy_eval: platform/orb platform/keel platform/ipa platform/routing platform/regex policy_config policy_status
list_import: platform/orb platform/ipa platform/regex policy_config
config_copy: platform/orb platform/session policy_config
config_text: platform/orb platform/session policy_config
tool: *
examples: *
bench: *
fuzz: *
tests: *
'

mapfile -t tops < <(sed -n 's/[/:].*//p' <<<"$layers" | LC_ALL=C sort -u)
mapfile -t files < <(find "${tops[@]}" -type f \( -name '*.h' -o -name '*.cpp' \) 2>/dev/null |
  LC_ALL=C sort)
((${#files[@]})) || { echo "no source files here" >&2; exit 1; }

status=0
awk -v layers="$layers" '
  function folder_of(path,   folder) {  # platform/orb/base, policy_config, tests
    folder = path
    while (sub(/\/[^\/]*$/, "", folder)) if (folder in may) return folder
    return path
  }
  function allowed(here, there,   n, list, i) {
    if (there == here || may[here] == "*") return 1
    n = split(may[here], list, " ")
    for (i = 1; i <= n; ++i) if (index(there "/", list[i] "/") == 1) return 1
    return 0
  }
  function parent_of_detail(path) {  # the folder above detail/, or "" when there is none
    return match(path, /\/detail\//) ? substr(path, 1, RSTART - 1) : ""
  }
  function offence(text) { print FILENAME ":" FNR ": " text; bad = 1 }
  function finish(file) {
    if (file ~ /\.h$/ && !once) { print file ":1: no #pragma once"; bad = 1 }
  }
  BEGIN {
    count = split(layers, line, "\n")
    for (i = 1; i <= count; ++i) {
      if (line[i] == "") continue
      name = line[i]; sub(/:.*/, "", name)
      rest = line[i]; sub(/^[^:]*: */, "", rest)
      may[name] = rest
    }
  }
  FNR == 1 {
    if (last) finish(last)
    last = FILENAME; once = 0
    here = folder_of(FILENAME)
    if (!(here in may)) offence("the folder " here " is not in the table of layers")
    library = here !~ /^(tool|examples|bench|fuzz|tests)$/
  }
  /^#pragma once/ { once = 1 }
  /^[ \t]*#[ \t]*include[ \t]*"/ {
    path = $0; sub(/^[^"]*"/, "", path); sub(/".*/, "", path)
    if (path ~ /(^|\/)\.\.?\// || path !~ /\//) {
      offence("\"" path "\" is not a path from the top folder"); next
    }
    there = folder_of(path)
    home = parent_of_detail(path)
    if (!allowed(here, there))
      offence(here " may not include " there)
    else if (home != "" && (index(FILENAME, home "/") != 1))
      offence("\"" path "\" is private to " home)
  }
  library && /^[ \t]*#[ \t]*include[ \t]*</ {
    path = $0; sub(/^[^<]*</, "", path); sub(/>.*/, "", path)
    if (path !~ /^[a-z0-9_]+(\.h)?$/ && path !~ /^(sys|net|netinet|arpa)\/[a-z0-9_]+\.h$/)
      offence("<" path "> is of neither the standard library nor the C library")
  }
  END { if (last) finish(last); exit bad }
' "${files[@]}" || status=1

markers=$(grep -nwE 'TODO|FIXME|XXX' "${files[@]}" || true)
if [[ -n $markers ]]; then
  sed 's/$/   <- a marker of unfinished work/' <<<"$markers"
  status=1
fi
exit $status
