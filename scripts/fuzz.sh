#!/usr/bin/env bash
# Runs each fuzz target from its seeds for so many seconds. A finding fails, and its input is left
# in build/fuzz/findings/. What new inputs teach is kept in build/fuzz/corpus/.
#   scripts/fuzz.sh SECONDS [TARGET...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
seconds=$1
shift

targets=("$@")
if ((!${#targets[@]})); then
  for source in fuzz/*Fuzz.cpp; do
    [[ -e $source ]] && targets+=("$(basename "$source" .cpp)")
  done
fi
if ((!${#targets[@]})); then
  echo "fuzz: there is no target"
  exit 0
fi

scripts/setup.sh build fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --parallel "$(nproc)" --target "${targets[@]}"
mkdir -p build/fuzz/findings
status=0
for target in "${targets[@]}"; do
  corpus=(build/fuzz/corpus/"$target")
  mkdir -p "${corpus[0]}"
  [[ -d fuzz/corpus/$target ]] && corpus+=(fuzz/corpus/"$target")
  echo "fuzz: $target for $seconds s"
  build/fuzz/fuzz/"$target" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
    -artifact_prefix=build/fuzz/findings/"$target"- "${corpus[@]}" \
    >build/fuzz/"$target".log 2>&1 || {
    status=1
    tail -n 60 build/fuzz/"$target".log
    echo "fuzz: $target has a finding"
    continue
  }
  grep -E '^(stat::number_of_executed_units|stat::new_units_added)' build/fuzz/"$target".log
done
exit $status
