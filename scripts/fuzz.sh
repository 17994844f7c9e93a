#!/usr/bin/env bash
# Runs each fuzz target from its seeds for so many seconds, as many at once as there are cores. A
# finding fails: its input is left in build/fuzz/findings/, its log in build/fuzz/logs/. What new
# inputs teach is kept in build/fuzz/corpus/ for the next run.
#   scripts/fuzz.sh SECONDS [TARGET...]
# Prints a line for each target: how many inputs it ran, how many a second, and a warning below
# 2,000.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
if [[ ! ${1:-} =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/fuzz.sh SECONDS [TARGET...]" >&2
  exit 2
fi
seconds=$1
shift

targets=("$@")
if ((!${#targets[@]})); then
  for source in fuzz/*Fuzz.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi

rounds=$(((${#targets[@]} + $(nproc) - 1) / $(nproc)))
echo "fuzz: ${#targets[@]} targets for $seconds s each, $((rounds * seconds)) s in all;" \
  "the build before takes 5 minutes the first time"
scripts/setup.sh build fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --parallel "$(nproc)" --target "${targets[@]}"
cd build/fuzz
mkdir -p findings logs

# Allocations keep a short trace of their callers: a long one costs a tenth of the speed. Whoever
# runs a finding again has the whole.
export ASAN_OPTIONS=${ASAN_OPTIONS:-malloc_context_size=4}

stat_of() { sed -n "s/^stat::$1: *//p" "logs/$2.log"; }

run() {
  local target=$1 status=0 corpus=corpus/$1 count speed slow=
  mkdir -p "$corpus"
  "fuzz/$target" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
    -artifact_prefix="findings/$target-" "$corpus" "../../fuzz/corpus/$target" \
    >"logs/$target.log" 2>&1 &
  trap "kill $!; exit 1" TERM
  wait $! || status=$?
  ((status != 72)) || return 1  # interrupted, which is no finding
  count=$(stat_of number_of_executed_units "$target")
  speed=$(stat_of average_exec_per_sec "$target")
  if ((status)); then
    tail -n 60 "logs/$target.log"
    printf 'fuzz: %-22s HAS A FINDING: build/fuzz/findings/%s-*, build/fuzz/logs/%s.log\n' \
      "$target" "$target" "$target"
    return 1
  fi
  ((${speed:-0} >= 2000)) || slow='  WARNING: fewer than 2000 a second'
  printf 'fuzz: %-22s %10d inputs %8d a second%s\n' "$target" "${count:-0}" "${speed:-0}" "$slow"
}

status=0
running=0
trap 'kill $(jobs -p) 2>/dev/null || true; exit 130' INT TERM  # no target goes on alone
for target in "${targets[@]}"; do
  if ((running == $(nproc))); then
    wait -n || status=1
    running=$((running - 1))
  fi
  run "$target" &
  running=$((running + 1))
done
for ((; running > 0; --running)); do wait -n || status=1; done
exit $status
