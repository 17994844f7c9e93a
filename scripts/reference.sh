#!/usr/bin/env bash
# Builds the reference of the public headers into build/reference/html. A warning fails.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh reference
rm -rf build/reference
mkdir -p build/reference

# A group for each folder of the library, with what docs/architecture.md says of it.
sed -nE 's/^\| `([a-z_/]+)` \| ([^|]*) \| `.*` \|$/\1 \2/p' docs/architecture.md |
  while read -r folder holds; do
    echo "/** \\defgroup ${folder//\//_} $folder"
    echo "${holds^}. */"
  done >build/reference/groups.dox
doxygen docs/reference/Doxyfile

# The filter makes the accessors: of a declaration that it does not read they would only be missing.
declared=$(grep -rhoE '^ *ORB_[A-Z_]*(ATTRIBUTE|COUNTER|COLLECTION|MAP|CHILD|REFERENCE|FIELD)\(\w+' \
  --include='*.h' --exclude-dir=detail policy_* platform/session | sed 's/.*(//; s/$/Is/' | sort -u)
missing=$(grep -ohE '\w+Is\b' build/reference/html/{class,struct}*.html | sort -u |
  comm -23 <(echo "$declared") -)
[[ -z $missing ]] || { printf 'reference: there is no %s\n' $missing >&2; exit 1; }
echo "reference: build/reference/html/index.html"
