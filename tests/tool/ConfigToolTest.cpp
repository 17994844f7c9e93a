#include <gtest/gtest.h>

#include <string>

#include "tests/tool/RunsTool.h"

namespace {

using ConfigTool = TestSupport::RunsTool;
using TestSupport::Step;

std::string const kEntry =
    "Value('Acl::PrefixEntry', ** {'seqno': 10, 'prefix': 10.0.0.0/8, 'permit': permitMatch, 'ge': "
    "0, 'le': 24, 'eq': 0})";

TEST_F(ConfigTool, TakesEditsAllOrNone) {
  table(R"(c get => T/c: cannot be read: No such file or directory [2]
touch $T/c.edits; c diff => T/c: cannot be read: No such file or directory [2]
c show --candidate => T/c: cannot be read: No such file or directory [2]
c commit; c abort => nothing is pending nothing is pending
c set $M "$M.mapEntry[x]" nope version=1 regexMode 2>&1 | cut -d: -f1 => edit 2 edit 3 edit 4 edit 5
c diff => T/c: cannot be read: No such file or directory [2]
c set $M.mapEntry[10].asPathPrependLastAs=15 $M.mapEntry[10].linkBandwidthRefExtComm=1e30 =>
c set $M.mapEntry[10].asPathPrependLastAs=16 2>&1 | cut -d: -f1 => edit 1
c set $M.version=1 2>&1 | cut -d: -f1 => edit 1
c set "no $M" => edit 1: no routeMap['M']: no root has an attribute 'no routeMap' [1]
c diff => + routeMap['M'] + routeMap['M'].mapEntry[10] ~ routeMap['M'].mapEntry[10].asPathPrependLastAs: 0 -> 15 ~ routeMap['M'].mapEntry[10].linkBandwidthRefExtComm:
    0 -> 1e+30
c get --candidate $M.version; c abort; ls $T => 0 2 edits dropped
printf useDeprecatedCmd=True >$T/c.edits; c set $R; cat $T/c.edits => useDeprecatedCmd=True regexMode=regexModePosix
printf '# later' >$T/c.edits; c commit; ls $T; c abort; ls $T => nothing is pending c.edits nothing is pending
printf '# only' >$T/c; c set $R; c commit; cat $T/c => regexMode: changed # only regexMode=regexModePosix
)");
}

TEST_F(ConfigTool, RemovesWhatIsThereAlone) {
  write("c", "routeMap['M'].mapEntry[5].tag=7\nrouteMap['M'].mapEntry[5].communityDelete['D']\n");
  table(
      R"(for path in "$M" $E $E.tag "$E.communityDelete['D']"; do c unset "$path"; c diff; c abort; done => - routeMap['M'] 1 edit dropped - routeMap['M'].mapEntry[5]
    1 edit dropped ~ routeMap['M'].mapEntry[5].tag: 7 -> None 1 edit dropped - routeMap['M'].mapEntry[5].communityDelete['D'] 1 edit dropped
for path in "routeMap['N']" $M.mapEntry[6] $E.localPref $E.matchRule $E.matchRule[matchTag] "$E.communityDelete['E']" $E.setFlags prefixList regexMode; do c unset $E.tag "$path" 2>&1 | sed 's/: .*:/:/'; done | count =>
    9 path 2: it is not set, so it cannot be removed
c diff =>
c unset $E.tag; c unset $E.tag => path 1: routeMap['M'].mapEntry[5].tag: it is not set, so it cannot be removed [1]
)",
      "E=$M.mapEntry[5]");
}

