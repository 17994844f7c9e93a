#include <gtest/gtest.h>

#include <set>

#include "platform/orb/base/Error.h"
#include "platform/orb/model/Difference.h"
#include "policy_config/RouteMap.h"
#include "tests/support/FillTree.h"
#include "tests/support/Thrown.h"

namespace {

using namespace Routing::RouteMap;
using Orb::toText;
using SetFlags = MapEntry::SetFlags;
using Strings = std::vector<std::string>;

TEST(U32Range, HasItsEndsInOrderWhereverItComesFrom) {
  auto const text = [](Orb::U32 low, Orb::U32 high) {
    return "Value('Routing::RouteMap::U32Range', ** {'low': " + std::to_string(low) +
           ", 'high': " + std::to_string(high) + "})";
  };
  for (U32Range const& range : {U32Range(), U32Range(5, 5), U32Range(0, 4294967295U)}) {
    EXPECT_EQ(toText(range), text(range.low(), range.high()));
    EXPECT_EQ(U32Range(toText(range)), range);
  }
  std::string const refused = "U32Range::low > U32Range::high not allowed";
  U32Range range(1, 4);
  EXPECT_EQ(TestSupport::thrown<Orb::RangeException>([] { U32Range(6, 5); }), refused);
  EXPECT_EQ(TestSupport::thrown<Orb::RangeException>([] { U32Range::of(1U, 0U); }), refused);
  EXPECT_EQ(TestSupport::thrown<Orb::RangeException>([&] { U32Range(text(6, 5)); }), refused);
  EXPECT_EQ(TestSupport::thrown<Orb::RangeException>([&] { range.lowIs(5); }), refused);
  EXPECT_EQ(TestSupport::thrown<Orb::RangeException>([&] { range.highIs(0); }), refused);
  EXPECT_EQ(range, U32Range(1, 4));
}

TEST(MatchRuleDeathTest, IsWrittenWithoutItsNamesAndNotReadBack) {
  MatchRule rule(matchCommunity);
  EXPECT_FALSE(!rule);
  EXPECT_TRUE(!MatchRule(matchAccessList));
  CommListSet names;
  EXPECT_EQ(names.stringValue(), "");
  names.commListSetIs("b", true);
  names.commListSetIs("a", false);
  EXPECT_EQ(names.stringValue(), "a b");
  rule.commListSetIs(names);
  rule.u32RangeIs(U32Range(3, 9));
  std::string const text =
      "Value('Routing::RouteMap::MatchRule', ** {'option': matchCommunity, 'strValue': '', "
      "'intValue': 0, 'ipAddrValue': 0.0.0.0, 'ip6AddrValue': ::, 'int2Value': 0, "
      "'commListSet': None, 'u32Range': Value('Routing::RouteMap::U32Range', ** {'low': 3, "
      "'high': 9}), 'invert': False, 'exact': False})";
  EXPECT_EQ(toText(rule), text);
  std::string const fatal = "No String constructor for CommListSet - has collection";
  EXPECT_DEATH(MatchRule{text}, fatal);
  EXPECT_DEATH(CommListSet{"None"}, fatal);
  EXPECT_THROW(MatchRule{text.substr(0, text.find("None") - 1)}, Orb::ParseException);
}

TEST(SetFlags, EachHasItsBitAndItsAttribute) {
  Strings names;  // in the order in which ListsTest has them
  for (auto const& a : Orb::typeInfoOf<MapEntry>().attributes) {
    if (a.name.starts_with("has") || a.name.starts_with("unused")) names.emplace_back(a.name);
  }
  ASSERT_EQ(names.size(), 30U);
  auto const entry = Orb::make<MapEntry>(1U);
  for (std::size_t bit = 0; bit < names.size(); ++bit) {
    SetFlags const one(Orb::U32{1} << bit);
    EXPECT_EQ(SetFlags(toText(one)), one);
    entry->setFlagsIs(one);
    for (auto const& name : names) {
      std::string const expected = name == names[bit] ? "True" : "False";
      EXPECT_EQ(Orb::attributeText(*entry, name), expected);
      EXPECT_EQ(Orb::attributeText(*entry, "setFlags." + name), expected);
    }
    Orb::attributeTextIs(*entry, "setFlags." + names[bit], "False");
    EXPECT_EQ(entry->setFlags().value(), SetFlags::kNone);
  }
  EXPECT_EQ(SetFlags(0x3fffffff).value(), SetFlags::kAll);
  for (Orb::U32 const bad : {0x40000000U, 0x80000001U, 0xffffffffU}) {
    EXPECT_EQ(TestSupport::thrown<Orb::RangeException>([&] { SetFlags{bad}; }),
              "SetFlags::value > 0x3fffffff not allowed");
  }
}

TEST(RouteMap, DerivesTheNextHopFromItsArgument) {
  struct Case {
    SetNextHopArgTag tag;
    char const* address;
    char const* derived;
  };
  for (Case const& c : {Case{nextHopArgNone, "10.0.0.1", "0.0.0.0 ::"},
                        {nextHopArgAddr, "10.0.0.1", "10.0.0.1 ::"},
                        {nextHopArgAddr, "2001:db8::1", "0.0.0.0 ::"},
                        {nextHopArgIpv6Addr, "2001:db8::1", "0.0.0.0 2001:db8::1"},
                        {nextHopArgIpv6Addr, "10.0.0.1", "0.0.0.0 ::"},
                        {nextHopArgUnchanged, "10.0.0.1", "0.0.0.0 :: unchanged"},
                        {nextHopArgIpv6Unchanged, "2001:db8::1", "0.0.0.0 :: ipv6Unchanged"},
                        {nextHopArgPeerAddr, "10.0.0.1", "0.0.0.0 :: peer"},
                        {nextHopArgIpv6PeerAddr, "2001:db8::1", "0.0.0.0 :: ipv6Peer"}}) {
    auto const e = Orb::make<MapEntry>(1U);
    e->setNextHopArgIs(SetNextHopArg::of(c.tag, Ipa::IpGenAddr::parse(c.address)));
    EXPECT_EQ(toText(e->nextHop()) + ' ' + toText(e->ipv6NextHop()) +
                  (e->nextHopUnchanged() ? " unchanged" : "") +
                  (e->ipv6NextHopUnchanged() ? " ipv6Unchanged" : "") +
                  (e->nextHopPeerAddr() ? " peer" : "") +
                  (e->ipv6NextHopPeerAddr() ? " ipv6Peer" : ""),
              c.derived)
        << toText(c.tag) << ' ' << c.address;
  }
}

TEST(RouteMap, KeepsOneMatchRuleOfAnOptionAndACheckedNumber) {
  auto const e = Orb::make<Map>("M")->mapEntryIs(1);
  MatchRule rule(matchCommunity);
  e->matchRuleIs(rule);
  rule.exactIs(true);
  e->matchRuleIs(rule);
  EXPECT_EQ(e->matchRule().size(), 1U);
  EXPECT_EQ(e->matchRule(matchCommunity), rule);

  EXPECT_NO_THROW(e->asPathPrependLastAsIs(15));
  EXPECT_EQ(TestSupport::thrown<Orb::RangeException>([&] { e->asPathPrependLastAsIs(16); }),
            "MapEntry::asPathPrependLastAs < 0 or > 15 not allowed");
  EXPECT_EQ(e->asPathPrependLastAs(), 16) << "stored all the same";
}

/// The lines that make `after` of `before`.
Strings linesBetween(Orb::Entity const& before, Orb::Entity const& after) {
  Strings lines;
  Orb::differences(before, after, [&](Orb::Difference const& d) {
    EXPECT_NE(d.kind, Orb::Difference::Kind::removed) << d.path;
    lines.push_back(d.hasText ? d.path + '=' + d.after : d.path);
  });
  return lines;
}

/// The attributes of an entity and of all that it owns which can be written, as lines name them.
void addWritable(Orb::Entity const& entity, std::set<std::string>& names) {
  for (Orb::AttributeRef const a : attributesOf(entity)) {
    if (a.info().isWritable) names.insert(std::string(a.name()));
    if (!a.ownsEntities()) continue;
    a.eachOwned([&](Orb::ValueRef, Orb::Entity const& child) { addWritable(child, names); });
  }
}

/// Every attribute of the types that a root owns, by the attribute tables alone.
class EveryAttribute : public testing::TestWithParam<char const*> {
 protected:
  EveryAttribute() { TestSupport::fillTree(*full); }
  Orb::Ptr<Orb::Entity> const full = Orb::entityType(GetParam())->make("root");
  Orb::Ptr<Orb::Entity> const copy = Orb::entityType(GetParam())->make("root");
};

TEST_P(EveryAttribute, ComesBackLineByLine) {
  Strings lines;
  Orb::assignments(*full, [&](std::string const& line) { lines.push_back(line); });
  std::set<std::string> missing;
  addWritable(*full, missing);
  ASSERT_FALSE(missing.empty());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    // What is still to be done differs, and nothing else.
    ASSERT_EQ(linesBetween(*copy, *full),
              Strings(lines.begin() + static_cast<int>(i), lines.end()));
    Orb::Assignment const line = Orb::splitAssignment(lines[i]);
    std::string const path = '.' + std::string(line.path) + '.';
    std::erase_if(missing, [&](std::string const& name) {
      return path.find('.' + name + '.') != path.npos || path.find('.' + name + '[') != path.npos;
    });
    if (line.hasText) {
      Orb::attributeTextIs(*copy, line.path, line.text);
      EXPECT_EQ(Orb::attributeText(*copy, line.path), line.text) << line.path;
    } else {
      Orb::attributeIs(*copy, line.path);
    }
  }
  EXPECT_EQ(linesBetween(*copy, *full), Strings{});
  EXPECT_EQ(missing, std::set<std::string>{}) << "these had their defaults";
}

