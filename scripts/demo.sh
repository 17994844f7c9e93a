#!/usr/bin/env bash
# What ./run shows once the tool and the example of a daemon are built beside each other: the main
# job on the lists of samples/, and the library in a daemon.
#   scripts/demo.sh TOOL [ARGUMENT...]
# With arguments, the tool is run with them instead.
set -euo pipefail
tool=$(realpath "$1")
shift
if (($#)); then exec "$tool" "$@"; fi
cd "$(dirname "${BASH_SOURCE[0]}")/../samples"

heading() { printf '\n== %s\n' "$*"; }
run() {
  printf '\n$ route-policy'
  for word; do
    if [[ $word == *[\'\ ]* ]]; then printf ' "%s"' "$word"; else printf ' %s' "$word"; fi
  done
  printf '\n'
  "$tool" "$@"
}

heading "Is anything wrong with the lists?"
run check bogons-ipv4.txt customer-ipv4.txt
run check --ipv6 bogons-ipv6.txt customer-ipv6.txt

heading "The customer's list, as a router shows it"
run show customer-ipv4.txt

heading "From the Internet: private space is denied, a /25 matches no entry, the rest is let in"
run match bogons-ipv4.txt 10.20.0.0/16 8.8.8.0/24 8.8.8.0/25 0.0.0.0/0

heading "From the customer: the block and a part of it; a part that is too small; the provider's part"
run match customer-ipv4.txt 198.51.100.0/24 198.51.100.64/26 198.51.100.64/27 203.0.113.192/26

heading "The same for IPv6"
run match --ipv6 bogons-ipv6.txt fe80::1 2001:db8::/32 2600::/32 2600::/64
run match --ipv6 customer-ipv6.txt 2001:db8:1042::/48 2001:db8:10ff::/48 2001:db8:2010::/44

heading "AS paths: private and reserved numbers are denied; the customer's are let in, with prepends"
run check --as-path bogons-as-path.txt customer-as-path.txt
run match --as-path bogons-as-path.txt "3356 1299 64512" "3356 65552 1299" "3356 1299"
run match --as-path customer-as-path.txt "64500 64500 64501" "64500 64502 i" "64500 64502 ?" "64500 64999"

heading "What the compiled lists cost"
run compile bogons-ipv4.txt
run compile --as-path bogons-as-path.txt

heading "The lists of a configuration: what is in them, and which entry a route meets"
run --config border.conf check
run --config border.conf show community-list
run --config border.conf match community-list NO-EXPORT "64496:100 64496:663" "rt 64496:1 64496:0:660" 64496:100

heading "A change to a configuration: what differs, the commit, and the versions that readers follow"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp border.conf "$work"
cd "$work"
run --config border.conf set "routeMap['CUSTOMER-IN'].mapEntry[20].localPref=250"
run --config border.conf diff
run --config border.conf commit
run --config border.conf show CUSTOMER-IN

cd "$OLDPWD/.."
heading "A daemon with the library in it: what is committed, and each verdict that changes"
"${tool%/tool/*}/examples/example_agent" <examples/agent/script.txt
