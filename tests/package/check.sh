#!/usr/bin/env bash
# Installs into an empty prefix, moves that elsewhere, and builds and runs a small program against
# it: once by find_package, once by pkg-config. Then compiles every installed header there.
#   tests/package/check.sh BUILD_DIR COMPILER SANITIZERS
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$1 compiler=$2 sanitizers=$3
expected='seq 10'

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
flags=(${sanitizers:+"-fsanitize=$sanitizers"})
prefix=$work/moved/usr

cmake --install "$build" --prefix "$work/prefix" >"$work/install.log" || {
  cat "$work/install.log"
  exit 1
}
mkdir "$work/moved"
mv "$work/prefix" "$prefix"

run() {
  local way=$1 said
  shift
  said=$("$@")
  if [[ $said != "$expected" ]]; then
    echo "$way: the program printed '$said', not '$expected'"
    exit 1
  fi
  echo "$way: $said"
}

echo "-- find_package"
cmake -S "$here" -B "$work/cmake" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_CXX_FLAGS="${flags[*]}" -DCMAKE_PREFIX_PATH="$prefix"
cmake --build "$work/cmake"
run find_package "$work/cmake/consumer"

echo "-- pkg-config"
pc=$(find "$prefix" -name routepolicy.pc)
export PKG_CONFIG_PATH=${pc%/*}
read -ra found < <(pkg-config --cflags --libs 'routepolicy >= 0.1')
"$compiler" -std=c++20 "${flags[@]}" "$here/consumer.cpp" "${found[@]}" -o "$work/consumer"
run pkg-config env LD_LIBRARY_PATH="${pc%/pkgconfig/*}" "$work/consumer"

echo "-- soname"
library=${pc%/pkgconfig/*}/libroutepolicy.so
LC_ALL=C readelf -d "$library" | grep 'SONAME.*\[libroutepolicy\.so\.0\]'

echo "-- installed headers"
(cd "$prefix/include/routepolicy" && find . -name '*.h' | sed 's|^\./\(.*\)|#include "\1"|') \
  >"$work/all.cpp"
read -ra cflags < <(pkg-config --cflags routepolicy)
"$compiler" -std=c++20 -Wall -Wextra -Werror -fsyntax-only "${cflags[@]}" "$work/all.cpp"
echo "$(wc -l <"$work/all.cpp") headers"

echo "-- debian/"
cd "$prefix"
find . -type f -o -type l | sed 's|^\./||' | sort >"$work/installed"
for pattern in $(sed -E '/^#/d; s|^usr/||; s|lib/\*/|lib/|; s|vendor-completions/_|site-functions/_|' \
  "$here"/../../debian/{*.install,not-installed}); do
  find $pattern -type f -o -type l
done | sort | diff "$work/installed" - || { echo "debian/*.install have other files"; exit 1; }
version=$(sed -n 's/^set(PACKAGE_VERSION "\(.*\)")$/\1/p' lib/cmake/routepolicy/*Version.cmake)
head -n 1 "$here/../../debian/changelog" | grep -F "routepolicy ($version) "
