#pragma once

#include "platform/orb/model/Attribute.h"
#include "policy_config/PrefixEntry.h"

namespace Acl {

/// A named, ordered set of IPv4 prefix-match entries.
class ROUTEPOLICY_EXPORT PrefixList : public Orb::NamedEntity {
 public:
  ORB_ENTITY(PrefixList, "Acl::PrefixList", version, prefixEntry, inPrefixListMode, source,
             sourceTimestamp, duplicateHandling);
  explicit PrefixList(Orb::Name name);

  /// Raised by one whenever a committed session changed the list.
  ORB_COUNTER(version);
  /// In ascending sequence number.
  ORB_COLLECTION(prefixEntry, Orb::OrderedValues<PrefixEntry, &PrefixEntry::seqno>);
  /// prefixEntryIs() for each of `entries`, which has size() and forEach(visit), or for none when
  /// there is no memory; see ValueCollection::insertEach().
  template <class Entries>
  void prefixEntryIsEach(Entries const& entries) {
    prefixEntry_.insertEach(*this, prefixEntryId_, entries);
  }
  /// prefixEntryDelAll(), and then prefixEntryIs() for each entry of another list, or nothing when
  /// there is no memory; see ValueCollection::replace().
  void prefixEntryCopy(PrefixList const& other) {
    prefixEntry_.replace(*this, prefixEntryId_, other.prefixEntry_);
  }
  /// Set while the command line is in prefix-list mode; stored and replicated only.
  ORB_ATTRIBUTE(inPrefixListMode, bool);
  /// The URL or file that the list was imported from; empty for a list typed by hand.
  ORB_ATTRIBUTE(source, Orb::String);
  /// When the last import ended, in seconds since the epoch; 0 when it failed.
  ORB_ATTRIBUTE(sourceTimestamp, Orb::U32);
  /// What the import did with repeated lines.
  ORB_ATTRIBUTE(duplicateHandling, UrlImportDuplicateOperation, duplicateError);
};

/// A named, ordered set of IPv6 prefix-match entries; no inPrefixListMode, on purpose.
class ROUTEPOLICY_EXPORT Ipv6PrefixList : public Orb::NamedEntity {
 public:
  ORB_ENTITY(Ipv6PrefixList, "Acl::Ipv6PrefixList", version, ipv6PrefixEntry, source,
             sourceTimestamp, duplicateHandling);
  explicit Ipv6PrefixList(Orb::Name name);

  ORB_COUNTER(version);
  ORB_COLLECTION(ipv6PrefixEntry, Orb::OrderedValues<Ipv6PrefixEntry, &Ipv6PrefixEntry::seqno>);
  template <class Entries>
  void ipv6PrefixEntryIsEach(Entries const& entries) {
    ipv6PrefixEntry_.insertEach(*this, ipv6PrefixEntryId_, entries);
  }
  void ipv6PrefixEntryCopy(Ipv6PrefixList const& other) {
    ipv6PrefixEntry_.replace(*this, ipv6PrefixEntryId_, other.ipv6PrefixEntry_);
  }
  ORB_ATTRIBUTE(source, Orb::String);
  ORB_ATTRIBUTE(sourceTimestamp, Orb::U32);
  ORB_ATTRIBUTE(duplicateHandling, UrlImportDuplicateOperation, duplicateError);
};

}  // namespace Acl
