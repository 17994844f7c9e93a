#!/usr/bin/env bash
# Installs the Debian packages beside it and uses them: the tool with no more than it depends on,
# then the development files with a compiler. For a system that may be thrown away: ./package runs
# it on a clean Debian 12.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive

install() {
  echo "-- installing $*"
  apt-get -qq install -y --no-install-recommends "$@" >install.log 2>&1 || { cat install.log; exit 1; }
}
expect() {  # WHAT, then a command that prints just that
  local said status=0
  said=$("${@:2}") || status=$?
  if ((status)) || [[ $said != "$1" ]]; then
    printf '%s\nprinted: %s\nnot:     %s\nstatus:  %s\n' "${*:2}" "$said" "$1" "$status"
    exit 1
  fi
  echo "${*:2}: $1"
}

install ./libroutepolicy0_*.deb ./route-policy_*.deb
samples=/usr/share/doc/route-policy/examples
expect 'seq 20 deny 10.0.0.0/8 le 32' \
  bash -c "route-policy match $samples/bogons-ipv4.txt 10.1.0.0/16 | cut -f3"
expect '' route-policy --config $samples/border.conf diff

install man-db bash-completion fish zsh
expect /usr/share/man/man1/route-policy.1.gz man -w route-policy
expect 'complete -F _route_policy route-policy' bash -c \
  '. /usr/share/bash-completion/bash_completion; _completion_loader route-policy; complete -p route-policy'
expect _route-policy zsh -fc 'autoload -U compinit; compinit -D; print $_comps[route-policy]'
expect --candidate fish -c 'complete -C "route-policy get --ca" | cut -f1'

install ./libroutepolicy-dev_*.deb cmake g++ ninja-build pkgconf
cmake -S . -B build -G Ninja >build.log && cmake --build build >>build.log || { cat build.log; exit 1; }
expect 'seq 10' build/consumer
read -ra flags < <(pkg-config --cflags --libs 'routepolicy >= 0.1')
g++ -std=c++20 consumer.cpp "${flags[@]}" -o by-pkg-config
expect 'seq 10' ./by-pkg-config

apt-get -qq purge -y route-policy libroutepolicy-dev libroutepolicy0 >/dev/null
expect '' find / -xdev -path "$PWD" -prune -o -name '*route*policy*' -print
echo "-- the packages work, and are gone when they are removed"
