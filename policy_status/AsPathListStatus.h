#pragma once

#include <optional>
#include <span>
#include <vector>

#include "platform/keel/BaseNotifyingType.h"
#include "policy_config/AsPathList.h"
#include "policy_config/AsnConfig.h"
#include "policy_status/AsPathMatchEntry.h"
#include "policy_status/DfaRegex.h"
#include "policy_status/PosixRegex.h"
#include "policy_status/detail/AttachedLater.h"

namespace Routing::RouteMap {

/// The compiled form of one AS-path list: its entries, and for each the expression that is compiled
/// for the list's mode. An entry whose expression that engine does not accept has none, and matches
/// nothing.
///
/// Who builds a status calls prepare() at the end and installs it in a symbol. From then on it is
/// never changed, and whoever holds it may match against it on any thread. A path set alone may be
/// attached later.
class ROUTEPOLICY_EXPORT AsPathListStatus final : public Keel::BaseNotifyingType {
 public:
  ORB_ENTITY(AsPathListStatus, "Routing::RouteMap::AsPathListStatus", name, asPathEntry,
             configVersion, asnNotation, regexMode, posixRegexMap, dfaRegexMap);
  explicit AsPathListStatus(Orb::String name);

  Orb::String const& name() const noexcept { return name_; }
  ORB_GETTER_ROW(name, key);
  /// The entries, in ascending sequence number.
  ORB_COLLECTION(asPathEntry,
                 Source<Orb::OrderedValues<Acl::AsPathEntry, &Acl::AsPathEntry::seqno>>);
  /// The version of the configured list that this was compiled from.
  ORB_ATTRIBUTE(configVersion, Orb::U32);
  /// The notation in which the POSIX engine reads a path.
  ORB_ATTRIBUTE(asnNotation, Routing::AsnNotation, asnNotationAsplain);
  /// The engine that matches use.
  using regexModeObject = Source<Orb::Scalar<Acl::RegexMode>>;
  ORB_OBJECT(regexMode, Acl::regexModeDfa)
  Acl::RegexMode regexMode() const noexcept { return regexMode_.get(); }
  void regexModeIs(Acl::RegexMode mode) { regexMode_.set(*this, regexModeId_, mode); }
  /// The engines by the sequence number of their entry; a null one is a RangeException.
  ORB_COLLECTION(posixRegexMap, Source<Orb::HashShared<PosixRegex const, &PosixRegex::seqno>>);
  ORB_COLLECTION(dfaRegexMap, Source<Orb::HashShared<DfaRegex const, &DfaRegex::seqno>>);

  /// Compiles an expression, as a user writes it, for the entry of that number. An expression that
  /// the engine refuses is traced, level 6, and changes nothing: what was compiled for the number
  /// before stays. Throws std::bad_alloc, with nothing changed.
  void posixRegexAdd(Orb::U32 seqno, Orb::String const& regexStr);
  void dfaRegexAdd(Orb::U32 seqno, Orb::String const& regexStr);
  void posixRegexDel(Orb::U32 seqno) { posixRegexMapDel(seqno); }
  void dfaRegexDel(Orb::U32 seqno) { dfaRegexMapDel(seqno); }
  /// The engine, or null.
  Orb::Ptr<PosixRegex const> posixRegex(Orb::U32 seqno) const { return posixRegexMap(seqno); }
  Orb::Ptr<DfaRegex const> dfaRegex(Orb::U32 seqno) const { return dfaRegexMap(seqno); }
  Orb::U32 posixRegexMapSize() const noexcept;
  Orb::U32 dfaRegexMapSize() const noexcept;

  /// Takes everything but the name from another status; they share entries, engines and the path
  /// set. prepare() is to be called again. Nothing changes when there is no memory. Observers see
  /// the end, and are notified of each key that differs; a Notifiee once for each attribute.
  void clone(Keel::BaseNotifyingType const& other) override;
  /// "name=... configVersion=... regexMode=... " and the entries, parted by blanks.
  Orb::String toStrep() const;

  /// Derives from the attributes what matches read, which are slower without it; does nothing when
  /// that is there. Each mutator of entries, engines or mode drops it, and the path set. Nothing
  /// changes when there is no memory.
  void prepare();
  bool isPrepared() const noexcept { return isPrepared_; }
  /// The entries that have a compiled engine of the list's mode, in ascending sequence number;
  /// empty unless prepared. Good until a change.
  std::span<AsPathMatchEntry const> matchEntries() const noexcept { return matchEntries_; }
  /// The same of one of asPathEntry(), prepared or not; none without a compiled engine of the
  /// list's mode.
  std::optional<AsPathMatchEntry> matchEntryOf(Acl::AsPathEntry const& entry) const;

  /// The expressions of all matchEntries(), added in their order with their origins, as one
  /// automaton: for lists in DFA mode. One thread attaches it, once, while others match: they see
  /// it whole or not at all. A null one, and one behind the first, is ignored.
  void pathSetIs(Orb::Ptr<AsPath::PathSet const> pathSet) const noexcept {
    pathSet_.attach(std::move(pathSet));
  }
  /// The same, or null. Good as long as the status is held.
  AsPath::PathSet const* pathSet() const noexcept { return pathSet_.get(); }

  /// Is notified of changes, from notifierIs() until it is destroyed or leave() is called. What a
  /// subclass does not override does nothing. A member that changes is notified by its key, a
  /// collection that another one replaced once, without a key.
  class ROUTEPOLICY_EXPORT Notifiee : private Orb::Notifiee {
   public:
    using NotifieeHook::isLinked;
    using NotifieeHook::leave;
    /// Leaves the status it followed; null follows none. When this throws, nothing has changed.
    void notifierIs(Orb::Ptr<AsPathListStatus const> const& notifier);

    virtual void onAsPathEntry(Orb::U32 seqno);
    virtual void onAsPathEntry();
    virtual void onConfigVersion();
    virtual void onAsnNotation();
    virtual void onRegexMode();
    virtual void onPosixRegexMap(Orb::U32 seqno);
    virtual void onPosixRegexMap();
    virtual void onDfaRegexMap(Orb::U32 seqno);
    virtual void onDfaRegexMap();

   protected:
    ~Notifiee() = default;

   private:
    void onAttribute(Orb::Entity const& entity, Orb::AttrId attribute, void const* key) final;
  };

 private:
  void dropDerived() noexcept override;

  Orb::String const name_;
  std::vector<AsPathMatchEntry> matchEntries_;
  bool isPrepared_ = false;
  mutable detail::AttachedLater<AsPath::PathSet> pathSet_;
};

ROUTEPOLICY_EXPORT Orb::Ptr<AsPathListStatus> asPathListStatusFactory(Orb::String name);

}  // namespace Routing::RouteMap
