#include "platform/orb/model/Path.h"

#include <gtest/gtest.h>

#include "platform/orb/base/Error.h"
#include "platform/orb/model/Difference.h"
#include "policy_config/CommunityText.h"
#include "policy_config/RouteMapConfig.h"

namespace Sample {

class Marked : public Orb::Entity {
 public:
  ORB_ENTITY(Marked, "Sample::Marked", community);
  ORB_ATTRIBUTE(community, Acl::CommunityValue);
};
ORB_ENTITY_TYPE(Marked);

}  // namespace Sample

namespace {

using Routing::RouteMap::Config;
using Strings = std::vector<std::string>;

Strings linesOf(Orb::Entity const& root) {
  Strings lines;
  Orb::assignments(root, [&](std::string const& line) { lines.push_back(line); });
  return lines;
}

void assign(Orb::Entity& root, std::string_view text) {
  Orb::Assignment const line = Orb::splitAssignment(text);
  if (line.hasText) return Orb::attributeTextIs(root, line.path, line.text);
  Orb::attributeIs(root, line.path);
}

// What stands under the entry 10 of the map R in all tests here, in the order of the tables.
Strings const kLines = {"matchRule[matchAs]",
                        "matchRule[matchAs].commListSet.commListSet['a]=\\'b']=True",
                        "matchRule[matchAs].invert=True",
                        "asPathPrepend[1]=65000",
                        "asPathPrependLastAs=15",
                        "metric=Value('Routing::RouteMap::Metric', ** {'metricValue': 7, "
                        "'medType': medNormal})",
                        "communityDelete['C']",
                        "communityDelete['C'].useCommunityList=True",
                        "linkBandwidthRefExtComm=-0",
                        "setFlags.hasTag=True"};
std::string const kEntry = "routeMap['R'].mapEntry[10]";

Orb::Ptr<Config> sampleConfig() {
  auto const config = Orb::make<Config>();
  for (auto const& line : kLines) assign(*config, kEntry + '.' + line);
  return config;
}

TEST(Path, MakesWhatStandsOnItsWay) {
  Strings lines = {"routeMap['R']", kEntry};
  for (auto const& line : kLines) lines.push_back(kEntry + '.' + line);
  EXPECT_EQ(linesOf(*sampleConfig()), lines);
}

TEST(Path, LeadsToEntitiesAttributesMembersAndFields) {
  auto const config = sampleConfig();
  for (auto const& [path, text] :
       {std::pair{"asPathPrepend", "{ 1: 65000 }"},
        {"asPathPrepend[1]", "65000"},
        {"metric.medType", "medNormal"},
        {"communityDelete", "'C'"},
        {"communityDelete['C'].flag", "commSetDefault"},
        {"communityDelete.flag", "commSetDefault"},
        {"matchRule[matchAs].commListSet", "None"},
        {"matchRule[matchAs].commListSet.commListSet", "{ 'a]=\\'b': True }"},
        {"setFlags.hasTag", "True"},
        {"hasTag", "True"}}) {
    EXPECT_EQ(Orb::attributeText(*config, kEntry + '.' + path), text) << path;
  }
  auto const entry = config->routeMap("R")->mapEntry(10);
  EXPECT_EQ(Orb::attributeText(*config, kEntry), Orb::inspect(*entry));
  EXPECT_EQ(Orb::attributeText(*config, "routeMap"), "{ 'R' }");
  EXPECT_EQ(Orb::attributeIs(*config, kEntry), entry) << "what is there stays";
  EXPECT_EQ(Orb::attributeIs(*config, kEntry + ".communityDelete"), entry->communityDelete());
  EXPECT_FALSE(Orb::attributeIs(*config, kEntry + ".asPathPrepend[1]"));
  EXPECT_EQ(entry->asPathPrepend(1), 65000U);
}

TEST(Path, TakesKeysAndValuesInThePlainFormToo) {
  auto const config = sampleConfig();
  auto const marked = Orb::make<Sample::Marked>();
  std::string const set = kEntry + ".communityDelete.community";
  for (std::string const typed : {"65000:100", "no-export", "rt 192.0.2.1:7", "65000:1:2"}) {
    std::string const text = Orb::toText(Acl::readCommunity(typed));
    for (auto const& form : {typed, text}) {
      assign(*config, set + '[' + form + "]=True");
      EXPECT_EQ(Orb::attributeText(*config, set), "{ " + text + ": True }");
      EXPECT_EQ(Orb::attributeText(*config, set + '[' + typed + ']'), "True");
      EXPECT_TRUE(Orb::attributeDel(*config, set + '[' + form + ']'));
      marked->communityIs({});
      assign(*marked, "community=" + form);
      EXPECT_EQ(Orb::attributeText(*marked, "community"), text);
    }
  }
}

TEST(Path, Removes) {
  for (auto const& [path, lines] :
       {std::pair{kEntry + ".matchRule[matchAs].commListSet.commListSet['a]=\\'b']", 1U},
        {kEntry + ".matchRule[matchAs].commListSet.commListSet", 1U},
        {kEntry + ".matchRule[matchAs]", 3U},
        {kEntry + ".matchRule", 3U},
        {kEntry + ".matchRule[matchAsPath].commListSet.commListSet['a']", 0U},
        {kEntry + ".asPathPrependLastAs", 1U},
        {kEntry + ".localPref", 0U},
        {kEntry + ".communityDelete['D']", 0U},
        {kEntry + ".communityDelete['C']", 2U},
        {kEntry + ".communityDelete", 2U},
        {"routeMap['S'].mapEntry[1]", 0U},
        {"routeMap['R'].mapEntry[11]", 0U},
        {kEntry, 11U},
        {"routeMap", 12U}}) {
    auto const config = sampleConfig();
    std::size_t const before = linesOf(*config).size();
    EXPECT_EQ(Orb::attributeDel(*config, path), lines != 0) << path;
    EXPECT_EQ(before - linesOf(*config).size(), lines) << path << ": the lines that are gone then";
  }
}

/// AttributePathFuzz holds that nothing is changed then.
TEST(Path, SaysWhatIsWrong) {
  enum Kind { range, parse };
  struct Case {
    std::string line;  // PATH=TEXT sets, PATH makes, -PATH removes, ?PATH reads
    Kind kind;
    std::string what;  // behind the path; see abbreviations
  };
  std::pair<char const*, char const*> const abbreviations[] = {
      {"@", "Routing::RouteMap::"},
      {"fixed$", "read-only: a change is not allowed"},
      {"owns$", "owns entities: name an attribute of one"},
      {"needs$", "needs a key in brackets for what is not there yet"},
      {"lacks$", "does not hold what the path names"},
      {"holds$", "holds a collection and has no text to be set from; set its fields"},
      {"unknown$", "unknown and not allowed"}};
  std::string const e = kEntry + '.';
  auto const config = sampleConfig();
  for (Case const& c : {
           // names
           Case{"=1", range, "@Config attribute '' is unknown$"},
           {e + "metric.value=1", range, "@Metric attribute 'value' is unknown$"},
           {e + "localPref.low=1", range, "Keel::MaybeU63 has no fields"},
           // keys
           {e + "matchRule[1].invert=True", parse, "@MatchOption name '1' not allowed"},
           {"routeMap['R'].mapEntry[010]", parse, "needless zeros at '010]'"},
           {"routeMap[R].version=1", parse,
            "a string in single quotes was expected at 'R].version'"},
           {"routeMap['R'", parse, "expected ] at ''"},
           {"routeMap['R']x", parse, "expected . at 'x'"},
           {"routeMap", range, "@Config::routeMap needs$"},
           {"routeMap.version=1", range, "@Config::routeMap needs a key"},
           {"?routeMap.version", range, "@Config::routeMap needs a key"},
           {e + "extCommunity.flag=commSetNone", range, "@MapEntry::extCommunity needs$"},
           {e + "communityDelete.community[1:2=True", parse, "expected ] at ''"},
           {e + "communityDelete.community[1:2 ]=True", parse,
            "'1:2 ' is not a standard community: unexpected text at ' '"},
           {e + "communityDelete.community[Value(1:2)]=True", parse,
            "Acl::CommunityValue::part0: expected Value('Acl::CommunityValue', ** { at "
            "'Value(1:2)]'"},
           {e + "localPref[1]=1", range, "@MapEntry::localPref has no members"},
           {"?" + e + "metric[1]", range, "@MapEntry::metric has no members"},
           // what is not there is not made to be read
           {"?" + e + "asPathPrepend[2]", range, "@MapEntry::asPathPrepend lacks$"},
           // what cannot be changed, or not like this
           {"routeMap['R'].name='S'", range, "@Map::name is fixed$"},
           {"-" + e + "hasTag", range, "@MapEntry::hasTag is fixed$"},
           {"-" + e + "asPathPrependVersion", range,
            "@MapEntry::asPathPrependVersion cannot be removed: it is a counter"},
           // The whole path is looked at, even behind what is not there.
           {"-routeMap['none'].name", range, "@Map::name is fixed$"},
           {"-routeMap['none'].mapEntry[x].tag", parse, "a number was expected at 'x].tag'"},
           {"-" + e + "extCommunity.bogus", range, "@CommunitySet attribute 'bogus' is unknown$"},
           {e + "tag", range, "@MapEntry::tag is a single value: it is set, not added"},
           {"routeMap={}", range, "@Config::routeMap owns$"},
           {e + "matchRule={}", range, "@MapEntry::matchRule is a collection: name a member"},
           {e + "matchRule[matchAs]=None", range, "@MatchRule holds$"},
           {e + "matchRule[matchAs].option=matchTag", range,
            "a member of key matchTag is not allowed under matchAs"},
           // texts
           {e + "localPref=1 ", parse, "unexpected text at ' '"},
           {e + "asPathPrependLastAs=256", parse, "the number '256' is greater than 255"},
           {e + "setFlags.hasTag=1", parse, "True or False was expected at '1'"},
           {e + "metric=7", parse,
            "@Metric::metricValue: expected Value('Routing::RouteMap::Metric', ** { at '7'"},
           {e + "matchRule[matchAs].u32Range.low=1", range,
            "U32Range::low > U32Range::high not allowed"},
           // what was made on the way is removed again
           {"routeMap['S'].mapEntry[1].tag=x", parse, "a number was expected at 'x'"},
           {"routeMap['R'].mapEntry[11].asPathPrependLastAs=16", range,
            "MapEntry::asPathPrependLastAs < 0 or > 15 not allowed"},
           {"routeMap['R'].mapEntry[11].matchRule[matchTag].strValue=x", parse,
            "a string in single quotes was expected at 'x'"},
       }) {
    std::string_view line = c.line;
    char const action = line.starts_with('?') || line.starts_with('-') ? line.front() : '=';
    if (action != '=') line.remove_prefix(1);
    try {
      if (action == '?') Orb::attributeText(*config, line);
      if (action == '-') Orb::attributeDel(*config, line);
      if (action == '=') assign(*config, line);
      ADD_FAILURE() << c.line;
    } catch (Orb::RangeException const& error) {
      std::string const path(action == '=' ? Orb::splitAssignment(line).path : line);
      std::string what = path + ": " + c.what;
      for (auto const& [mark, text] : abbreviations) {
        if (auto const at = what.find(mark); at != std::string::npos) {
          what.replace(at, std::string_view(mark).size(), text);
        }
      }
      EXPECT_EQ(error.what(), what);
      EXPECT_EQ(dynamic_cast<Orb::ParseException const*>(&error) != nullptr, c.kind == parse)
          << c.line;
    }
  }
}

TEST(Difference, TellsWhatIsBeforeAndAfter) {
  auto const before = sampleConfig();
  auto const after = sampleConfig();
  Orb::attributeDel(*after, kEntry + ".matchRule");
  for (auto const* line :
       {"asPathPrepend[1]=65001", "asPathPrepend[2]=0", "communityDelete['D']",
        "linkBandwidthRefExtComm=0", "setFlags.hasTag=False", "asPathReplaceVersion=1"}) {
    assign(*after, kEntry + '.' + line);
  }
  assign(*after, "routeMap['S']");
  Orb::attributeDel(*before, kEntry + ".asPathPrependLastAs");
  auto const differencesOf = [](Config const& from, Config const& to) {
    Strings seen;
    Orb::differences(from, to, [&](Orb::Difference const& d) {
      std::string const path = d.path.substr(d.path.starts_with(kEntry) ? kEntry.size() : 0);
      seen.push_back("+-*"[static_cast<int>(d.kind)] + path + (d.hasText ? " " : " without text ") +
                     d.before + ">" + d.after + " " + std::string(Orb::kindName(d.attribute)));
    });
    return seen;
  };
  EXPECT_EQ(
      differencesOf(*before, *after),
      (Strings{"-.matchRule[matchAs] without text > collection",
               "*.asPathPrepend[1] 65000>65001 collection", "+.asPathPrepend[2] >0 collection",
               "*.asPathPrependLastAs 0>15 scalar", "*.asPathReplaceVersion 0>1 counter",
               "-.communityDelete['C'] without text > child",
               "+.communityDelete['D'] without text > child",
               "*.linkBandwidthRefExtComm -0>0 scalar", "*.setFlags.hasTag True>False scalar",
               "+routeMap['S'] without text > children"}));
  EXPECT_EQ(differencesOf(*before, *before), Strings{});
}

}  // namespace
