#include <gtest/gtest.h>

#include <map>

#include "platform/orb/base/Error.h"
#include "platform/orb/model/Difference.h"
#include "policy_config/RouteMap.h"
#include "tests/support/FillTree.h"

namespace {

using namespace Routing::RouteMap;
using Orb::toText;
using SetFlags = MapEntry::SetFlags;
using Strings = std::vector<std::string>;

/// Why `act` throws a RangeException, or "".
template <class Act>
std::string whyNot(Act const& act) {
  try {
    act();
  } catch (Orb::RangeException const& error) {
    return error.what();
  }
  return {};
}

/// The field at which `text` does not read as a T once `to` stands for `from` in it.
template <class T>
std::string badField(std::string text, std::string const& from, std::string const& to) {
  text.replace(text.find(from), from.size(), to);
  try {
    T const read(text);
  } catch (Orb::ParseException const& error) {
    EXPECT_TRUE(error.attribute().starts_with(T::typeName)) << error.attribute();
    return error.attribute().substr(error.attribute().rfind(':') + 1);
  }
  return "none";
}

/// The names of the attributes that it is told of.
class Listener final : public Orb::Notifiee {
 public:
  explicit Listener(Orb::Entity const& entity) { entity.notifieeIs(*this); }
  ~Listener() { leave(); }
  Strings told() { return std::exchange(told_, {}); }

 private:
  void onAttribute(Orb::Entity const& entity, Orb::AttrId id, void const* key) override {
    told_.emplace_back(entity.type().attributes[id].name);
    auto const* const option = static_cast<MatchOption const*>(key);
    if (told_.back() == "matchRule") told_.back() += ' ' + toText(*option);
  }
  Strings told_;
};

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
  EXPECT_EQ(whyNot([] { U32Range(6, 5); }), refused);
  EXPECT_EQ(whyNot([] { U32Range::of(1U, 0U); }), refused);
  EXPECT_EQ(whyNot([&] { U32Range(text(6, 5)); }), refused);
  EXPECT_EQ(whyNot([&] { range.lowIs(5); }), refused);
  EXPECT_EQ(whyNot([&] { range.highIs(0); }), refused);
  EXPECT_EQ(range, U32Range(1, 4));
  EXPECT_EQ(badField<U32Range>(text(1, 4), "'low': 1", "'low': x"), "low");
  EXPECT_EQ(badField<U32Range>(text(1, 4), "'high'", "'height'"), "high");
}

MatchRule sampleRule() {
  MatchRule rule(matchCommunity);
  CommListSet names;
  names.commListSetIs("b", true);
  names.commListSetIs("a", false);
  rule.commListSetIs(names);
  rule.u32RangeIs(U32Range(3, 9));
  rule.ip6AddrValueIs(Ipa::Ip6Addr::parse("2001:db8::1"));
  rule.exactIs(true);
  return rule;
}

TEST(MatchRule, IsWrittenWithoutItsNames) {
  EXPECT_EQ(toText(sampleRule()),
            "Value('Routing::RouteMap::MatchRule', ** {'option': matchCommunity, 'strValue': '', "
            "'intValue': 0, 'ipAddrValue': 0.0.0.0, 'ip6AddrValue': 2001:db8::1, 'int2Value': 0, "
            "'commListSet': None, 'u32Range': Value('Routing::RouteMap::U32Range', ** {'low': 3, "
            "'high': 9}), 'invert': False, 'exact': True})");
  EXPECT_EQ(sampleRule().commListSet().stringValue(), "a b");
  EXPECT_EQ(CommListSet().stringValue(), "");
}

TEST(MatchRule, DiffersInEveryField) {
  MatchRule const none(matchAccessList);
  EXPECT_TRUE(!none);
  EXPECT_FALSE(!MatchRule(matchPrefixList));
  for (auto const change :
       {+[](MatchRule& r) { r.optionIs(matchAs); }, +[](MatchRule& r) { r.strValueIs("x"); },
        +[](MatchRule& r) { r.intValueIs(1); },
        +[](MatchRule& r) { r.ipAddrValueIs(Ipa::IpAddr(1)); },
        +[](MatchRule& r) { r.ip6AddrValueIs(Ipa::Ip6Addr(0, 1)); },
        +[](MatchRule& r) { r.int2ValueIs(1); },
        +[](MatchRule& r) { r.commListSetIs(sampleRule().commListSet()); },
        +[](MatchRule& r) { r.u32RangeIs(U32Range(0, 1)); },
        +[](MatchRule& r) { r.invertIs(true); }, +[](MatchRule& r) { r.exactIs(true); }}) {
    MatchRule changed = none;
    change(changed);
    EXPECT_NE(changed, none) << changed;
    EXPECT_FALSE(!changed) << changed;
  }
}