TEST_F(ConfigTool, CommitsAndRaisesVersions) {
  write("c",
        "# kept\n\n # too\nprefixList['P'].version=4294967295\n# lost\n"
        "  prefixList['OLD'].prefixEntry[10]=" +
            kEntry +
            " \r\n"
            "routeMap['M'].mapEntry[20]\nrouteMap['M'].mapEntry[5].tag=7\nrouteMap['M'].version=3");
  table(
      R"(c set "prefixList['P'].prefixEntry[10]=$E" $M.mapEntry[20].communityDelete[\'C\'] =>
c set "$M.mapEntry[20].communityDelete['D'].flag=commSetDelete" "$M.mapEntry[20].matchRule[matchAsPath].strValue='=] no'" "$M.description[10]='ten'" "$M.description[9]='nine'" =>
c unset "prefixList['OLD']" $M.mapEntry[5].tag =>
c get prefixList nope $M.mapEntry[5].tag => { 'OLD', 'P' } path 2: nope: no root has an attribute 'nope' 7 [1]
c get --candidate prefixList $M.mapEntry[5].tag => { 'P' } None
c diff => - prefixList['OLD'] + prefixList['P'].prefixEntry[10] = )" +
          kEntry +
          R"( ~ routeMap['M'].mapEntry[5].tag: 7 -> None + routeMap['M'].mapEntry[20].matchRule[matchAsPath] ~ routeMap['M'].mapEntry[20].matchRule[matchAsPath].strValue: '' -> '=] no' + routeMap['M'].mapEntry[20].communityDelete['D'] ~ routeMap['M'].mapEntry[20].communityDelete['D'].flag: commSetDefault -> commSetDelete + routeMap['M'].description[9] = 'nine' + routeMap['M'].description[10] = 'ten'
c commit | sed "s/[a-zA-Z]*Version: 0 -> 1/Version/" | count => 1 prefixList['P']: changed 1 routeMap['M']: changed 1 prefixList['OLD']: deleted 1
    prefixList['P'].version: 4294967295 -> 0 6 routeMap['M'].mapEntry[20].Version 6 routeMap['M'].mapEntry[5].Version 1 routeMap['M'].version: 3 -> 4
c commit; ls $T; head -4 $T/c; grep lost $T/c => nothing is pending c # kept   # too prefixList['P'] [1]
c get "$M.mapEntry[20].communityDelete['D']" => routeMap['M'].mapEntry[20].communityDelete['D'] routeMap['M'].mapEntry[20].communityDelete['D'].flag=commSetDelete
c show P M X => ip prefix-list P     seq 10 permit 10.0.0.0/8 le 24 routeMap M     mapEntry 5     mapEntry 20         matchRule[matchAsPath]: strValue = '=]
    no'         communityDelete D             flag = commSetDelete     description[9] = 'nine'     description[10] = 'ten' route-policy: no list, route map or peer
    filter has the name 'X' [1]
)",
      "E=\"" + kEntry + "\"");
}

TEST_F(ConfigTool, ReportsEveryBadLineAndThenDoesNothing) {
  write("c",
        "regexMode=regexModePosix\nbad\nrouteMap['M'].mapEntry[1].asPathPrependLastAs=16\n"
        "routeMap['M'].mapEntry[1].nextHop=1.1.1.1\nrouteMap[M]\n"
        "routeMap['M'].mapEntry[1].communityDelete['A']\n"
        "routeMap['M'].mapEntry[1].communityDelete['B'].flag=commSetDelete\n"
        "routeMap['M'].mapEntry[1].communityDelete['A'].flag=commSetDelete\n"
        "routeMap['M'].mapEntry[2].communityDelete['B'].flag=commSetDelete\n");
  write("d", "regexMode=regexModePosix\n");
  write("d.edits", "# typed\nregexMode=regexModeDfa\n\nno routeMap['M']");
  table(
      R"(c get 2>&1 | sed '/only one/s/: .*there/: there/;t;s/: .*//' => T/c:2 T/c:3 T/c:4 T/c:5 T/c:7: there is only one communityDelete, and line 6 has 'A' for it
for a in get show "set $R" diff; do c $a &>$T/.said; echo $? $(cksum <$T/.said); done | uniq | wc -l; ls $T => 1 c d d.edits
for a in commit "set $R" diff 'show --candidate'; do d $a; done 2>&1 | count => 4 T/d.edits:4: routeMap['M']: it is not set, so it cannot be removed
d show; d abort; cat $T/d => regexMode = regexModePosix 2 edits dropped regexMode=regexModePosix
for a in get 'set x' commit 'show --candidate x' 'show a b' '--config - get' '--config x check y' 'show -6 --config x'; do t $a; echo $?; done 2>&- | count => 8 2
yes bad | head -250 >$T/c; c get 2>&1 | tail -2 => T/c:100: bad: no root has an attribute 'bad' T/c: 150 more lines are refused
)",
      "d() { t --config $T/d \"$@\"; }");
}

