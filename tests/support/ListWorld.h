#pragma once

#include <map>
#include <string>

#include "policy_config/PrefixListFamily.h"
#include "policy_eval/MatchPrefixList.h"
#include "tests/support/MachineWorld.h"

namespace TestSupport {

/// The prefix lists of one family.
template <class Family>
struct ListWorld : MachineWorld<Routing::RouteMap::MachineOf<Family>> {
  using Entry = typename Family::Entry;
  using List = typename Family::List;
  using Status = Orb::Ptr<Routing::RouteMap::PrefixListStatus const>;
  using Compiled = Routing::RouteMap::GenPrefixEntry;
  using Content = std::multimap<Orb::U32, Compiled>;  // by the numbers of the entries
  static constexpr bool kIsIpv4 = Family::kFamily == Ipa::ipv4;
  static constexpr char const* kMachine = kIsIpv4 ? "PrefixList" : "Ipv6PrefixList";
  static constexpr char const* kAttribute = kIsIpv4 ? "prefixList" : "ipv6PrefixList";
  static constexpr char const* kListInAssertions = "prefixList";

  void start() {
    this->machine =
        Orb::make<Routing::RouteMap::MachineOf<Family>>(this->config, this->all, this->table);
  }
  auto lists() { return Family::lists(*this->config); }
  Orb::Ptr<List> list(Orb::Name const& name) { return Family::listIs(*this->config, name); }
  void listDel(Orb::Name const& name) { Family::listDel(*this->config, name); }

  /// A permitting entry of a list; bounds that are 0 are not set.
  static Entry entry(Orb::U32 seqno, std::string const& prefix, Orb::U32 ge = 0, Orb::U32 le = 0,
                     Orb::U32 eq = 0, Acl::MatchPermit permit = Acl::permitMatch) {
    return Entry::of(seqno, Family::Prefix::parse(prefix), permit, ge, le, eq);
  }
  /// The same for the i-th prefix of one length.
  static Entry entry(Orb::U32 seqno, Orb::U32 i, Orb::U32 ge = 0, Orb::U32 le = 0,
                     Orb::U32 eq = 0) {
    char text[32];
    std::snprintf(text, sizeof text, kIsIpv4 ? "10.%u.0.0/16" : "2001:db8:%x::/48", i);
    return entry(seqno, text, ge, le, eq);
  }
  void add(Orb::Name const& name, Entry const& added) { Family::entryIs(*list(name), added); }

  static Content contentOf(Status const& status) {
    Content entries;
    status->trie()->forEach([&](auto const&, auto const& head) {
      auto* entry = static_cast<Routing::RouteMap::PrefixListEntryData const*>(&head);
      for (; entry; entry = entry->nextEntryData().get())
        entries.emplace(entry->seqno(), entry->data());
    });
    return entries;
  }
  static Content modelOf(List const& list) {
    Content entries;
    for (auto const& e : Family::entries(list)) entries.emplace(e.seqno(), compiled(e));
    return entries;
  }
  static Compiled compiled(Entry const& e) {
    Orb::U32 const length = e.prefix().length();
    Orb::U32 const le = e.le() ? e.le() : e.ge() ? Family::kMaxLength : length;
    return Compiled::of(e.seqno(), Ipa::IpGenPrefix(e.prefix()), e.permit(),
                        e.ge() ? e.ge() : length, le, e.eq());
  }
};

}  // namespace TestSupport
