#pragma once

#include "policy_config/CommunityText.h"
#include "policy_eval/MatchCommunityList.h"
#include "policy_eval/MatchDynamicPrefixList.h"
#include "tests/soak/SoakModel.h"
#include "tests/support/AsPathWorld.h"
#include "tests/support/ListWorld.h"

/// What a status holds and answers, and what it is to hold.
namespace Soak {

using namespace Routing::RouteMap;
using How = Routing::PolicyEval::CommunityMatch;
using V4 = TestSupport::ListWorld<Acl::Ipv4Family>;
using V6 = TestSupport::ListWorld<Acl::Ipv6Family>;
using Paths = TestSupport::AsPathWorld;

constexpr U32 kRoutes = 8;
inline Ipa::IpGenPrefix const kPrefixes[] = {Ipa::Prefix::parse("10.1.0.0/16"),
                                             Ipa::Ip6Prefix::parse("2001:db8::/32")};

inline Acl::CommunityValue value(U32 i) {
  return Acl::CommunityValue::of(0U, 0U, 65000U << 16 | i);
}
/// The communities of a route, one of eight.
inline std::vector<Acl::CommunityValue> route(U32 i) {
  std::vector<Acl::CommunityValue> values;
  for (U32 bit = 0; bit < 3; ++bit) {
    if (i >> bit & 1) values.push_back(value(bit + 1));
  }
  return values;
}
inline How how(U32 i) { return i % 2 ? How::exact : How::contained; }

inline std::string contentOf(PrefixListStatus const& status) {
  std::string text;
  for (auto const& [seqno, entry] : V4::contentOf(V4::Status(&status))) {
    text += Orb::toText(entry) + '\n';
  }
  for (Ipa::IpGenPrefix const& route : kPrefixes) {
    text += std::to_string(Routing::PolicyEval::matchPrefixList(&status, route).seqno) + ' ';
  }
  return text;
}
inline std::string contentOf(AsPathListStatus const& status) {
  return Paths::contentOf(Paths::Status(&status));
}
inline std::string contentOf(CommListStatus const& status) {
  std::string text = status.toStrep().str();
  std::string buffer;
  for (U32 i = 0; i < kRoutes; ++i) {
    text += ' ' + std::to_string(matchCommunityList(&status, route(i), how(i), buffer).seqno);
  }
  return text;
}
inline std::string contentOf(DynPrefixListStatus const& status) {
  std::string text;
  for (auto const& symbol : {status.ipv4PfxListSymbol(), status.ipv6PfxListSymbol()}) {
    text += symbol ? symbol->name().str() + ' ' : "- ";
  }
  for (auto const& [vrf, state] : status.activeInVrf()) {
    text += std::to_string(vrf) + Orb::toText(state) + ' ';
    text += std::to_string(
        Routing::PolicyEval::matchDynamicPrefixList(&status, vrf, kPrefixes[0]).seqno);
  }
  for (auto const& list : {status.ipv4PfxListStatus(), status.ipv6PfxListStatus()}) {
    text += list ? contentOf(*list) : "none\n";
  }
  return text;
}

inline void checkStatus(Model const& model, Model::Key const& key, PrefixListStatus const& status) {
  auto const& lists = *model.roots.lists;
  V4::Status const held(&status);
  require(key.kind == prefix ? V4::contentOf(held) == V4::modelOf(*lists.prefixList(key.name))
                             : V6::contentOf(held) == V6::modelOf(*lists.ipv6PrefixList(key.name)),
          "the prefix list " + key.name.str() + " is not compiled as it is configured");
}
inline void checkStatus(Model const& model, Model::Key const& key, AsPathListStatus const& status) {
  auto const [mode, notation] = model.settings();
  auto const list = model.roots.lists->pathList(key.name);
  require(contentOf(status) == contentOf(*Paths::statusOf(*list, mode, notation)),
          "the AS-path list " + key.name.str() + " is not compiled as it is configured");
  require(!model.hasAllIndexes || Paths::isWhole(Paths::Status(&status)),
          key.name.str() + " has no path set");
}

inline bool matches(Model::Community const& entry, Kind kind, U32 i) {
  auto const values = route(i);
  if (!entry.isExpanded) {
    std::set<Acl::CommunityValue> const carried(values.begin(), values.end());
    return how(i) == How::exact ? carried == entry.values
                                : std::includes(carried.begin(), carried.end(),
                                                entry.values.begin(), entry.values.end());
  }
  if (!entry.expression) return false;
  std::string text;
  for (auto const& each : values) {
    if (!text.empty()) text += ' ';
    writeCommunity(text, static_cast<Acl::CommunityType>(kind - standard), each);
  }
  regex_t compiled;
  require(regcomp(&compiled, entry.expression->c_str(), REG_EXTENDED | REG_NOSUB) == 0, "regcomp");
  bool const isMatch = regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
  regfree(&compiled);
  return isMatch;
}
inline void checkStatus(Model const& model, Model::Key const& key, CommListStatus const& status) {
  auto const& entries = model.communities.at(key);
  require(status.communityListEntry().size() == entries.size(), key.name.str() + ": other entries");
  for (auto const& [seqno, entry] : entries) {
    auto const copy = status.communityListEntry(seqno);
    require(copy && Model::textOf(*copy) == entry.text, key.name.str() + ": another entry");
  }
  bool const isLong = entries.size() >= CommListReactor::kMinIndexed;
  require(!model.hasAllIndexes || isLong == (status.index() != nullptr),
          key.name.str() + ": index");
  std::string buffer;
  for (U32 i = 0; i < kRoutes; ++i) {
    auto const first = std::find_if(entries.begin(), entries.end(), [&](auto const& entry) {
      return matches(entry.second, key.kind, i);
    });
    auto const match = matchCommunityList(&status, route(i), how(i), buffer);
    bool const isSame = first == entries.end() ? !match.entry
                                               : match.entry && match.seqno == first->first &&
                                                     match.isPermit == first->second.isPermit;
    require(isSame, "the community list " + key.name.str() + " matches otherwise");
  }
}

inline void checkStatus(Model const& model, Model::Key const& key,
                        DynPrefixListStatus const& status) {
  auto const& list = model.dynamics.at(key.name);
  std::map<U32, Model::Dynamic::State> vrfs;
  for (auto const& [vrf, state] : status.activeInVrf()) vrfs[vrf] = state;
  require(vrfs == list.published, key.name.str() + " is in other VRFs");
  auto const nameOf = [](auto const& symbol) { return symbol ? symbol->name() : Orb::String(); };
  require(nameOf(status.ipv4PfxListSymbol()) == list.publishedIpv4 &&
              nameOf(status.ipv6PfxListSymbol()) == list.publishedIpv6,
          key.name.str() + " has another list");
}

}  // namespace Soak
