#include <gtest/gtest.h>

#include <sstream>
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
c commit --config other => route-policy: --config: is given twice: T/c and other Try "route-policy --help". [2]
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

// No commit raises the version of a dynamic prefix list.
TEST_F(ConfigTool, WarnsOfDynamicListsThatARouterDoesNotFollow) {
  table(
      R"(c set $D.matchMap=\'M\' "prefixList['P']"; c commit => dynamicPrefixList['D']: created prefixList['P']: created dynamicPrefixList['D']: warning: a router leaves it out until its version is set
c set $D.version=2; c commit => dynamicPrefixList['D']: changed
c set $D.matchMap=\'N\'; c commit => dynamicPrefixList['D']: changed dynamicPrefixList['D']: warning: a router follows once its version is set to another number
c set $D.version=2; c commit => dynamicPrefixList['D']: unchanged
c unset $D; c commit => dynamicPrefixList['D']: deleted
)",
      "D=\"dynamicPrefixList['D']\"");
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
for a in get 'set x' commit 'show --candidate x' 'show a b' '--config - get' '--config x check y'; do t $a; echo $?; done 2>&- | count => 7 2
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

// What is said of a list does not depend on where it comes from.
TEST_F(ConfigTool, WorksOnListsByKindAndName) {
  write("c",
        "prefixList['P'].prefixEntry[10].prefix=10.0.0.0/8\nprefixList['P'].prefixEntry[10].le=24\n"
        "prefixList['P'].prefixEntry[20].prefix=11.0.0.0/8\nprefixList['P'].prefixEntry[20].ge=25\n"
        "prefixList['P'].source='x'\nprefixList['Q'].prefixEntry[5].prefix=0.0.0.0/0\n"
        "ipv6PrefixList['P'].ipv6PrefixEntry[0].ip6Prefix=2001:db8::/32\n"
        "pathList['\\'A'].pathEntry[7].userRegex='^1.2_'\n"
        "pathList['\\'A'].pathEntry[7].validDfaRegex=True\n"
        "pathList['\\'A'].pathEntry[8].userRegex='x'\nasnNotation=asnNotationAsdot\n");
  table(
      R"(c check => prefixList['P']: 2 entries (0 permit, 2 deny), seq 10 to 20, prefixes /8 to /8 prefixList['Q']: 1 entry (0 permit, 1 deny), seq 5 to 5, prefixes /0 to /0
    ipv6PrefixList['P']: 1 entry (0 permit, 1 deny), seq 0 to 0, prefixes /32 to /32 pathList['\'A'].pathEntry[8]: warning: the DFA engine does not accept x, so the entry matches nothing     x     ^ DFA engine:
    not a part of an AS number pathList['\'A']: 2 entries (2 permit, 0 deny), seq 7 to 8, 1 without effect
c check --strict --json as-path-list "'A" Z 2>&- | sed 's/"faults.*}/}/' => {"path":"pathList['\\'A']","ok":false,"error":"a warning is an error with --strict","warnings":[{"seqno":8,"warning":"the DFA engine does not accept x, so the entry matches nothing","pattern":"x",}
    {"path":"pathList['Z']","ok":false,"error":"there is no such list"}
c match prefix-list P 10.0.0.0/24 11.0.0.0/24 11.0.0.0/25 | tr '\t' , => 10.0.0.0/24,deny,seq 10 deny 10.0.0.0/8 le 24 11.0.0.0/24,no match 11.0.0.0/25,deny,seq 20 deny 11.0.0.0/8 ge 25
c match ipv6-prefix-list P 2001:db8::/32 x | cut -f2 => prefix 2: 'x' is not an IPv6 address deny
echo 65538 1 ? | c match --origin egp as-path-list "'A" 2>&- | tr '\t' , => 1.2 1 ?,permit,seq 7 permit ^1.2_ notSet
c match as-path-list Z 1 => pathList['Z']: there is no such list [1]
c show ipv6-prefix-list; c show prefix-list Q; c show x prefix-list 2>&1 | tail -1 => ipv6 prefix-list P     seq 0 deny 2001:db8::/32 ip prefix-list Q     seq 5 deny 0.0.0.0/0
    route-policy: no list, route map or peer filter has the name 'x'
c compile prefix-list | sed -n '/list\|entries/s/  */ /p' => list prefixList['P'] entries 2 list prefixList['Q'] entries 1
c compile --json prefix-list Q | cut -d, -f1,2 => {"path":"prefixList['Q']","entries":1
c set $R "prefixList['E']" "prefixList['P'].prefixEntry[20].le=24" "prefixList['P'].prefixEntry[10].eq=7" =>
c check --candidate prefix-list => prefixList['E']: the list is empty prefixList['P'].prefixEntry[10]: warning: its lengths leave no prefix, so the entry matches nothing
    prefixList['P'].prefixEntry[20]: warning: its lengths leave no prefix, so the entry matches nothing prefixList['P']: 2 entries (0 permit, 2 deny), seq 10 to 20, prefixes /8 to /8, 2 without effect
    prefixList['Q']: 1 entry (0 permit, 1 deny), seq 5 to 5, prefixes /0 to /0 [1]
c match --candidate prefix-list P 11.0.0.0/25 10.0.0.0/24 2>&- | cut -f2 => no match no match
c match --candidate as-path-list "'A" 1.2 2>&1 | head -1 => pathList['\'A'].pathEntry[7]: warning: validPosixRegex is not set, so the entry matches nothing, though the POSIX engine accepts its pattern
)");
  std::string const kinds = "prefix-list, ipv6-prefix-list, as-path-list or community-list";
  std::string const rest = " Try \"route-policy --help\". [2]\n";
  table("c match => route-policy: KIND is required: " + kinds + rest +
        "c compile => route-policy: KIND is required: " + kinds + rest +
        "c check P => route-policy: P is no kind of lists: " + kinds + rest +
        "c match prefix-list => route-policy: NAME is required" + rest +
        "c match --origin egp prefix-list P => route-policy: --origin is for AS-path lists" + rest +
        "c match --exact prefix-list P => route-policy: --exact is for community lists of a "
        "configuration" +
        rest + "c show --strict P => route-policy: --strict goes with a kind of lists: " + kinds +
        rest +
        "for o in -6 -a '--regex-mode dfa' '--notation asdot' '--on-duplicate error'; do "
        "c check $o prefix-list P 2>&1 | head -1; done | count => "
        "5 route-policy: options of list files do not go with --config\n"
        "t check --candidate f => route-policy: --candidate goes with --config" +
        rest +
        "t match community-list C 1:1 => route-policy: community-list is a kind of lists of a "
        "configuration: --config is required" +
        rest + "t show a b => route-policy: show takes one list file: b" + rest);
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

// One list of all families; what is behind entry 99 is warned of.
TEST_F(ConfigTool, WorksOnCommunityLists) {
  std::istringstream lines(R"(10].community[no-advertise]=True;10].community[1:1]=True;
10].permit=denyMatch;20].community[rt 1:2]=False;20].listType=extCommunityStandard;
30].community[0:2:3]=True;30].listType=largeCommunityStandard;
40].commRegex='^1:[0-9]+ 1:3';40].listType=communityExpanded;50].commRegex='(soo|lbw) ';
50].commRegexDisplay='it\'s';50].listType=extCommunityExpanded;60].commRegex=':7:';
60].listType=largeCommunityExpanded;100].listType=extCommunityStandard;110].commRegex='[a';
110].listType=largeCommunityExpanded;120].community[rt 1:2]=True;120].commRegex='1';
130].community[1:1]=True;130].listType=communityExpanded;150].community[rt 1:2]=True;
150].community[raw 0x0000000200000003]=True;150].listType=largeCommunityStandard;
160].community[1:1]=True;160].community[1:1:1]=True;160].listType=extCommunityStandard)");
  std::string config;
  for (std::string line; std::getline(lines >> std::ws, line, ';');) {
    std::string const entries = "communityList['C'].communityListEntry[";
    config += entries + line + "\n" + entries + line.substr(0, line.find('.')) + ".version=1\n";
  }
  write("c", config + "communityList['C'].communityListEntry[140].community[0:1]=True\n");
  std::string const warnings =
      "C[100]: warning: it has no community, so it matches every route, or those without one with "
      "--exact "
      "C[110]: warning: the expression '[a' does not compile, so the entry does not match by it: "
      "Unmatched [, [^, [:, [., or [= "
      "C[120]: warning: its listType is communityStandard, so its commRegex is ignored "
      "C[120]: warning: rt 1:2 is of the extended family, and its listType is communityStandard: "
      "the entry matches nothing "
      "C[130]: warning: its listType is communityExpanded, so its communities are ignored "
      "C[130]: warning: its expression is empty, so it matches every route "
      "C[140]: warning: its version is 0, so a router ignores the entry until a commit changes it; "
      "in a file written by hand, a line that ends in .version=1 does the same "
      "C[150]: warning: rt 1:2 is of the extended family, and its listType is "
      "largeCommunityStandard: it stands for 0:131073:2 C[160]: warning: 1:1:1 is of the large "
      "family, and its listType is extCommunityStandard: the entry matches nothing ";
  table(
      "c check 2>&1 | sed \"s/communityList\\['C'].communityListEntry/C/\" => " + warnings +
          R"(communityList['C']: 13 entries (12 permit, 1 deny), seq 10 to 160, 5 standard, 4 extended, 4 large, 4 without effect
c show community-list C 2>&- => ip community-list C     seq 10 deny 1:1 no-advertise     seq 20 permit extended rt 1:2     seq 30 permit large 0:2:3     seq 40 permit standard regexp '^1:[0-9]+ 1:3'     seq 50 permit extended regexp 'it\'s'     seq 60 permit large regexp ':7:'     seq 100 permit extended     seq 110 permit large regexp '[a'     seq 120 permit raw 0x0002000100000002     seq 130 permit standard regexp ''     seq 140 permit 0:1     seq 150 permit large 0:2:3 0:131073:2     seq 160 permit extended raw 0x0000000000010001 raw 0x000000010000000100000001
c show community-list --json 2>&- | grep '":[1-5]0,' => {"seqno":10,"action":"deny","family":"standard","communities":["1:1","no-advertise"],"version":1}, {"seqno":20,"action":"permit","family":"extended","communities":["rt 1:2"],"version":1},
    {"seqno":30,"action":"permit","family":"large","communities":["0:2:3"],"version":1}, {"seqno":40,"action":"permit","family":"standard","expression":"^1:[0-9]+ 1:3","version":1},
    {"seqno":50,"action":"permit","family":"extended","expression":"(soo|lbw) ","display":"it's","version":1},
m "no-advertise 1:1" "1:1 5:5 rt 1:2" "1:2:3 rt   1:2 1:9" "1:3 1:2 1:2" "soo 1:1" 0:7:1 "" => 1:1 no-advertise,10 1:1 5:5 rt 1:2,20 1:9 rt 1:2 1:2:3,20 1:2 1:3,40 soo 1:1,50 0:7:1,60 ,100
m --exact "1:2 1:1 65535:65282" "rt 1:2 rt 1:3" "65535:65282 1:1 rt 1:5" 0:1 => 1:1 1:2 no-advertise,100 rt 1:2 rt 1:3,130 1:1 no-advertise rt 1:5,10 0:1,100
m "raw 0x0002000100000002" "raw 0x000000010000000200000003" rt "rt x" "foo 1:1" "1:1 2" => rt 1:2,20 1:2:3,100 communities 3: 'rt' communities 4: 'rt x' communities 5: 'foo 1:1' communities 6: '2'
printf '0:2:3\n\n' | c match --json community-list C 2>&- => {"communities":"0:2:3","verdict":"permit","seqno":30,"entry":"seq 30 permit large 0:2:3"} {"communities":"","verdict":"permit","seqno":100,"entry":"seq 100 permit extended"}
c compile community-list 2>&- | sed -n '/list\|entries/s/  */ /p' => list communityList['C'] entries 13
c check --json 2>&- | grep -o '"standard".*"withoutEffect":4' => "standard":5,"extended":4,"large":4,"withoutEffect":4
for i in {1..8}; do printf "$I[$i].%s\n" version=1 community[1:1]; done >$T/d =>
t --config $T/d compile --json community-list I | grep -c 'indexBytes":[1-9]' => 1
printf "$I[1].%s\n" listType=communityExpanded commRegex="'$(printf '(%.0s' {1..20000})'" >$T/d =>
t --config $T/d check 2>&1 | grep -c 'too much time or memory' => 1
c set "communityList['N'].communityListEntry[5].community[1:1]=True" =>
c match --candidate community-list N 1:1; c abort => 1:1	permit	seq 5 permit 1:1 1 edit dropped
)",
      "I=\"communityList['I'].communityListEntry\"; m() { c match community-list C \"$@\" 2>&1 | "
      "grep -v warning | sed -E \"s/\\t[a-z]*\\tseq "
      "/,/; "
      "s/(,[0-9]+) .*/\\1/; s/^(comm.*'.*') is.*/\\1/\"; }\n");
}

TEST_F(ConfigTool, LosesNoEditWhenManyWorkAtOnce) {
  table(
      R"(for i in {1..12}; do c set "routeMap['M$i']" & ((i % 4)) || c commit & done >$T/.said; wait =>
c commit >$T/.said; diff <(c show | sort -V) <(printf 'routeMap M%d\n' {1..12}); ls $T => c
)");
}

}  // namespace
