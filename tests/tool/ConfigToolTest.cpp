#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <string>

#include "platform/orb/model/Difference.h"
#include "policy_config/RouteMap.h"
#include "tests/support/FillTree.h"
#include "tests/tool/RunsTool.h"

namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;
using TestSupport::contentOf;
using TestSupport::Result;

class ConfigTool : public TestSupport::RunsTool {
 protected:
  struct Step {
    std::string arguments;  // behind --config $T/c
    int status;
    std::string out;
    std::string err = {};
  };
  template <std::size_t n>
  void run(Step const (&steps)[n]) {
    for (Step const& step : steps) {
      Result const result = tool("--config $T/c " + step.arguments);
      EXPECT_EQ(result.status, step.status) << step.arguments;
      EXPECT_EQ(result.out, step.out) << step.arguments;
      EXPECT_EQ(result.err, step.err) << step.arguments;
    }
  }
  bool has(char const* name) { return fs::exists(folder_ / name); }
};

constexpr char kRule[] =
    "Value('Acl::PrefixEntry', ** {'seqno': 10, 'prefix': 10.0.0.0/8, 'permit': permitMatch, 'ge': "
    "0, 'le': 24, 'eq': 0})";
constexpr char kNone[] = "T/c: cannot be read: No such file or directory\n";

TEST_F(ConfigTool, TakesEditsAllOrNone) {
  Step const steps[] = {
      {"get", 2, "", kNone},
      {"show --candidate", 2, "", kNone},
      {"diff", 2, "", kNone},
      {"commit", 0, "nothing is pending\n"},
      {"abort", 0, "nothing is pending\n"},
      {"set \"routeMap['M']\" \"routeMap['M'].mapEntry[x]\" nope version=1 regexMode", 1, "",
       "edit 2: routeMap['M'].mapEntry[x]: a number was expected at 'x]'\n"
       "edit 3: nope: no root has an attribute 'nope'\n"
       "edit 4: version: no root has an attribute 'version'\n"
       "edit 5: regexMode: Acl::AclListConfig::regexMode is a single value: it is set, not "
       "added\n"},
      {"diff", 2, "", kNone},
      {"set \"routeMap['M'].mapEntry[10].asPathPrependLastAs=15\"", 0, ""},
      {"set \"routeMap['M'].mapEntry[10].asPathPrependLastAs=16\"", 1, "",
       "edit 1: routeMap['M'].mapEntry[10].asPathPrependLastAs: MapEntry::asPathPrependLastAs < 0 "
       "or > 15 not allowed\n"},
      {"set \"routeMap['M'].version=1\"", 1, "",
       "edit 1: routeMap['M'].version: Routing::RouteMap::Map::version is raised by commits alone: "
       "a change is not allowed\n"},
      {"unset \"routeMap['M'].mapEntry[10]\" \"routeMap['M'].mapEntry[11]\"", 1, "",
       "path 2: routeMap['M'].mapEntry[11]: it is not set, so it cannot be removed\n"},
      {"set \"no routeMap['M']\"", 1, "",
       "edit 1: no routeMap['M']: no root has an attribute 'no routeMap'\n"},
      {"set \"routeMap['M'].mapEntry[10].matchRule[matchTag]=x\"", 1, "",
       "edit 1: routeMap['M'].mapEntry[10].matchRule[matchTag]: Routing::RouteMap::MatchRule holds "
       "a collection and has no text to be set from; set its fields\n"},
      {"diff", 0,
       "+ routeMap['M']\n+ routeMap['M'].mapEntry[10]\n"
       "~ routeMap['M'].mapEntry[10].asPathPrependLastAs: 0 -> 15\n"},
      {"get --candidate \"routeMap['M'].version\"", 0, "0\n"},
      {"get", 2, "", kNone},
      {"abort", 0, "1 edit dropped\n"},
      {"diff", 2, "", kNone},
  };
  run(steps);
  EXPECT_FALSE(has("c") || has("c.edits"));
}

