#!/usr/bin/env bash
# Runs the tests that start threads, under the thread sanitizer.
#   scripts/threads.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
echo "threads: about 5 minutes on two idle cores the first time"

# The sanitizer needs address space laid out as it expects, so chance is taken out of that where the
# system lets us.
steady=()
if setarch "$(uname -m)" -R true 2>/dev/null; then steady=(setarch "$(uname -m)" -R); fi
scripts/setup.sh build test
cmake --preset tsan >/dev/null
cmake --build --preset tsan --parallel "$(nproc)"
"${steady[@]}" ctest --preset tsan --parallel "$(nproc)" --no-tests=error
