#include <gtest/gtest.h>

#include <string>

#include "platform/orb/model/Difference.h"
#include "policy_config/RouteMap.h"
#include "tests/support/FillTree.h"
#include "tests/tool/RunsTool.h"

namespace {

using ConfigTool = TestSupport::RunsTool;
using TestSupport::Result;
using TestSupport::Step;

std::string const kEntry =
    "Value('Acl::PrefixEntry', ** {'seqno': 10, 'prefix': 10.0.0.0/8, 'permit': permitMatch, 'ge': "
    "0, 'le': 24, 'eq': 0})";
constexpr char kNone[] = "T/c: cannot be read: No such file or directory\n";
constexpr char kNotSet[] = ": it is not set, so it cannot be removed\n";

TEST_F(ConfigTool, TakesEditsAllOrNone) {
  Step const steps[] = {
      {"c get", 2, "", kNone},
      {"c show --candidate", 2, "", kNone},
      {"touch $T/c.edits; c diff", 2, "", kNone},
      {"c commit", 0, "nothing is pending\n"},
      {"c abort", 0, "nothing is pending\n"},
      {"c set $M \"$M.mapEntry[x]\" nope version=1 regexMode", 1, "",
       "edit 2: routeMap['M'].mapEntry[x]: a number was expected at 'x]'\n"
       "edit 3: nope: no root has an attribute 'nope'\n"
       "edit 4: version: no root has an attribute 'version'\n"
       "edit 5: regexMode: Acl::AclListConfig::regexMode is a single value: it is set, not "
       "added\n"},
      {"c diff", 2, "", kNone},
      {"c set $M.mapEntry[10].asPathPrependLastAs=15 $M.mapEntry[10].linkBandwidthRefExtComm=1e30",
       0, ""},
      {"c set $M.mapEntry[10].asPathPrependLastAs=16", 1, "",
       "edit 1: routeMap['M'].mapEntry[10].asPathPrependLastAs: MapEntry::asPathPrependLastAs < 0 "
       "or > 15 not allowed\n"},
      {"c set $M.version=1", 1, "",
       "edit 1: routeMap['M'].version: Routing::RouteMap::Map::version is raised by commits alone: "
       "a change is not allowed\n"},
      {"c set \"no $M\"", 1, "",
       "edit 1: no routeMap['M']: no root has an attribute 'no routeMap'\n"},
      {"c set \"$M.mapEntry[10].matchRule[matchTag]=x\"", 1, "",
       "edit 1: routeMap['M'].mapEntry[10].matchRule[matchTag]: Routing::RouteMap::MatchRule holds "
       "a collection and has no text to be set from; set its fields\n"},
      {"c diff", 0,
       "+ routeMap['M']\n+ routeMap['M'].mapEntry[10]\n"
       "~ routeMap['M'].mapEntry[10].asPathPrependLastAs: 0 -> 15\n"
       "~ routeMap['M'].mapEntry[10].linkBandwidthRefExtComm: 0 -> 1e+30\n"},
      {"c get --candidate $M.version", 0, "0\n"},
      {"c get", 2, "", kNone},
      {"c abort; ls $T", 0, "2 edits dropped\n"},
      // What a person writes need not end in a newline, nor say anything.
      {"printf useDeprecatedCmd=True >$T/c.edits; c set regexMode=regexModePosix; cat $T/c.edits",
       0, "useDeprecatedCmd=True\nregexMode=regexModePosix\n"},
      {"printf '# later\\n' >$T/c.edits; c commit; ls $T; c abort; ls $T", 0,
       "nothing is pending\nc.edits\nnothing is pending\n"},
  };
  run(steps);
}

TEST_F(ConfigTool, RemovesWhatIsThereAlone) {
  write("c", "routeMap['M'].mapEntry[5].tag=7\nrouteMap['M'].mapEntry[5].communityDelete['D']\n");
  for (std::string const path :
       {"routeMap['N']", "routeMap['M'].mapEntry[6]", "routeMap['M'].mapEntry[5].localPref",
        "routeMap['M'].mapEntry[5].matchRule", "routeMap['M'].mapEntry[5].matchRule[matchTag]",
        "routeMap['M'].mapEntry[5].communityDelete['E']", "routeMap['M'].mapEntry[5].setFlags",
        "prefixList", "regexMode"}) {
    Result const result = bash("c unset $M.mapEntry[5].tag \"" + path + "\"");
    EXPECT_EQ(result.status, 1) << path;
    EXPECT_EQ(result.err, "path 2: " + path + kNotSet);
  }
  Step const steps[] = {
      {"c unset $M.mapEntry[5].tag; c diff", 0, "~ routeMap['M'].mapEntry[5].tag: 7 -> None\n"},
      {"c unset $M.mapEntry[5].tag", 1, "",
       std::string("path 1: routeMap['M'].mapEntry[5].tag") + kNotSet}};
  run(steps);
}

TEST_F(ConfigTool, CommitsAndRaisesVersions) {
  write("c",
        "# kept\n\n # too\nprefixList['P'].version=4294967295\n# lost\n"
        "  prefixList['OLD'].prefixEntry[10]=" +
            kEntry +
            " \r\n"
            "routeMap['M'].mapEntry[20]\nrouteMap['M'].mapEntry[5].tag=7\nrouteMap['M'].version=3");
  std::string entryVersions;
  for (char const* const entry : {"20", "5"}) {
    for (char const* const counter : {"asPathPrepend", "asPathReplace", "communityAddReplace",
                                      "communityDelete", "extCommunity", "largeCommunity"}) {
      entryVersions +=
          "routeMap['M'].mapEntry[" + std::string(entry) + "]." + counter + "Version: 0 -> 1\n";
    }
  }
  Step const steps[] = {
      {"c set \"prefixList['P'].prefixEntry[10]=" + kEntry + "\"", 0, ""},
      {"c set $M.mapEntry[20].communityDelete[\\'C\\'] "
       "\"$M.mapEntry[20].communityDelete['D'].flag=commSetDelete\" "
       "\"$M.mapEntry[20].matchRule[matchAsPath].strValue='=] no'\" "
       "\"$M.description[10]='ten'\" \"$M.description[9]='nine'\"",
       0, ""},
      {"c unset \"prefixList['OLD']\" $M.mapEntry[5].tag", 0, ""},
      {"c get prefixList nope $M.mapEntry[5].tag 2>&1", 1,
       "{ 'OLD', 'P' }\npath 2: nope: no root has an attribute 'nope'\n7\n"},
      {"c get --candidate prefixList $M.mapEntry[5].tag", 0, "{ 'P' }\nNone\n"},
      {"c diff", 0,
       "- prefixList['OLD']\n+ prefixList['P'].prefixEntry[10] = " + kEntry +
           "\n~ routeMap['M'].mapEntry[5].tag: 7 -> None\n"
           "+ routeMap['M'].mapEntry[20].matchRule[matchAsPath]\n"
           "~ routeMap['M'].mapEntry[20].matchRule[matchAsPath].strValue: '' -> '=] no'\n"
           "+ routeMap['M'].mapEntry[20].communityDelete['D']\n"
           "~ routeMap['M'].mapEntry[20].communityDelete['D'].flag: commSetDefault -> "
           "commSetDelete\n"
           "+ routeMap['M'].description[9] = 'nine'\n+ routeMap['M'].description[10] = 'ten'\n"},
      {"c commit", 0,
       "prefixList['P']: changed\nrouteMap['M']: changed\nprefixList['OLD']: deleted\n"
       "prefixList['P'].version: 4294967295 -> 0\n" +
           entryVersions + "routeMap['M'].version: 3 -> 4\n"},
      {"c commit; ls $T; head -4 $T/c; grep lost $T/c", 1,
       "nothing is pending\nc\n# kept\n\n # too\nprefixList['P']\n"},
      {"c get \"prefixList['P'].version\" \"$M.mapEntry[20].communityDelete['D']\"", 0,
       "0\nrouteMap['M'].mapEntry[20].communityDelete['D']\n"
       "routeMap['M'].mapEntry[20].communityDelete['D'].flag=commSetDelete\n"},
      {"c show M P", 0,
       "ip prefix-list P\n    seq 10 permit 10.0.0.0/8 le 24\n"
       "routeMap M\n    mapEntry 5\n    mapEntry 20\n"
       "        matchRule[matchAsPath]: strValue = '=] no'\n        communityDelete D\n"
       "            flag = commSetDelete\n    description[9] = 'nine'\n    description[10] = "
       "'ten'\n"},
      {"c show X", 1, "", "route-policy: no list, route map or peer filter has the name 'X'\n"},
  };
  run(steps);
}

TEST_F(ConfigTool, ReportsEveryBadLineAndThenDoesNothing) {
  std::string const faults =
      "T/c:2: bad: no root has an attribute 'bad'\n"
      "T/c:3: routeMap['M'].mapEntry[1].asPathPrependLastAs: MapEntry::asPathPrependLastAs < 0 or "
      "> 15 not allowed\n"
      "T/c:4: routeMap['M'].mapEntry[1].nextHop: Routing::RouteMap::MapEntry::nextHop is "
      "read-only: a change is not allowed\n"
      "T/c:5: routeMap[M]: a string in single quotes was expected at 'M]'\n"
      "T/c:7: routeMap['M'].mapEntry[1].communityDelete['B'].flag: there is only one "
      "communityDelete, and line 6 has 'A' for it\n";
  write("c",
        "regexMode=regexModePosix\nbad\nrouteMap['M'].mapEntry[1].asPathPrependLastAs=16\n"
        "routeMap['M'].mapEntry[1].nextHop=1.1.1.1\nrouteMap[M]\n"
        "routeMap['M'].mapEntry[1].communityDelete['A']\n"
        "routeMap['M'].mapEntry[1].communityDelete['B'].flag=commSetDelete\n"
        "routeMap['M'].mapEntry[1].communityDelete['A'].flag=commSetDelete\n"
        "routeMap['M'].mapEntry[2].communityDelete['B'].flag=commSetDelete\n");
  Step const onBad[] = {{"c get", 1, "", faults},
                        {"c show", 1, "", faults},
                        {"c set regexMode=regexModeDfa; ls $T", 0, "c\n", faults},
                        {"c diff", 1, "", faults}};
  run(onBad);
  write("c", "regexMode=regexModePosix\n");
  write("c.edits", "# typed\nregexMode=regexModeDfa\n\nno routeMap['M']");
  std::string const pending = std::string("T/c.edits:4: routeMap['M']") + kNotSet;
  Step const onPending[] = {
      {"c commit", 1, "", pending},
      {"c set regexMode=regexModeDfa", 1, "", pending},
      {"c diff", 1, "", pending},
      {"c show --candidate", 1, "", pending},
      {"c show", 0, "regexMode = regexModePosix\n"},
      {"c abort; cat $T/c", 0, "2 edits dropped\nregexMode=regexModePosix\n"},
      {"for a in get 'set x' commit 'show --candidate x' 'show a b' '--config - get' '--config x "
       "check y' 'show -6 --config x'; do t $a; echo -n $?; done 2>/dev/null",
       0, "22222222"},
      {"yes bad | head -250 >$T/c; c get 2>&1 | tail -2", 0,
       "T/c:100: bad: no root has an attribute 'bad'\nT/c: 150 more lines are refused\n"}};
  run(onPending);
}

constexpr char kFlag[] = "useDeprecatedCmd=True\n";

/// A configuration in which nothing is at its default.
std::string fullConfig() {
  std::string text;
  auto const add = [&](Orb::Ptr<Orb::Entity> const& root) {
    TestSupport::fillTree(*root);
    Orb::assignments(*root, [&](std::string const& line) { text += line + '\n'; });
  };
  add(Orb::make<Acl::AclListConfig>("lists"));
  add(Orb::make<Routing::RouteMap::Config>());
  add(Orb::make<Routing::RouteMap::PeerFilterConfig>());
  return text;
}

TEST_F(ConfigTool, KeepsAllThatAConfigurationHolds) {
  std::string const full = fullConfig();
  write("c", full);
  Step const steps[] = {
      {"c get", 0, full},
      {"c set useDeprecatedCmd=False", 0, ""},
      {"c commit", 0, "useDeprecatedCmd: changed\n"},
      {"cat $T/c", 0, std::string(full).erase(full.find(kFlag), sizeof kFlag - 1)},
      {"c show >/dev/null", 0, ""},
      {"diff <(grep -v '^#' samples/border.conf) "
       "<(t --config samples/border.conf get)",
       0, ""}};
  run(steps);
}

TEST_F(ConfigTool, AnswersInJson) {
  write("c",
        "routeMap['M'].mapEntry[10].tag=9223372036854775807\n"
        "routeMap['M'].mapEntry[9].communityDelete['C \\'1\\''].communityListNameSet['L']=True\n"
        "routeMap['M'].mapEntry[9].linkBandwidthRefExtComm=1.5\n"
        "peerFilter['M'].description[2]='None'\nprefixList['P'].prefixEntry[10]=" +
            kEntry + "\n");
  Step const steps[] = {
      {"c get --json $M.mapEntry[9].communityDelete $M.mapEntry[10].communityDelete "
       "$M.mapEntry[9].tag $M.mapEntry[10].tag $M.mapEntry[9].linkBandwidthRefExtComm "
       "$M.mapEntry[9].setNextHopArg \"peerFilter['M'].description\" "
       "\"prefixList['P'].prefixEntry[10]\"",
       0,
       R"({"name":"C '1'","community":{},"communityListNameSet":{"L":true},)"
       R"("useCommunityList":false,"flag":"commSetDefault"}
null
null
9223372036854775807
1.5
{"tag":"nextHopArgNone","address":"0.0.0.0"}
{"2":"None"}
{"seqno":10,"prefix":"10.0.0.0/8","permit":"permitMatch","ge":0,"le":24,"eq":0}
)"},
      {"diff <(c show --json M) <(echo \"{\\\"routeMap\\\":{\\\"M\\\":$(c get --json $M)},\""
       "\"\\\"peerFilter\\\":{\\\"M\\\":$(c get --json \"peerFilter['M']\")}}\")",
       0, ""},
      {"diff <(c show --json) <(c get --json)", 0, ""},
      {"c unset $M.mapEntry[10] $M.mapEntry[9]; c diff --json; c commit --json; c abort --json", 0,
       R"({"change":"removed","path":"routeMap['M'].mapEntry[9]"}
{"change":"removed","path":"routeMap['M'].mapEntry[10]"}
{"ok":true,"items":[{"path":"routeMap['M']","outcome":"changed"}],"versions":[)"
       R"({"path":"routeMap['M'].version","before":0,"after":1}]}
{"dropped":0}
)"}};
  run(steps);
}

TEST_F(ConfigTool, LosesNoEditWhenManyWorkAtOnce) {
  Step const steps[] = {
      {"for i in {1..12}; do c set \"routeMap['M$i']\" & ((i % 4)) || c commit >/dev/null & done\n"
       "wait; c commit >/dev/null; diff <(c show | sort -V) <(printf 'routeMap M%d\\n' {1..12}); "
       "ls $T",
       0, "c\n"}};
  run(steps);
}

}  // namespace
