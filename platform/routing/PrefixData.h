#pragma once

#include "platform/orb/base/Ptr.h"
#include "platform/orb/base/Types.h"

namespace Routing {

/// What a trie keeps at a prefix: the head of whatever its user chains there. The trie holds one
/// reference to the head. None of the operations that the trie calls may change that trie, except
/// the two hooks onAddition() and onDeletion().
class ROUTEPOLICY_EXPORT PrefixData : public Orb::RefCounted {
 public:
  using Ptr = Orb::Ptr<PrefixData>;

  /// Called on the stored head when `data` is added at its prefix; returns the new head, which
  /// must not be null. Here: `data` takes the head's place.
  virtual Ptr insertData(Ptr const& data);
  /// Called on the stored head when `data` is to leave its prefix; returns the new head, or null
  /// when nothing is left, upon which the prefix leaves the trie. Here: null.
  virtual Ptr removeData(Ptr const& data);

  /// Called on a datum after routeIs() put it in.
  virtual void onAddition();
  /// Called on a datum after routeDel() took it out; not when the whole trie goes.
  virtual void onDeletion();

  /// 64 bits that the trie keeps beside the node, so that a match need not touch the datum. The
  /// trie asks the head again after every insertData() and removeData(), and makes nothing of
  /// the answer. Here: 0.
  virtual Orb::U64 summary() const noexcept;
};

}  // namespace Routing
