#include <gtest/gtest.h>

#include <sstream>

#include "platform/orb/base/Error.h"
#include "platform/orb/model/Path.h"
#include "policy_config/RouteMap.h"

namespace {

using Acl::AsPathEntry;
using Acl::CommunityValue;
using Orb::toText;

/// A text with its blanks and newlines made single blanks.
std::string words(std::string const& text) {
  std::istringstream in(text);
  std::string out;
  for (std::string word; in >> word;) out += (out.empty() ? "" : " ") + word;
  return out;
}

/// An enumeration with its numbers, or a new entity with its attributes in their order.
std::string shown(std::string const& type) {
  if (auto const* const entity = Orb::entityType(type)) return Orb::inspect(*entity->make({}));
  std::string text = type;
  auto const* const enumeration = Orb::enumType(type);
  if (!enumeration) return "no such type: " + type;
  for (auto const& e : enumeration->enumerators) {
    text += ' ' + std::string(e.name) + ' ' + std::to_string(e.value);
  }
  return text;
}

// Others store the numbers and the names, and depend on the defaults: a paragraph for each type.
constexpr char const* kModel = R"(
Acl::MatchPermit permitMatch 1 denyMatch 0

Acl::BGPOrigin notSet 4294967295 bgpIGP 0 bgpEGP 1 bgpIncomplete 2 bgpAny 3

Acl::RegexMode regexModeDfa 0 regexModePosix 1

Acl::CommunityType communityTypeStandard 0 communityTypeExtended 1 communityTypeLarge 2

Acl::CommunityListType communityStandard 0 communityExpanded 1 extCommunityStandard 2
  extCommunityExpanded 3 largeCommunityStandard 4 largeCommunityExpanded 5

Acl::CommSetFlag commSetDefault 0 commSetDelete 1 commSetNone 2 commSetAdditive 3

Acl::ExtCommLinkBandwidthSetFlag extCommLinkBandwidthSetDefault 0
  extCommLinkBandwidthSetAggregate 1 extCommLinkBandwidthSetAggregateRef 2
  extCommLinkBandwidthSetDivideEqual 3 extCommLinkBandwidthSetDivideRatio 4

Acl::UrlImportDuplicateOperation duplicateError 0 duplicateIgnore 1 duplicateOverride 2

Routing::RouteMap::MatchOption matchAccessList 1 matchPrefixList 2 matchPrefixTree 3
  matchBgpNextHop 4 matchGateway 5 matchMcastGroupAcl 6 matchMcastGroupPrefixList 7
  matchMcastGroupPrefixTree 8 matchMcastSourceAcl 9 matchMcastSourcePrefixList 10
  matchMcastSourcePrefixTree 11 matchNextHop 12 matchRouteSource 13 matchNextHopPrefixList 14
  matchResolvedNextHopPrefixList 15 matchAs 100 matchAsPath 101 matchAsPathList 102
  matchCommunity 103 matchExtCommunity 104 matchDistance 105 matchInstance 106 matchInterface 107
  matchIsisLevel 108 matchLocalPref 109 matchMed 110 matchMetric 111 matchMetricType 112
  matchProtocol 113 matchRibs 114 matchTag 115 matchIpv6PrefixList 116 matchIpv6NextHop 117
  matchIpv6NextHopPrefixList 118 matchIpv6ResolvedNextHopPrefixList 119 matchRouterId 120
  matchAsRange 121 matchRouteType 122 matchIpAddrDynamicPrefixList 123
  matchIpv6AddrDynamicPrefixList 124 matchCommunityInstances 125 matchAsPathLength 126
  matchLargeCommunity 127 matchContributorAggregateAttributes 128

Routing::RouteMap::SetOption setAsPathPrependLastAs 0 setAsPathPrepend 1 setNextHop 2
  setIpv6NextHop 3 setLocalPref 4 setWeight 5 setMetric 6 setMetricType 7 setOrigin 8
  setDistance 9 setTag 10 setCommunityAddReplace 11 setCommunityDelete 12 setExtCommunity 13
  setContinueSeq 14 setNextHopPeerAddr 15 setIpv6NextHopPeerAddr 16 setNextHopUnchanged 17
  setIpv6NextHopUnchanged 18 setEvpnNextHopUnchanged 19 setSegmentIndex 20 setIgpMetric 21
  setLargeCommunity 22 setIsisLevel 23 setAsPathReplace 24 setPathAttrsNextHop 25

Routing::RouteMap::MedType medNormal 0 medIgpNexthopCost 1 medAdditive 2 medAddIgpNexthopCost 3
  medSubtractive 4 medValueAddIgpNexthopCost 5 medIgpMetric 6 medAddIgpMetric 7
  medValueAddIgpMetric 8

Routing::RouteMap::SetNextHopArgTag nextHopArgNone 0 nextHopArgAddr 1 nextHopArgIpv6Addr 2
  nextHopArgUnchanged 3 nextHopArgIpv6Unchanged 4 nextHopArgPeerAddr 5 nextHopArgIpv6PeerAddr 6

Routing::RouteMap::RouteType typeLocal 1 typeInternal 2 typeExternal 3 typeConfedEbgp 4

Routing::RouteMap::Protocol protoDirect 1 protoOspf 2 protoOspf3 3 protoBGP 4 protoStatic 5
  protoRip 6 protoIsis 7 protoAttachedHost 8 protoDynamic 9

Routing::RouteMap::RouteMapOpModeType routeMapSetOpModeMerged 0 routeMapSetOpModeSequential 1
  routeMapOpModeSequential 2

Routing::AsnNotation asnNotationAsplain 1 asnNotationAsdot 2

Routing::DynamicPrefixList::DplEvalState inactive 0 active 1

Routing::Ospf::OspfExtMetricType ospfExtMetricType1 1 ospfExtMetricType2 2

Routing::Isis::Level level1 1 level2 2 level1And2 3

Acl::AclListConfig regexMode = regexModeDfa pathList = {} prefixList = {} ipv6PrefixList = {}
  prefixListModeCount = 0 communityList = {} useDeprecatedCmd = False

Acl::PrefixList version = 0 prefixEntry = {} inPrefixListMode = False source = ''
  sourceTimestamp = 0 duplicateHandling = duplicateError

Acl::Ipv6PrefixList version = 0 ipv6PrefixEntry = {} source = '' sourceTimestamp = 0
  duplicateHandling = duplicateError

Acl::AsPathList pathEntry = {} toStrep = ':' source = '' sourceTimestamp = 0
  duplicateHandling = duplicateError version = 0

Acl::CommunityListEntry seqno = 0 permit = permitMatch community = {} commRegex = ''
  commRegexDisplay = '' lbwDisplay = {} listType = communityStandard version = 0

Routing::RouteMap::Config routeMapOpMode = routeMapSetOpModeMerged
  routeMapOpModeDefault = routeMapSetOpModeMerged noSetCommExplicitMembers = False routeMap = {}

Routing::RouteMap::PeerFilterConfig peerFilter = {}

Routing::AsnConfig asnNotationDefault = asnNotationAsplain asnNotation = asnNotationAsplain
  isAsdotConfigured = False

Routing::DynamicPrefixList::Config dynamicPrefixList = {}

Routing::DynamicPrefixList::DynamicPrefixListEntry dplName = '' matchMap = '' ipv4PrefixList = ''
  ipv6PrefixList = '' version = 0

Routing::DynamicPrefixList::AllDynamicPrefixListVrfSet dynamicPrefixList = {}

Routing::DynamicPrefixList::DynamicPrefixListVrfSet dplName = '' activeInVrf = {}

Routing::RouteMap::Map name = '' mapEntry = {} description = {} version = 0

Routing::RouteMap::CommunitySet community = {} communityListNameSet = {} useCommunityList = False
  flag = commSetDefault

Routing::RouteMap::MapEntry seqno = 0 permit = permitMatch statementName = ''
  statementNameFromCli = False matchRule = {} subRouteMap = '' asPathPrepend = {}
  asPathPrependLastAs = 0 asPathPrependVersion = 0 asPathReplace = {} asPathReplaceVersion = 0
  setNextHopArg = Value('Routing::RouteMap::SetNextHopArg', ** {'tag': nextHopArgNone,
  'address': 0.0.0.0}) nextHop = 0.0.0.0 ipv6NextHop = :: nextHopPeerAddr = False
  ipv6NextHopPeerAddr = False nextHopUnchanged = False ipv6NextHopUnchanged = False
  localPref = None weight = None metric = Value('Routing::RouteMap::Metric', ** {'metricValue': 0,
  'medType': medNormal}) metricType = ospfExtMetricType1 level = level1 origin = notSet
  distance = 0 propagate = False tag = None communityAddReplace = None
  communityAddReplaceVersion = 0 communityDelete = None communityDeleteVersion = 0
  extCommunity = None extCommunityVersion = 0 largeCommunity = None largeCommunityVersion = 0
  lbwDisplay = '' linkBandwidthRefDisplay = '' linkBandwidthRefExtComm = 0
  extCommLinkBandwidthSetFlag = extCommLinkBandwidthSetDefault continueSeq = 0
  evpnNextHopUnchanged = False segmentIndex = None igpMetric = None
  setFlags = Value('Routing::RouteMap::MapEntry::SetFlags', ** {FLAGS})
  hasAsPathPrepend = False hasPropagate = False hasNextHop = False hasIpv6NextHop = False
  hasLevel = False hasLocalPref = False unused3 = False hasMetric = False hasMetricType = False
  unused2 = False hasOrigin = False hasDistance = False hasCommunityAddReplace = False
  hasCommunityDelete = False hasExtCommunity = False hasTag = False hasContinue = False
  hasWeight = False hasNextHopPeerAddr = False hasIpv6NextHopPeerAddr = False
  hasNextHopUnchanged = False hasIpv6NextHopUnchanged = False hasEvpnNextHopUnchanged = False
  hasAdditiveMetric = False hasSubtractiveMetric = False hasAsPathPrependLastAs = False
  hasAsPathReplace = False hasSegmentIndex = False hasIgpMetric = False hasLargeCommunity = False
  description = {}
)";

