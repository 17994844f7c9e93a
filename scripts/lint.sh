#!/usr/bin/env bash
# clang-tidy, with the checks of .clang-tidy, on the layers (folders) that changed since a commit, on
# named ones, or on all.
#   scripts/lint.sh [--since COMMIT | FOLDER...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

all=(platform/{orb/base,orb/loop,orb/containers,orb/model,keel,ipa,routing,regex,session}
  policy_{config,status,sm,eval} list_import config_copy config_text tool examples)
layers=("${all[@]}")
if [[ ${1:-} == --since ]]; then
  changed=$(git diff --name-only "$2")
  layers=()
  if grep -q '^\.clang-tidy$' <<<"$changed"; then
    layers=("${all[@]}")
  else
    for layer in "${all[@]}"; do
      if grep -q "^$layer/.*\.\(h\|cpp\)$" <<<"$changed"; then layers+=("$layer"); fi
    done
  fi
elif (($#)); then
  layers=("$@")
fi

scripts/setup.sh build tool test lint
cmake --preset asan >/dev/null  # for its compile_commands.json; nothing need be built
files=()
for layer in "${layers[@]}"; do
  [[ -d $layer ]] || continue
  while IFS= read -r file; do files+=("$file"); done < <(find "$layer" -name '*.cpp' | sort)
done
echo "lint: ${#files[@]} files in: ${layers[*]}"
((${#files[@]})) || exit 0

# The compile commands are those of g++, which has warnings that clang does not know.
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" \
  clang-tidy -p build/asan --quiet --extra-arg=-Wno-unknown-warning-option 2>&1 |
  sed '/^[0-9]* warnings\{0,1\} generated\.$/d'  # those of the system's headers