TEST_F(ConfigTool, CommitsAndRaisesVersions) {
  write("c",
        "# kept\n\n # too\nprefixList['P'].version=4294967295\n# lost\n"
        "  prefixList['OLD'].prefixEntry[10]=" +
            std::string(kRule) +
            " \r\n"
            "routeMap['M'].mapEntry[20]\nrouteMap['M'].mapEntry[5].tag=7\nrouteMap['M'].version=3");
  chmod((folder_ / "c").c_str(), 0640);
  std::string entryVersions;
  for (char const* const entry : {"20", "5"}) {
    for (char const* const counter : {"asPathPrepend", "asPathReplace", "communityAddReplace",
                                      "communityDelete", "extCommunity", "largeCommunity"}) {
      entryVersions +=
          "routeMap['M'].mapEntry[" + std::string(entry) + "]." + counter + "Version: 0 -> 1\n";
    }
  }
  std::string const rule = kRule;
  Step const steps[] = {
      {"set \"prefixList['P'].prefixEntry[10]=" + rule +
           "\" \"routeMap['M'].mapEntry[20].communityDelete['D'].flag=commSetDelete\""
           " \"routeMap['M'].mapEntry[20].matchRule[matchAsPath].strValue='=] no'\"",
       0, ""},
      {"unset \"prefixList['OLD']\"", 0, ""},
      {"unset \"prefixList['OLD']\" \"routeMap['M'].mapEntry[5].tag\"", 1, "",
       "path 1: prefixList['OLD']: it is not set, so it cannot be removed\n"},
      {"unset \"routeMap['M'].mapEntry[5].tag\"", 0, ""},
      {"get \"prefixList\" \"routeMap['M'].mapEntry[5].tag\"", 0, "{ 'OLD', 'P' }\n7\n"},
      {"get --candidate \"prefixList\" \"routeMap['M'].mapEntry[5].tag\"", 0, "{ 'P' }\nNone\n"},
      {"diff", 0,
       "+ prefixList['P'].prefixEntry[10] = " + rule +
           "\n+ routeMap['M'].mapEntry[20].matchRule[matchAsPath]\n"
           "~ routeMap['M'].mapEntry[20].matchRule[matchAsPath].strValue: '' -> '=] no'\n"
           "+ routeMap['M'].mapEntry[20].communityDelete['D']\n"
           "~ routeMap['M'].mapEntry[20].communityDelete['D'].flag: commSetDefault -> "
           "commSetDelete\n"
           "~ routeMap['M'].mapEntry[5].tag: 7 -> None\n"
           "- prefixList['OLD']\n"},
      {"commit", 0,
       "prefixList['P']: changed\nrouteMap['M']: changed\nprefixList['OLD']: deleted\n"
       "prefixList['P'].version: 4294967295 -> 0\n" +
           entryVersions + "routeMap['M'].version: 3 -> 4\n"},
      {"commit", 0, "nothing is pending\n"},
      {"get \"prefixList['P'].version\" \"routeMap['M'].mapEntry[20].communityDelete['D']\"", 0,
       "0\nrouteMap['M'].mapEntry[20].communityDelete['D']\n"
       "routeMap['M'].mapEntry[20].communityDelete['D'].flag=commSetDelete\n"},
      {"show M P", 0,
       "ip prefix-list P\n    seq 10 permit 10.0.0.0/8 le 24\n"
       "routeMap M\n    mapEntry 5\n    mapEntry 20\n"
       "        matchRule[matchAsPath]: strValue = '=] no'\n        communityDelete D\n"
       "            flag = commSetDelete\n"},
      {"show X", 1, "", "route-policy: no list, route map or peer filter has the name 'X'\n"},
  };
  run(steps);
  EXPECT_EQ(contentOf(folder_ / "c").rfind("# kept\n\n # too\nprefixList['P']\n", 0), 0U);
  EXPECT_EQ(contentOf(folder_ / "c").find("lost"), std::string::npos);
  EXPECT_FALSE(has("c.edits"));
  EXPECT_EQ(fs::status(folder_ / "c").permissions(), fs::perms(0640));
}