TEST(Types, AreAsOthersStoreThem) {
  std::istringstream in(kModel);
  std::string paragraph;
  int types = 0;
  for (std::string line; std::getline(in, line);) {
    paragraph += line + ' ';
    if (in.peek() != '\n' && in.peek() != EOF) continue;
    std::string const expected = words(std::exchange(paragraph, ""));
    std::string text = words(shown(expected.substr(0, expected.find(' '))));
    if (auto const flags = text.find("{'hasAsPath"); flags != text.npos) {
      text.replace(flags, text.find('}', flags) - flags, "{FLAGS");  // RouteMapTest has them
    }
    EXPECT_EQ(text, expected);
    ++types;
  }
  EXPECT_EQ(types, 34);
}

TEST(Types, ValuesNameTheirFields) {
  EXPECT_EQ(toText(Acl::PrefixEntry()),
            "Value('Acl::PrefixEntry', ** {'seqno': 0, 'prefix': 0.0.0.0/0, 'permit': denyMatch, "
            "'ge': 0, 'le': 0, 'eq': 0})");
  EXPECT_EQ(toText(Acl::Ipv6PrefixEntry()),
            "Value('Acl::Ipv6PrefixEntry', ** {'seqno': 0, 'ip6Prefix': ::/0, "
            "'permit': denyMatch, 'ge': 0, 'le': 0, 'eq': 0})");
  EXPECT_EQ(toText(CommunityValue::of(1U, 2U, 3U)),
            "Value('Acl::CommunityValue', ** {'part0': 1, 'part1': 2, 'part2': 3})");
  EXPECT_EQ(toText(AsPathEntry()),
            "Value('Acl::AsPathEntry', ** {'seqno': 0, 'userRegex': '', 'permit': permitMatch, "
            "'origin': notSet, 'validDfaRegex': False, 'validPosixRegex': False})");
}