TEST(MatchRuleDeathTest, ReadsUpToItsNamesAlone) {
  std::string const text = toText(sampleRule());
  std::string const fatal = "No String constructor for CommListSet - has collection";
  EXPECT_DEATH(MatchRule{text}, fatal);
  EXPECT_DEATH(CommListSet{"None"}, fatal);
  std::size_t const names = text.find("None");
  for (std::size_t n = 0; n < names; ++n) {
    EXPECT_THROW(MatchRule{text.substr(0, n)}, Orb::ParseException) << n;
  }
  for (auto const& [from, to, attribute] : {std::tuple{"matchCommunity", "matchNothing", "option"},
                                            {"''", "x", "strValue"},
                                            {"'intValue': 0", "'intValue': -1", "intValue"},
                                            {"0.0.0.0", "0.0.0", "ipAddrValue"},
                                            {"2001:db8::1", "2001:DB8::1", "ip6AddrValue"},
                                            {"'int2Value': 0", "'int2Value': 00", "int2Value"}}) {
    EXPECT_EQ(badField<MatchRule>(text, from, to), attribute);
  }
}

// In the order of their bits.
constexpr char const* kFlagNames[] = {"hasAsPathPrepend",
                                      "hasPropagate",
                                      "hasNextHop",
                                      "hasIpv6NextHop",
                                      "hasLevel",
                                      "hasLocalPref",
                                      "unused3",
                                      "hasMetric",
                                      "hasMetricType",
                                      "unused2",
                                      "hasOrigin",
                                      "hasDistance",
                                      "hasCommunityAddReplace",
                                      "hasCommunityDelete",
                                      "hasExtCommunity",
                                      "hasTag",
                                      "hasContinue",
                                      "hasWeight",
                                      "hasNextHopPeerAddr",
                                      "hasIpv6NextHopPeerAddr",
                                      "hasNextHopUnchanged",
                                      "hasIpv6NextHopUnchanged",
                                      "hasEvpnNextHopUnchanged",
                                      "hasAdditiveMetric",
                                      "hasSubtractiveMetric",
                                      "hasAsPathPrependLastAs",
                                      "hasAsPathReplace",
                                      "hasSegmentIndex",
                                      "hasIgpMetric",
                                      "hasLargeCommunity"};

TEST(SetFlags, EachHasItsBit) {
  struct Row {
    char const* name;
    Orb::U32 mask;
    bool (SetFlags::*get)() const;
    void (SetFlags::*set)(bool);
    bool (MapEntry::*derived)() const;
  };
  static constexpr Row kRows[] = {
#define FLAG_ROW(name) \
  {#name, SetFlags::name##Mask, &SetFlags::name, &SetFlags::name##Is, &MapEntry::name},
      ROUTEPOLICY_SET_FLAGS(FLAG_ROW)
#undef FLAG_ROW
  };
  ASSERT_EQ(std::size(kRows), std::size(kFlagNames));
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    Row const& row = kRows[i];
    EXPECT_STREQ(row.name, kFlagNames[i]);
    EXPECT_EQ(row.mask, Orb::U32{1} << i) << row.name;
    SetFlags one;
    (one.*row.set)(true);
    EXPECT_EQ(one.value(), row.mask) << row.name;
    EXPECT_EQ(SetFlags(toText(one)), one) << row.name;
    EXPECT_NE(toText(one).find(std::string("'") + row.name + "': True"), std::string::npos);
    SetFlags others(SetFlags::kAll);
    (others.*row.set)(false);
    EXPECT_EQ(others.value(), 0x3fffffffU & ~row.mask) << row.name;
    auto const entry = Orb::make<MapEntry>(1U);
    entry->setFlagsIs(one);
    for (Row const& other : kRows) {
      EXPECT_EQ((one.*other.get)(), &other == &row) << row.name << ' ' << other.name;
      EXPECT_EQ(((*entry).*other.derived)(), &other == &row) << row.name << ' ' << other.name;
    }
  }
  EXPECT_EQ(SetFlags::kNone, SetFlags().value());
  EXPECT_EQ(SetFlags(0x3fffffff).value(), SetFlags::kAll);
  for (Orb::U32 const bad : {0x40000000U, 0x80000001U, 0xffffffffU}) {
    EXPECT_EQ(whyNot([&] { SetFlags{bad}; }), "SetFlags::value > 0x3fffffff not allowed");
  }
}