TEST_F(ConfigTool, ReportsEveryBadLineAndThenDoesNothing) {
  std::string const bad =
      "regexMode=regexModePosix\nbad\nrouteMap['M'].mapEntry[1].asPathPrependLastAs=16\n"
      "routeMap['M'].mapEntry[1].nextHop=1.1.1.1\nrouteMap[M]\n";
  std::string const faults =
      "T/c:2: bad: no root has an attribute 'bad'\n"
      "T/c:3: routeMap['M'].mapEntry[1].asPathPrependLastAs: MapEntry::asPathPrependLastAs < 0 or "
      "> 15 not allowed\n"
      "T/c:4: routeMap['M'].mapEntry[1].nextHop: Routing::RouteMap::MapEntry::nextHop is "
      "read-only: "
      "a change is not allowed\n"
      "T/c:5: routeMap[M]: a string in single quotes was expected at 'M]'\n";
  write("c", bad);
  Step const onBad[] = {{"get", 1, "", faults},
                        {"show", 1, "", faults},
                        {"set regexMode=regexModeDfa", 1, "", faults},
                        {"diff", 1, "", faults}};
  run(onBad);
  EXPECT_FALSE(has("c.edits"));
  write("c", "regexMode=regexModePosix\n");
  write("c.edits", "# typed\nregexMode=regexModeDfa\n\nno routeMap['M']");
  std::string const pending =
      "T/c.edits:4: routeMap['M']: it is not set, so it cannot be removed\n";
  Step const onPending[] = {{"commit", 1, "", pending},
                            {"set regexMode=regexModeDfa", 1, "", pending},
                            {"diff", 1, "", pending},
                            {"show --candidate", 1, "", pending},
                            {"show", 0, "regexMode = regexModePosix\n"},
                            {"abort", 0, "2 edits dropped\n"}};
  run(onPending);
  EXPECT_EQ(contentOf(folder_ / "c"), "regexMode=regexModePosix\n");
  Result const usage = bash(
      "for a in get 'set x' commit 'show --candidate x' 'show a b' '--config - get' "
      "'--config x check y' 'show -6 --config x'; do $TOOL $a; echo -n $?; done 2>/dev/null");
  EXPECT_EQ(usage.out, "22222222");
}

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
  Step const steps[] = {{"get", 0, full},
                        {"set useDeprecatedCmd=False", 0, ""},
                        {"commit", 0, "useDeprecatedCmd: changed\n"}};
  run(steps);
  std::string left = full;
  std::string const line = "useDeprecatedCmd=True\n";
  left.erase(left.find(line), line.size());
  EXPECT_EQ(contentOf(folder_ / "c"), left);
  Result const shown = tool("--config $T/c show >/dev/null");
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.err, "");
}

TEST_F(ConfigTool, SampleIsAsTheToolWritesIt) {
  EXPECT_EQ(bash("diff <(grep -v '^#' samples/border.conf) "
                 "<($TOOL --config samples/border.conf get) && echo same")
                .out,
            "same\n");
}