TEST(Lists, CommunityEntriesDescribeThemselves) {
  auto const list = Orb::make<Acl::CommunityList>("CL");
  auto const entry = list->communityListEntryIs(10);
  entry->commRegexIs("65000:.*");
  entry->permitIs(Acl::denyMatch);
  entry->communityIs(CommunityValue::of(0U, 1U, 0U), true);
  entry->communityIs(CommunityValue::of(0U, 0U, 5U), false);
  std::string const regex = "regex: 65000:.*";
  std::string const communities =
      "communities: Value('Acl::CommunityValue', ** {'part0': 0, 'part1': 0, 'part2': 5}) "
      "Value('Acl::CommunityValue', ** {'part0': 0, 'part1': 1, 'part2': 0}) ";
  for (auto const& [type, text] :
       {std::pair{Acl::communityStandard, "communityStandard CL seq 10 permit: denyMatch "},
        {Acl::communityExpanded, "communityExpanded CL seq 10 permit: denyMatch "},
        {Acl::extCommunityExpanded, "extCommunityExpanded CL seq 10 permit: denyMatch "},
        {Acl::largeCommunityExpanded, "largeCommunityExpanded CL seq 10 permit: denyMatch "}}) {
    entry->listTypeIs(type);
    // Large expanded lists show their communities, not the expression, on purpose.
    bool const hasRegex = type == Acl::communityExpanded || type == Acl::extCommunityExpanded;
    EXPECT_EQ(entry->toStrep(), text + (hasRegex ? regex : communities));
  }
}

