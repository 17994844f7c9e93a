#!/usr/bin/env bash
# Runs every test in a build that counts the lines that are reached, and prints them by folder:
# everything but tests and benchmarks, which are not run here. Fails below 90 %.
#   scripts/coverage.sh
# build/coverage/by-file.txt names the lines that are not reached, build/coverage/html/index.html
# shows them.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
least=90
echo "coverage: about 8 minutes on two idle cores the first time"

scripts/setup.sh build tool test coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage --parallel "$(nproc)"
out=build/coverage
find $out -name '*.gcda' -delete
ctest --preset coverage --parallel "$(nproc)" --no-tests=error

echo "coverage: gathering what each file counted; this takes a minute or two"
mkdir -p $out/html
gcovr --root . --object-directory $out -j "$(nproc)" \
  --exclude 'build/' --exclude 'tests/' --exclude 'bench/' \
  --csv $out/by-file.csv --txt $out/by-file.txt --html-details $out/html/index.html >/dev/null

awk -F, -v least=$least '
  NR == 1 {
    for (i = 1; i <= NF; ++i) column[$i] = i
    next
  }
  {
    folder = $1
    sub(/\/[^\/]*$/, "", folder)
    sub(/\/detail$/, "", folder)
    total[folder] += $column["line_total"]; covered[folder] += $column["line_covered"]
    allTotal += $column["line_total"]; allCovered += $column["line_covered"]
  }
  function line(name, c, t) {
    return sprintf("%-26s %6d of %6d lines %6.1f %%", name, c, t, 100 * c / t)
  }
  END {
    if (!allTotal) { print "coverage: nothing was counted"; exit 1 }
    for (folder in total) print line(folder, covered[folder], total[folder]) | "LC_ALL=C sort"
    close("LC_ALL=C sort")
    print line("all", allCovered, allTotal)
    if (100 * allCovered < least * allTotal) { print "coverage: below " least " %"; exit 1 }
  }' $out/by-file.csv