TEST_F(ConfigTool, KeepsAllThatAConfigurationHolds) {
  table(R"(cp samples/border.conf $T/c; diff <(c get) <(grep -v '^#' $T/c) =>
c set $R; c commit; c set regexMode=regexModeDfa; c commit => regexMode: changed regexMode: changed
diff $T/c samples/border.conf =>
diff <(c show --json) <(c get --json) =>
)");
}

TEST_F(ConfigTool, AnswersInJson) {
  write("c",
        "routeMap['M'].mapEntry[10].tag=9223372036854775807\n"
        "routeMap['M'].mapEntry[9].communityDelete['C \\'1\\''].communityListNameSet['L']=True\n"
        "routeMap['M'].mapEntry[9].linkBandwidthRefExtComm=1.5\n"
        "peerFilter['M'].description[2]='None'\nprefixList['P'].prefixEntry[10]=" +
            kEntry + "\n");
  table(
      R"(c get --json $E.communityDelete => {"name":"C '1'","community":{},"communityListNameSet":{"L":true},"useCommunityList":false,"flag":"commSetDefault"}
c get --json $M.mapEntry[10].communityDelete $E.tag $M.mapEntry[10].tag $E.linkBandwidthRefExtComm => null null 9223372036854775807 1.5
c get --json $E.setNextHopArg "peerFilter['M'].description" => {"tag":"nextHopArgNone","address":"0.0.0.0"} {"2":"None"}
c get --json "prefixList['P'].prefixEntry[10]" => {"seqno":10,"prefix":"10.0.0.0/8","permit":"permitMatch","ge":0,"le":24,"eq":0}
diff <(c show --json M) <(echo "{\"routeMap\":{\"M\":$(c get --json $M)},\"peerFilter\":{\"M\":$(c get --json "peerFilter['M']")}}") =>
c unset $M.mapEntry[10] $E; c diff --json => {"change":"removed","path":"routeMap['M'].mapEntry[9]"} {"change":"removed","path":"routeMap['M'].mapEntry[10]"}
c commit --json => {"ok":true,"items":[{"path":"routeMap['M']","outcome":"changed"}],"versions":[{"path":"routeMap['M'].version","before":0,"after":1}]}
c abort --json => {"dropped":0}
)",
      "E=$M.mapEntry[9]");
}

TEST_F(ConfigTool, HasTheTextOfCommunities) {
  table(
      R"(c set "$L.community[rt 65000:100]=True" "$L.community[no-export]=False" "$M.mapEntry[1].largeCommunity['S'].community[65000:1:2]=True" =>
c diff | grep -c Value; c commit >$T/.said; grep -c 65000: $T/c; c get "$L.community[65535:65281]" => 3 0 False
c show => communityList C     communityListEntry 10         community[no-export] = False         community[rt 65000:100] = True routeMap
    M     mapEntry 1         largeCommunity S             community[65000:1:2] = True
c get --json $L.community => {"no-export":false,"rt 65000:100":true}
c unset "$L.community[no-export]"; c set "$L.community[lbw 1:-1]=True" => edit 1: communityList['C'].communityListEntry[10].community[lbw 1:-1]: 'lbw 1:-1' is not an
    extended community: a bandwidth is finite and not negative, not '-1' [1]
)",
      "L=\"communityList['C'].communityListEntry[10]\"");
}

TEST_F(ConfigTool, LosesNoEditWhenManyWorkAtOnce) {
  table(
      R"(for i in {1..12}; do c set "routeMap['M$i']" & ((i % 4)) || c commit & done >$T/.said; wait =>
c commit >$T/.said; diff <(c show | sort -V) <(printf 'routeMap M%d\n' {1..12}); ls $T => c
)");
}

}  // namespace