TEST_F(ConfigTool, AnswersInJson) {
  write("c",
        "routeMap['M'].mapEntry[10].tag=9223372036854775807\n"
        "routeMap['M'].mapEntry[9].communityDelete['C \\'1\\''].communityListNameSet['L']=True\n"
        "routeMap['M'].mapEntry[9].linkBandwidthRefExtComm=1.5\n"
        "peerFilter['M'].description[2]='None'\nprefixList['P'].prefixEntry[10]=" +
            std::string(kRule) + "\n");
  auto const get = [&](std::string const& arguments) {
    return Json::parse(tool(arguments + " --json --config=$T/c").out);
  };
  Json const map = get("get \"routeMap['M']\"");
  EXPECT_EQ(map["mapEntry"]["10"]["tag"], 9223372036854775807);
  EXPECT_EQ(map["mapEntry"]["10"]["communityDelete"], nullptr);
  EXPECT_EQ(map["mapEntry"]["9"]["tag"], nullptr);
  EXPECT_EQ(map["mapEntry"]["9"]["linkBandwidthRefExtComm"], 1.5);
  EXPECT_EQ(map["mapEntry"]["9"]["setNextHopArg"],
            Json::parse(R"({"tag": "nextHopArgNone", "address": "0.0.0.0"})"));
  EXPECT_EQ(map["mapEntry"]["9"]["communityDelete"], Json::parse(R"({"name": "C '1'",
      "community": {}, "communityListNameSet": {"L": true}, "useCommunityList": false,
      "flag": "commSetDefault"})"));
  EXPECT_EQ(get("get \"peerFilter['M'].description\""), Json::parse(R"({"2": "None"})"));
  Json const shown = get("show M");
  EXPECT_EQ(shown["routeMap"]["M"], map);
  EXPECT_EQ(shown.size(), 2U) << "and the peer filter of that name";
  EXPECT_EQ(get("show"), get("get"));
  EXPECT_EQ(get("get \"prefixList['P'].prefixEntry[10]\""), Json::parse(R"({"seqno": 10,
      "prefix": "10.0.0.0/8", "permit": "permitMatch", "ge": 0, "le": 24, "eq": 0})"));
  tool("--config $T/c unset \"routeMap['M'].mapEntry[10]\"");
  EXPECT_EQ(get("diff"),
            Json::parse(R"({"change": "removed", "path": "routeMap['M'].mapEntry[10]"})"));
  Json const commit = get("commit");
  EXPECT_EQ(commit["ok"], true);
  EXPECT_EQ(commit["items"], Json::parse(R"([{"path": "routeMap['M']", "outcome": "changed"}])"));
  EXPECT_EQ(commit["versions"].back(),
            Json::parse(R"({"path": "routeMap['M'].version", "before": 0, "after": 1})"));
  EXPECT_EQ(get("abort")["dropped"], 0);
}

TEST_F(ConfigTool, LosesNoEditWhenManyWorkAtOnce) {
  bash(
      "for i in {1..12}; do $TOOL --config $T/c set \"routeMap['M$i']\" &\n"
      "  ((i % 4)) || $TOOL --config $T/c commit >/dev/null & done; wait");
  bash("$TOOL --config $T/c commit");
  std::string expected;
  for (int i = 1; i <= 12; ++i) expected += "M" + std::to_string(i) + " ";
  EXPECT_EQ(bash("$TOOL --config $T/c show | cut -d' ' -f2 | sort -V | tr '\\n' ' '").out,
            expected);
  EXPECT_EQ(bash("ls -A $T | grep '^c'").out, "c\n") << "nothing is left to clean up";
}

TEST_F(ConfigTool, LeavesAllAsItWasWhenItCannotWrite) {
  bash(
      "mkdir $T/real; touch $T/real/c; ln -s real/c $T/c; $TOOL --config $T/c set "
      "regexMode=regexModePosix");
  std::string const limited = "(trap '' XFSZ; ulimit -f 0; $TOOL --config $T/c ";
  EXPECT_EQ(bash(limited + "set useDeprecatedCmd=True; echo $?) 2>&1 | cat").out,
            folder_.string() + "/real/c.edits: cannot be written: File too large\n2\n");
  EXPECT_EQ(bash(limited + "commit; echo $?) 2>&1 | cat").out,
            folder_.string() + "/real/c: cannot be written: File too large\n2\n");
  EXPECT_EQ(contentOf(folder_ / "real/c.edits"), "regexMode=regexModePosix\n");
  EXPECT_EQ(contentOf(folder_ / "c"), "");
  EXPECT_EQ(bash("ls -A $T/real").out, "c\nc.edits\n");
  bash("$TOOL --config $T/c commit");
  EXPECT_TRUE(fs::is_symlink(folder_ / "c")) << "the link stays, the file behind it is rewritten";
  EXPECT_EQ(contentOf(folder_ / "real/c"), "regexMode=regexModePosix\n");
}

}  // namespace