TEST(Lists, AsPathEntriesDescribeThemselves) {
  EXPECT_TRUE(!AsPathEntry());
  auto const entry =
      AsPathEntry::of(3U, Orb::String("_7_"), Acl::permitMatch, Acl::bgpIGP, false, true);
  EXPECT_FALSE(!entry);
  auto const list = Orb::make<Acl::AsPathList>("AP");
  list->pathEntryIs(entry);
  EXPECT_EQ(list->toStrep(),
            "AP: < seqno=3; userRegex=_7_; permit=permitMatch; origin=bgpIGP; "
            "validPosixRegex=yes; validDfaRegex=no >");
  list->pathEntryDel(list->pathEntry().begin());
  EXPECT_TRUE(list->pathEntry().empty());
}

TEST(AsnConfig, SaysWhetherTheNotationHasDots) {
  auto const config = Orb::make<Routing::AsnConfig>();
  Orb::attributeTextIs(*config, "asnNotation", "asnNotationAsdot");
  EXPECT_TRUE(config->isAsdotConfigured());
  EXPECT_EQ(config->asnNotationDefault(), Routing::asnNotationAsplain);
}

TEST(ListsDeathTest, CommunitiesOfOneKindAreNotReadAsAnother) {
  EXPECT_EQ(CommunityValue::of(0U, 1U, 2U).extendedCommunity(), 4294967298U);
  EXPECT_EQ(Orb::U32{CommunityValue::of(0U, 0U, 9U)}, 9U);
  EXPECT_LT(CommunityValue::of(0U, 0U, 5U), CommunityValue::of(0U, 1U, 0U));
  EXPECT_TRUE(CommunityValue::of(0U, 0U, 5U) < Orb::U32{6});
  for (auto const& wrong : {CommunityValue::of(0U, 1U, 0U), CommunityValue::of(1U, 0U, 0U)}) {
    EXPECT_DEATH(static_cast<void>(Orb::U32{wrong}),
                 "assertion failed: part0_ == 0 && part1_ == 0 && "
                 "\"part0 and part1 must be 0 when used as standard community\"");
  }
  EXPECT_DEATH(static_cast<void>(CommunityValue::of(1U, 0U, 0U).extendedCommunity()),
               "assertion failed: part0_ == 0 && "
               "\"part0 must be 0 when used as extended community\"");
}

}  // namespace
