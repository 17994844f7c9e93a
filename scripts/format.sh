#!/usr/bin/env bash
# clang-format over every tracked source file: in place, or with --check only reporting.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh lint
mode=(-i)
if [[ ${1:-} == --check ]]; then mode=(--dry-run -Werror); fi
git ls-files -z -- '*.h' '*.cpp' | xargs -0 -r clang-format "${mode[@]}"
