#include <gtest/gtest.h>

#include "platform/orb/base/Error.h"
#include "platform/orb/model/Path.h"
#include "policy_config/RouteMap.h"

namespace {

using Acl::AsPathEntry;
using Acl::CommunityValue;
using Acl::Ipv6PrefixEntry;
using Acl::PrefixEntry;
using Orb::toText;

/// The names of an entity's attributes, in order, parted by blanks.
std::string attributes(Orb::Entity const& e) {
  std::string names;
  for (auto const& a : e.type().attributes) names += std::string(a.name) + ' ';
  return names;
}

TEST(Enumerations, KeepTheirNumbers) {
  struct Case {
    char const* type;
    char const* table;
  };
  for (Case const& c : {
           Case{"Acl::MatchPermit", "permitMatch 1, denyMatch 0"},
           {"Acl::BGPOrigin", "notSet 4294967295, bgpIGP 0, bgpEGP 1, bgpIncomplete 2, bgpAny 3"},
           {"Acl::RegexMode", "regexModeDfa 0, regexModePosix 1"},
           {"Acl::CommunityType",
            "communityTypeStandard 0, communityTypeExtended 1, communityTypeLarge 2"},
           {"Acl::CommunityListType",
            "communityStandard 0, communityExpanded 1, extCommunityStandard 2, "
            "extCommunityExpanded 3, largeCommunityStandard 4, largeCommunityExpanded 5"},
           {"Acl::CommSetFlag",
            "commSetDefault 0, commSetDelete 1, commSetNone 2, commSetAdditive 3"},
           {"Acl::ExtCommLinkBandwidthSetFlag",
            "extCommLinkBandwidthSetDefault 0, extCommLinkBandwidthSetAggregate 1, "
            "extCommLinkBandwidthSetAggregateRef 2, extCommLinkBandwidthSetDivideEqual 3, "
            "extCommLinkBandwidthSetDivideRatio 4"},
           {"Acl::UrlImportDuplicateOperation",
            "duplicateError 0, duplicateIgnore 1, duplicateOverride 2"},
           {"Routing::RouteMap::MatchOption",
            "matchAccessList 1, matchPrefixList 2, matchPrefixTree 3, matchBgpNextHop 4, "
            "matchGateway 5, matchMcastGroupAcl 6, matchMcastGroupPrefixList 7, "
            "matchMcastGroupPrefixTree 8, matchMcastSourceAcl 9, matchMcastSourcePrefixList "
            "10, matchMcastSourcePrefixTree 11, matchNextHop 12, matchRouteSource 13, "
            "matchNextHopPrefixList 14, matchResolvedNextHopPrefixList 15, matchAs 100, "
            "matchAsPath 101, matchAsPathList 102, matchCommunity 103, matchExtCommunity 104, "
            "matchDistance 105, matchInstance 106, matchInterface 107, matchIsisLevel 108, "
            "matchLocalPref 109, matchMed 110, matchMetric 111, matchMetricType 112, "
            "matchProtocol 113, matchRibs 114, matchTag 115, matchIpv6PrefixList 116, "
            "matchIpv6NextHop 117, matchIpv6NextHopPrefixList 118, "
            "matchIpv6ResolvedNextHopPrefixList 119, matchRouterId 120, matchAsRange 121, "
            "matchRouteType 122, matchIpAddrDynamicPrefixList 123, "
            "matchIpv6AddrDynamicPrefixList 124, matchCommunityInstances 125, "
            "matchAsPathLength 126, matchLargeCommunity 127, "
            "matchContributorAggregateAttributes 128"},
           {"Routing::RouteMap::SetOption",
            "setAsPathPrependLastAs 0, setAsPathPrepend 1, setNextHop 2, setIpv6NextHop 3, "
            "setLocalPref 4, setWeight 5, setMetric 6, setMetricType 7, setOrigin 8, "
            "setDistance 9, setTag 10, setCommunityAddReplace 11, setCommunityDelete 12, "
            "setExtCommunity 13, setContinueSeq 14, setNextHopPeerAddr 15, "
            "setIpv6NextHopPeerAddr 16, setNextHopUnchanged 17, setIpv6NextHopUnchanged 18, "
            "setEvpnNextHopUnchanged 19, setSegmentIndex 20, setIgpMetric 21, "
            "setLargeCommunity 22, setIsisLevel 23, setAsPathReplace 24, setPathAttrsNextHop "
            "25"},
           {"Routing::RouteMap::MedType",
            "medNormal 0, medIgpNexthopCost 1, medAdditive 2, medAddIgpNexthopCost 3, "
            "medSubtractive 4, medValueAddIgpNexthopCost 5, medIgpMetric 6, medAddIgpMetric "
            "7, medValueAddIgpMetric 8"},
           {"Routing::RouteMap::SetNextHopArgTag",
            "nextHopArgNone 0, nextHopArgAddr 1, nextHopArgIpv6Addr 2, nextHopArgUnchanged 3, "
            "nextHopArgIpv6Unchanged 4, nextHopArgPeerAddr 5, nextHopArgIpv6PeerAddr 6"},
           {"Routing::RouteMap::RouteType",
            "typeLocal 1, typeInternal 2, typeExternal 3, typeConfedEbgp 4"},
           {"Routing::RouteMap::Protocol",
            "protoDirect 1, protoOspf 2, protoOspf3 3, protoBGP 4, protoStatic 5, protoRip 6, "
            "protoIsis 7, protoAttachedHost 8, protoDynamic 9"},
           {"Routing::RouteMap::RouteMapOpModeType",
            "routeMapSetOpModeMerged 0, routeMapSetOpModeSequential 1, "
            "routeMapOpModeSequential 2"},
           {"Routing::Ospf::OspfExtMetricType", "ospfExtMetricType1 1, ospfExtMetricType2 2"},
           {"Routing::Isis::Level", "level1 1, level2 2, level1And2 3"},
       }) {
    Orb::EnumType const* const type = Orb::enumType(c.type);
    ASSERT_TRUE(type) << c.type;
    std::string table;
    for (auto const& e : type->enumerators) {
      table += (table.empty() ? "" : ", ") + std::string(e.name) + ' ' + std::to_string(e.value);
    }
    EXPECT_EQ(table, c.table) << c.type;
  }
}

TEST(Values, TextFormsReadBack) {
  // Each type's own text, and what it reads into when written again.
  auto const check = [](auto const& value, std::string const& text) {
    EXPECT_EQ(toText(value), text);
    EXPECT_EQ(std::decay_t<decltype(value)>(text), value) << text;
  };
  check(PrefixEntry(),
        "Value('Acl::PrefixEntry', ** {'seqno': 0, 'prefix': 0.0.0.0/0, 'permit': denyMatch, "
        "'ge': 0, 'le': 0, 'eq': 0})");
  check(
      PrefixEntry::of(4294967295U, Ipa::Prefix::parse("10.0.0.0/8"), Acl::permitMatch, 9U, 24U, 0U),
      "Value('Acl::PrefixEntry', ** {'seqno': 4294967295, 'prefix': 10.0.0.0/8, "
      "'permit': permitMatch, 'ge': 9, 'le': 24, 'eq': 0})");
  check(
      Ipv6PrefixEntry::of(5U, Ipa::Ip6Prefix::parse("2001:db8::/32"), Acl::denyMatch, 0U, 0U, 48U),
      "Value('Acl::Ipv6PrefixEntry', ** {'seqno': 5, 'ip6Prefix': 2001:db8::/32, "
      "'permit': denyMatch, 'ge': 0, 'le': 0, 'eq': 48})");
  check(CommunityValue::of(1U, 2U, 3U),
        "Value('Acl::CommunityValue', ** {'part0': 1, 'part1': 2, 'part2': 3})");
  check(AsPathEntry::of(5U, Orb::String("^6500[0-9]$"), Acl::denyMatch, Acl::bgpAny, true, false),
        "Value('Acl::AsPathEntry', ** {'seqno': 5, 'userRegex': '^6500[0-9]$', "
        "'permit': denyMatch, 'origin': bgpAny, 'validDfaRegex': True, "
        "'validPosixRegex': False})");
  check(Routing::RouteMap::Metric::of(7U, Routing::RouteMap::medIgpMetric),
        "Value('Routing::RouteMap::Metric', ** {'metricValue': 7, 'medType': medIgpMetric})");
  check(Routing::RouteMap::SetNextHopArg::of(Routing::RouteMap::nextHopArgAddr,
                                             Ipa::IpGenAddr::parse("10.0.0.1")),
        "Value('Routing::RouteMap::SetNextHopArg', ** {'tag': nextHopArgAddr, "
        "'address': 10.0.0.1})");
}

TEST(Lists, AttributesStandInTheirOrder) {
  EXPECT_EQ(attributes(*Orb::make<Acl::PrefixList>("x")),
            "version prefixEntry inPrefixListMode source sourceTimestamp duplicateHandling ");
  auto const ipv6 = Orb::make<Acl::Ipv6PrefixList>("x");
  EXPECT_EQ(attributes(*ipv6), "version ipv6PrefixEntry source sourceTimestamp duplicateHandling ");
  // The IPv6 list has no mode flag, on purpose.
  EXPECT_THROW(Orb::attributeText(*ipv6, "inPrefixListMode"), Orb::RangeException);
  auto const root = Orb::make<Acl::AclListConfig>("root");
  EXPECT_EQ(attributes(*root),
            "regexMode pathList prefixList ipv6PrefixList prefixListModeCount communityList "
            "useDeprecatedCmd ");
  EXPECT_EQ(attributes(*root->pathListIs("x")),
            "pathEntry toStrep source sourceTimestamp duplicateHandling version ");
  EXPECT_EQ(attributes(*root->communityListIs("x")->communityListEntryIs(1)),
            "seqno permit community commRegex commRegexDisplay lbwDisplay listType version ");
}

TEST(Lists, DefaultsDiffer) {
  EXPECT_EQ(PrefixEntry().permit(), Acl::denyMatch);
  EXPECT_EQ(AsPathEntry().permit(), Acl::permitMatch);
  EXPECT_EQ(AsPathEntry().origin(), Acl::notSet);
  EXPECT_TRUE(!AsPathEntry());
  AsPathEntry changed;
  changed.validPosixRegexIs(true);
  EXPECT_FALSE(!changed);
  auto const root = Orb::make<Acl::AclListConfig>("root");
  EXPECT_EQ(Orb::inspect(*root),
            "Acl::AclListConfig\n  regexMode = regexModeDfa\n  pathList = {}\n  prefixList = {}\n"
            "  ipv6PrefixList = {}\n  prefixListModeCount = 0\n  communityList = {}\n"
            "  useDeprecatedCmd = False");
  EXPECT_EQ(Orb::inspect(*root->prefixListIs("x")),
            "Acl::PrefixList\n  version = 0\n  prefixEntry = {}\n  inPrefixListMode = False\n"
            "  source = ''\n  sourceTimestamp = 0\n  duplicateHandling = duplicateError");
  EXPECT_EQ(Orb::inspect(*root->communityListIs("x")->communityListEntryIs(7)),
            "Acl::CommunityListEntry\n  seqno = 7\n  permit = permitMatch\n  community = {}\n"
            "  commRegex = ''\n  commRegexDisplay = ''\n  lbwDisplay = {}\n"
            "  listType = communityStandard\n  version = 0");
}

TEST(Lists, CommunityEntriesDescribeThemselves) {
  auto const list = Orb::make<Acl::CommunityList>("CL");
  auto const entry = list->communityListEntryIs(10);
  entry->commRegexIs("65000:.*");
  entry->permitIs(Acl::denyMatch);
  struct Case {
    Acl::CommunityListType type;
    char const* text;
  };
  for (Case const& c :
       {Case{Acl::communityStandard, "communityStandard CL seq 10 permit: denyMatch communities: "},
        {Acl::communityExpanded, "communityExpanded CL seq 10 permit: denyMatch regex: 65000:.*"},
        {Acl::extCommunityExpanded,
         "extCommunityExpanded CL seq 10 permit: denyMatch regex: 65000:.*"},
        // Large expanded lists show their communities, not the regex, on purpose.
        {Acl::largeCommunityExpanded,
         "largeCommunityExpanded CL seq 10 permit: denyMatch communities: "}}) {
    entry->listTypeIs(c.type);
    EXPECT_EQ(entry->toStrep(), c.text);
  }
  entry->communityIs(CommunityValue::of(0U, 1U, 0U), true);
  entry->communityIs(CommunityValue::of(0U, 0U, 5U), false);
  EXPECT_EQ(entry->toStrep(),
            "largeCommunityExpanded CL seq 10 permit: denyMatch communities: "
            "Value('Acl::CommunityValue', ** {'part0': 0, 'part1': 0, 'part2': 5}) "
            "Value('Acl::CommunityValue', ** {'part0': 0, 'part1': 1, 'part2': 0}) ");
}

TEST(Lists, AsPathRulesDescribeThemselves) {
  EXPECT_EQ(AsPathEntry().toStrep(),
            "< seqno=0; userRegex=; permit=permitMatch; origin=notSet; validPosixRegex=no; "
            "validDfaRegex=no >");
  auto const list = Orb::make<Acl::AsPathList>("AP");
  list->pathEntryIs(
      AsPathEntry::of(3U, Orb::String("_7_"), Acl::permitMatch, Acl::bgpIGP, false, true));
  EXPECT_EQ(list->toStrep(),
            "AP: < seqno=3; userRegex=_7_; permit=permitMatch; origin=bgpIGP; "
            "validPosixRegex=yes; validDfaRegex=no >");
  list->pathEntryDel(list->pathEntry().begin());
  EXPECT_TRUE(list->pathEntry().empty());
}

TEST(ListsDeathTest, CommunitiesOfOneKindAreNotReadAsAnother) {
  EXPECT_EQ(CommunityValue::of(0U, 1U, 2U).extendedCommunity(), 4294967298U);
  EXPECT_EQ(Orb::U32{CommunityValue::of(0U, 0U, 9U)}, 9U);
  EXPECT_LT(CommunityValue::of(0U, 0U, 5U), CommunityValue::of(0U, 1U, 0U));
  EXPECT_TRUE(CommunityValue::of(0U, 0U, 5U) < Orb::U32{6});
  auto const standard = [](CommunityValue const& v) { return v.standardCommunity(); };
  EXPECT_DEATH(standard(CommunityValue::of(0U, 1U, 0U)),
               "assertion failed: part0_ == 0 && part1_ == 0 && "
               "\"part0 and part1 must be 0 when used as standard community\"");
  EXPECT_DEATH(static_cast<void>(Orb::U32{CommunityValue::of(1U, 0U, 0U)}), "standard community");
  EXPECT_DEATH(static_cast<void>(CommunityValue::of(1U, 0U, 0U).extendedCommunity()),
               "assertion failed: part0_ == 0 && "
               "\"part0 must be 0 when used as extended community\"");
}

}  // namespace
