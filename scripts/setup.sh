#!/usr/bin/env bash
# Installs what is missing of the Debian packages that the named purposes need.
#   scripts/setup.sh [--list] build|tool|test|benchmark|lint|fuzz|package|reference|coverage...
# --list only prints the packages. On a system without dpkg nothing is installed.
set -euo pipefail

list=no
if [[ ${1:-} == --list ]]; then
  list=yes
  shift
fi

packages=()
for purpose in "$@"; do
  case $purpose in
    build) packages+=(cmake g++ ninja-build) ;;
    tool) packages+=(libcli11-dev nlohmann-json3-dev) ;;
    test) packages+=(fish libgtest-dev pkgconf zsh) ;;
    benchmark) packages+=(libbenchmark-dev) ;;
    lint) packages+=(clang-format clang-tidy) ;;
    package) packages+=(debhelper lintian mmdebstrap) ;;
    reference) packages+=(doxygen) ;;
    fuzz) packages+=(clang libclang-rt-dev) ;;
    coverage) packages+=(gcovr) ;;
    *)
      echo "setup: no such purpose: $purpose" >&2
      exit 2
      ;;
  esac
done

if [[ $list == yes ]]; then
  printf '%s\n' "${packages[@]}"
  exit 0
fi
if ! command -v dpkg-query >/dev/null; then
  echo "setup: this is no Debian system; what Debian calls ${packages[*]} must be here" >&2
  exit 0
fi

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null || true)
  [[ $status == *installed* && $status != *not-installed* ]] || missing+=("$package")
done
((${#missing[@]})) || exit 0

as_root=()
if ((EUID != 0)); then
  if ! command -v sudo >/dev/null; then
    echo "setup: these packages are missing, and without root or sudo they cannot be installed:" \
      "${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi
echo "setup: installing as root: ${missing[*]}" >&2
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300)
"${apt[@]}" update >&2
"${apt[@]}" install -y --no-install-recommends "${missing[@]}" >&2
