#pragma once

#include "platform/orb/model/Attribute.h"
#include "policy_config/ListTypes.h"

namespace Acl {

/// One entry of an AS-path list: a regular expression over the AS path, a verdict, and the origin
/// that the route must have as well. An import sets which engines accept the expression; who makes
/// an entry otherwise sets it too (RouteMap::Helper), since no other engine compiles the entry.
class ROUTEPOLICY_EXPORT AsPathEntry : public Orb::Value<AsPathEntry> {
 public:
  ORB_VALUE(AsPathEntry, "Acl::AsPathEntry", seqno, userRegex, permit, origin, validDfaRegex,
            validPosixRegex);

  ORB_FIELD(seqno, Orb::U32);         ///< the key in the list
  ORB_FIELD(userRegex, Orb::String);  ///< the expression as given
  /// Permits by default, unlike an entry of a prefix list, on purpose.
  ORB_FIELD(permit, MatchPermit, permitMatch);
  ORB_FIELD(origin, BGPOrigin, notSet);  ///< bgpAny when any origin matches
  ORB_FIELD(validDfaRegex, bool);        ///< the DFA engine accepts the expression
  ORB_FIELD(validPosixRegex, bool);      ///< the POSIX engine accepts the expression

  /// Whether this is the default value.
  bool operator!() const { return *this == AsPathEntry(); }
  /// The description for logs: "< seqno=...; ... >".
  Orb::String toStrep() const;
};

/// A named, ordered set of AS-path entries.
class ROUTEPOLICY_EXPORT AsPathList : public Orb::NamedEntity {
 public:
  ORB_ENTITY(AsPathList, "Acl::AsPathList", pathEntry, toStrep, source, sourceTimestamp,
             duplicateHandling, version);
  explicit AsPathList(Orb::Name name);

  /// The entries, in ascending sequence number.
  ORB_COLLECTION(pathEntry, Orb::OrderedValues<AsPathEntry, &AsPathEntry::seqno>);
  /// Removes the entry at which `place` stands, an iterator of pathEntry().
  void pathEntryDel(pathEntryObject::Iterator const& place) { pathEntryDel(place->seqno()); }
  /// pathEntryIs() for each of `entries`, which has size() and forEach(visit), or for none when
  /// there is no memory; see ValueCollection::insertEach().
  template <class Entries>
  void pathEntryIsEach(Entries const& entries) {
    pathEntry_.insertEach(*this, pathEntryId_, entries);
  }
  /// pathEntryDelAll(), and then pathEntryIs() for each entry of another list, or nothing when
  /// there is no memory; see ValueCollection::replace().
  void pathEntryCopy(AsPathList const& other) {
    pathEntry_.replace(*this, pathEntryId_, other.pathEntry_);
  }
  /// The list's name, then ": " and its entries' descriptions, parted by blanks.
  ORB_DERIVED(toStrep, Orb::String);
  /// The URL or file that the list was imported from; empty for a list typed by hand.
  ORB_ATTRIBUTE(source, Orb::String);
  /// When the last import ended, in seconds since the epoch.
  ORB_ATTRIBUTE(sourceTimestamp, Orb::U32);
  /// What the import did with repeated lines.
  ORB_ATTRIBUTE(duplicateHandling, UrlImportDuplicateOperation, duplicateError);
  /// Raised by one whenever a committed session changed the list.
  ORB_COUNTER(version);
};

/// What became of an import, made by its caller and filled by it.
class ROUTEPOLICY_EXPORT AsPathUrlLoadReturnStatus : public Orb::Entity {
 public:
  ORB_ENTITY(AsPathUrlLoadReturnStatus, "Acl::AsPathUrlLoadReturnStatus", errorStr, warningOnly);

  /// Why the import failed; empty when it succeeded.
  ORB_ATTRIBUTE(errorStr, Orb::String);
  /// The import succeeded, but the engine in use does not accept some expression.
  ORB_ATTRIBUTE(warningOnly, bool);
};

}  // namespace Acl
