#!/usr/bin/env bash
# Every line of C++ that README.md and docs/ show stands in a program of examples/, which the tests
# build and run. Prints the lines that do not, and fails when there is one.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

squeezed() { sed -E 's/^[ \t]+//; s/[ \t]+$//; /^$/d'; }
lines=$(find examples -name '*.cpp' -o -name '*.h' | xargs cat | squeezed)
status=0
for document in $(grep -l '^```cpp$' README.md docs/*.md); do
  shown=$(sed -n '/^```cpp$/,/^```$/p' "$document" | grep -v '^```' | squeezed)
  missing=$(grep -vxFf <(echo "$lines") <<<"$shown" || true)
  [[ -z $missing ]] || { printf '%s: not in examples/: %s\n' "$document" "$missing" >&2; status=1; }
done
grep -q '^```cpp$' README.md || { echo "README.md shows no C++" >&2; exit 1; }
exit $status