/// Sends each attribute of a tree through its binary form into another tree of the same entities.
void sendAttributes(Orb::Entity const& from, Orb::Entity& to) {
  for (Orb::MutableAttributeRef const a : attributesOf(to)) {
    Orb::AttributeRef const source = attributeOf(from, a.id());
    if (a.ownsEntities()) {
      source.eachOwned([&](Orb::ValueRef key, Orb::Entity const& child) {
        sendAttributes(child, *a.makeOwned(key));
      });
    }
    if (!a.hasMembers() && !a.info().isStoredValue) continue;
    std::string bytes;
    source.writeBinary(bytes);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      Orb::BinaryReader cut(std::string_view(bytes).substr(0, size));
      EXPECT_THROW(a.readBinary(cut), Orb::ParseException) << a.name() << ", " << size << " bytes";
    }
    Orb::BinaryReader in(bytes);
    a.readBinary(in);
    in.end();
  }
}

TEST_P(EveryAttribute, ComesBackFromItsBinaryForm) {
  sendAttributes(*full, *copy);
  EXPECT_EQ(linesBetween(*copy, *full), Strings{});
}

INSTANTIATE_TEST_SUITE_P(Roots, EveryAttribute,
                         testing::Values("Acl::AclListConfig", "Acl::AsPathUrlLoadReturnStatus",
                                         "Routing::RouteMap::Config",
                                         "Routing::RouteMap::PeerFilterConfig"));

}  // namespace
