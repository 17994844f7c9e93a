#pragma once

#include "policy_config/AclListConfig.h"

namespace Acl {

/// The differences between the two families of prefix lists, for code that is written once for
/// both.
struct ROUTEPOLICY_EXPORT Ipv4Family {
  using List = PrefixList;
  using Entry = PrefixEntry;
  using Prefix = Ipa::Prefix;
  static constexpr Ipa::AddressFamily kFamily = Ipa::AddressFamily::ipv4;
  static constexpr Orb::U32 kMaxLength = 32;
  static constexpr char const* kCliWord = "ip";  ///< on the command line
  static constexpr AclListConfig::Attr kLists = AclListConfig::Attr::prefixList;

  static auto const& entries(PrefixList const& list) { return list.prefixEntry(); }
  static void entryIs(PrefixList& list, PrefixEntry const& entry) { list.prefixEntryIs(entry); }
  template <class Entries>
  static void entryIsEach(PrefixList& list, Entries const& entries) {
    list.prefixEntryIsEach(entries);
  }
  static void entryDel(PrefixList& list, Orb::U32 seqno) { list.prefixEntryDel(seqno); }
  static void entryDelAll(PrefixList& list) { list.prefixEntryDelAll(); }
  static auto lists(AclListConfig const& config) { return config.prefixList(); }
  static Orb::Ptr<PrefixList> list(AclListConfig const& config, Orb::Name const& name) {
    return config.prefixList(name);
  }
  static Orb::Ptr<PrefixList> listIs(AclListConfig& config, Orb::Name const& name) {
    return config.prefixListIs(name);
  }
  static void listDel(AclListConfig& config, Orb::Name const& name) { config.prefixListDel(name); }
};

struct ROUTEPOLICY_EXPORT Ipv6Family {
  using List = Ipv6PrefixList;
  using Entry = Ipv6PrefixEntry;
  using Prefix = Ipa::Ip6Prefix;
  static constexpr Ipa::AddressFamily kFamily = Ipa::AddressFamily::ipv6;
  static constexpr Orb::U32 kMaxLength = 128;
  static constexpr char const* kCliWord = "ipv6";
  static constexpr AclListConfig::Attr kLists = AclListConfig::Attr::ipv6PrefixList;

  static auto const& entries(Ipv6PrefixList const& list) { return list.ipv6PrefixEntry(); }
  static void entryIs(Ipv6PrefixList& list, Ipv6PrefixEntry const& entry) {
    list.ipv6PrefixEntryIs(entry);
  }
  template <class Entries>
  static void entryIsEach(Ipv6PrefixList& list, Entries const& entries) {
    list.ipv6PrefixEntryIsEach(entries);
  }
  static void entryDel(Ipv6PrefixList& list, Orb::U32 seqno) { list.ipv6PrefixEntryDel(seqno); }
  static void entryDelAll(Ipv6PrefixList& list) { list.ipv6PrefixEntryDelAll(); }
  static auto lists(AclListConfig const& config) { return config.ipv6PrefixList(); }
  static Orb::Ptr<Ipv6PrefixList> list(AclListConfig const& config, Orb::Name const& name) {
    return config.ipv6PrefixList(name);
  }
  static Orb::Ptr<Ipv6PrefixList> listIs(AclListConfig& config, Orb::Name const& name) {
    return config.ipv6PrefixListIs(name);
  }
  static void listDel(AclListConfig& config, Orb::Name const& name) {
    config.ipv6PrefixListDel(name);
  }
};

}  // namespace Acl
