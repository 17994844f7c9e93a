#!/usr/bin/env bash
# Every line of C++ that README.md shows stands in a program of examples/, which the tests build and
# run. Prints the lines that do not, and fails when there is one.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

squeezed() { sed -E 's/^[ \t]+//; s/[ \t]+$//; /^$/d'; }
shown=$(sed -n '/^```cpp$/,/^```$/p' README.md | grep -v '^```' | squeezed)
[[ -n $shown ]] || { echo "README.md shows no C++" >&2; exit 1; }
missing=$(grep -vxFf <(cat examples/*.cpp | squeezed) <<<"$shown" || true)
[[ -z $missing ]] || { printf 'not in examples/: %s\n' "$missing" >&2; exit 1; }
