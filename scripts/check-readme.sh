#!/usr/bin/env bash
# What README.md shows is so; run as a test.
#   1. Its C++, and that of docs/, stands in a program of examples/ that the same page links to. The
#      tests build and run these.
#   2. Its commands, the indented lines, work as they stand, one behind the other in one shell. That
#      is done in a temporary folder, where the build of the tests stands in for the release. Those
#      that would end up here again are run by .ci/run.
#   3. The files that it links to or names are there.
#   scripts/check-readme.sh BUILD_DIR COMPILER SANITIZERS
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export TOP=$PWD BUILD=$1 COMPILER=$2 SANITIZERS=$3
fail() { printf "README.md: $1\n" "${@:2}" >&2; exit 1; }

squeezed() { sed -E 's/^[ \t]+//; s/[ \t]+$//; /^$/d'; }
for document in README.md docs/*.md; do
  lines=$(sed -nE 's/.*\((\.\.\/)?(examples\/[A-Za-z/]+\.cpp)\).*/\2/p' "$document" |
    xargs -r cat | squeezed)
  shown=$(sed -n '/^```cpp$/,/^```$/{/^```/!p}' "$document" | squeezed)
  missing=$(grep -vxFf <(echo "$lines") <<<"$shown" || true)
  [[ -z $missing ]] || fail 'or %s shows what is not in the examples that it links to: %s' "$document" "$missing"
done
grep -q '^```cpp$' README.md || fail "no C++"

mapfile -t names < <(grep -oE '\]\([^):]+\)|`[a-z_]+/[A-Za-z_/.]+`' README.md |
  sed -E 's/^(\]\(|`)//; s/.$//; /^build\//d')
for name in "${names[@]}"; do [[ -e $name ]] || fail 'there is no %s' "$name"; done

commands=$(sed -n '/^```/,/^```/d; s/^    //p' README.md)
for name in $(grep -oE '^\./[a-z]+' <<<"$commands" | sort -u); do
  grep -qE "^step .* $name( |$)" .ci/run || fail '.ci/run does not run %s' "$name"
done

HOME=$(mktemp -d)
trap 'rm -rf "$HOME"' EXIT
cd "$HOME"
ln -s "$TOP"/{docs,examples,samples,scripts} .
mkdir build
ln -s "$BUILD" build/release
# The build is there, and may be sanitized; what is linked to it must be sanitized then too.
cmake() {
  case $1 in
    --preset) command cmake -S "$TOP" --list-presets | grep -qF "\"$2\"" ;;
    --build) command cmake --build "$BUILD" --target route-policy ;;
    *) command cmake "$@" ;;
  esac
}
g++() { command "$COMPILER" ${SANITIZERS:+"-fsanitize=$SANITIZERS"} "$@"; }
export -f cmake g++
# Not by "set -e", which lets what stands before && fail.
checked=$(sed -e '/^\.\//d' -e '/\\$/!a (($? == 0)) || exit 1' <<<"$commands")
bash -xo pipefail <<<"$checked" || fail 'a command failed, see above'