TEST(RouteMap, StartsAtItsDefaultsInOrder) {
  std::string flags;
  std::string booleans;
  for (auto const* name : kFlagNames) {
    flags.append(flags.empty() ? "'" : ", '").append(name).append("': False");
    booleans.append("\n  ").append(name).append(" = False");
  }
  auto const config = Orb::make<Config>();
  EXPECT_EQ(inspect(*config),
            "Routing::RouteMap::Config\n  routeMapOpMode = routeMapSetOpModeMerged\n"
            "  routeMapOpModeDefault = routeMapSetOpModeMerged\n"
            "  noSetCommExplicitMembers = False\n  routeMap = {}");
  EXPECT_EQ(inspect(*Orb::make<PeerFilterConfig>()),
            "Routing::RouteMap::PeerFilterConfig\n  peerFilter = {}");
  auto const map = config->routeMapIs("M");
  EXPECT_EQ(inspect(*map),
            "Routing::RouteMap::Map\n  name = 'M'\n  mapEntry = {}\n  description = {}\n"
            "  version = 0");
  auto const entry = map->mapEntryIs(10);
  EXPECT_EQ(inspect(*entry.get()),
            "Routing::RouteMap::MapEntry\n  seqno = 10\n  permit = permitMatch\n"
            "  statementName = ''\n  statementNameFromCli = False\n  matchRule = {}\n"
            "  subRouteMap = ''\n  asPathPrepend = {}\n  asPathPrependLastAs = 0\n"
            "  asPathPrependVersion = 0\n  asPathReplace = {}\n  asPathReplaceVersion = 0\n"
            "  setNextHopArg = Value('Routing::RouteMap::SetNextHopArg', ** {'tag': "
            "nextHopArgNone, 'address': 0.0.0.0})\n  nextHop = 0.0.0.0\n  ipv6NextHop = ::\n"
            "  nextHopPeerAddr = False\n  ipv6NextHopPeerAddr = False\n"
            "  nextHopUnchanged = False\n  ipv6NextHopUnchanged = False\n  localPref = None\n"
            "  weight = None\n  metric = Value('Routing::RouteMap::Metric', ** {'metricValue': "
            "0, 'medType': medNormal})\n  metricType = ospfExtMetricType1\n  level = level1\n"
            "  origin = notSet\n  distance = 0\n  propagate = False\n  tag = None\n"
            "  communityAddReplace = None\n  communityAddReplaceVersion = 0\n"
            "  communityDelete = None\n  communityDeleteVersion = 0\n  extCommunity = None\n"
            "  extCommunityVersion = 0\n  largeCommunity = None\n  largeCommunityVersion = 0\n"
            "  lbwDisplay = ''\n  linkBandwidthRefDisplay = ''\n"
            "  linkBandwidthRefExtComm = 0\n"
            "  extCommLinkBandwidthSetFlag = extCommLinkBandwidthSetDefault\n"
            "  continueSeq = 0\n  evpnNextHopUnchanged = False\n  segmentIndex = None\n"
            "  igpMetric = None\n  setFlags = Value('Routing::RouteMap::MapEntry::SetFlags', "
            "** {" +
                flags + "})" + booleans + "\n  description = {}");
  EXPECT_EQ(inspect(*entry->extCommunityIs("C")),
            "Routing::RouteMap::CommunitySet\n  community = {}\n  communityListNameSet = {}\n"
            "  useCommunityList = False\n  flag = commSetDefault");
  EXPECT_EQ(map->mapEntryIs(10), entry);
  EXPECT_TRUE(entry->extCommunity());
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

TEST(RouteMap, TellsOfRealChangesOnly) {
  auto const map = Orb::make<Map>("M");
  auto const e = map->mapEntryIs(1);
  Listener listener(*e);
  e->matchRuleIs(sampleRule());
  e->matchRuleIs(sampleRule());
  EXPECT_EQ(listener.told(), Strings{"matchRule matchCommunity"});
  MatchRule other = sampleRule();
  other.exactIs(false);
  e->matchRuleIs(other);
  EXPECT_EQ(e->matchRule().size(), 1U);
  EXPECT_EQ(e->matchRule(matchCommunity), other);
  EXPECT_EQ(listener.told(), Strings{"matchRule matchCommunity"});

  e->asPathPrependLastAsIs(15);
  EXPECT_EQ(listener.told(), Strings{"asPathPrependLastAs"});
  EXPECT_EQ(whyNot([&] { e->asPathPrependLastAsIs(16); }),
            "MapEntry::asPathPrependLastAs < 0 or > 15 not allowed");
  EXPECT_EQ(e->asPathPrependLastAs(), 16);
  EXPECT_NO_THROW(e->asPathPrependLastAsIs(16)) << "nothing changes, so nothing is checked";
  EXPECT_EQ(listener.told(), Strings{});
}

using Leaves = std::map<std::string, std::pair<std::string, std::string>>;

using Attributes = Orb::AttributeRange<Orb::AttributeRef>;

/// What `now` holds and what `blank` does, by path, down to the single fields. Written without
/// the code that finds differences, to be compared with it.
void leaves(Attributes const& now, Attributes const& blank, std::string const& prefix,
            Leaves& out) {
  for (std::size_t i = 0; i < now.size(); ++i) {
    Orb::AttributeRef const a = now[i];
    if (!a.info().isWritable) continue;
    std::string const path = prefix + std::string(a.name());
    if (a.isValue()) {
      a.visitValue([&](Orb::ValueRef value) {
        blank[i].visitValue([&](Orb::ValueRef none) {
          if (!value.fields().empty()) {
            return leaves(value.fields(), none.fields(), path + '.', out);
          }
          out[path] = {value.text(), none.text()};
        });
      });
      continue;
    }
    std::size_t count = 0;
    auto const nameOf = [&](Orb::ValueRef key) {
      ++count;
      return path + '[' + (key ? key.text() : "") + "].";
    };
    if (a.ownsEntities()) {
      a.eachOwned([&](Orb::ValueRef key, Orb::Entity const& e) {
        auto const none = e.type().make({});
        leaves(attributesOf(e), attributesOf(std::as_const(*none)), nameOf(key), out);
      });
    } else {
      a.eachMember([&](Orb::ValueRef key, Orb::ValueRef member) {
        std::string const name = nameOf(key);
        if (member.fields().empty()) return void(out[name].first = member.text());
        a.visitNewMember(key, [&](Orb::ValueRef none) {  // the first field is the key
          leaves({member.type().fields.subspan(1), member.get()},
                 {none.type().fields.subspan(1), none.get()}, name, out);
        });
      });
    }
    out[path] = {std::to_string(count) + (a.ownsEntities() ? " owned" : " members"),
                 a.ownsEntities() ? "0 owned"
                 : count < 2      ? out[path].first
                                  : "0 members"};
  }
}

Leaves leavesOf(Orb::Entity const& root) {
  Leaves out;
  auto const blank = root.type().make({});
  leaves(attributesOf(root), attributesOf(std::as_const(*blank)), {}, out);
  return out;
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

class EveryAttribute : public testing::TestWithParam<char const*> {
 protected:
  Orb::Ptr<Orb::Entity> make() const { return Orb::entityType(GetParam())->make("root"); }
};

TEST_P(EveryAttribute, CanBeSetByName) {
  auto const full = make();
  TestSupport::fillTree(*full);
  for (auto const& [path, texts] : leavesOf(*full)) {
    EXPECT_NE(texts.first, texts.second) << path << " is at its default";
  }
}

TEST_P(EveryAttribute, ComesBackLineByLine) {
  auto const full = make();
  TestSupport::fillTree(*full);
  Strings lines;
  Orb::assignments(*full, [&](std::string const& line) { lines.push_back(line); });
  ASSERT_FALSE(lines.empty());

  auto const copy = make();
  for (std::size_t i = 0; i < lines.size(); ++i) {
    // What is still to be done differs, and nothing else.
    ASSERT_EQ(linesBetween(*copy, *full),
              Strings(lines.begin() + static_cast<int>(i), lines.end()));
    Orb::Assignment const line = Orb::splitAssignment(lines[i]);
    if (line.hasText) {
      Orb::attributeTextIs(*copy, line.path, line.text);
      EXPECT_EQ(Orb::attributeText(*copy, line.path), line.text) << line.path;
    } else {
      Orb::attributeIs(*copy, line.path);
    }
  }
  EXPECT_EQ(linesBetween(*copy, *full), Strings{});
  EXPECT_EQ(linesBetween(*full, *copy), Strings{});
  EXPECT_EQ(leavesOf(*copy), leavesOf(*full));
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
  auto const full = make();
  TestSupport::fillTree(*full);
  auto const copy = make();
  sendAttributes(*full, *copy);
  EXPECT_EQ(linesBetween(*copy, *full), Strings{});
  EXPECT_EQ(leavesOf(*copy), leavesOf(*full));
}

INSTANTIATE_TEST_SUITE_P(Roots, EveryAttribute,
                         testing::Values("Acl::AclListConfig", "Acl::AsPathUrlLoadReturnStatus",
                                         "Routing::RouteMap::Config",
                                         "Routing::RouteMap::PeerFilterConfig"),
                         [](auto const& test) {
                           std::string const name = test.param;
                           return name.substr(name.rfind(':') + 1);
                         });

}  // namespace
