#pragma once

#include "platform/orb/base/Types.h"

namespace Routing::PolicyEval {

/// The result of matching a route against a list. Entry is what the list's status holds of an
/// entry.
template <class Entry>
struct ListMatch {
  enum class Outcome : Orb::U8 {
    noSuchList,  ///< nothing to match against: there is no such list, or none in that family
    noMatch,     ///< no entry matches
    match,       ///< `entry` matches, and no entry of a lower sequence number does
  };

  Outcome outcome = Outcome::noSuchList;
  bool isPermit = false;  ///< the entry's verdict; false unless it matches
  Orb::U32 seqno = 0;     ///< the entry's sequence number; 0 unless it matches
  /// The entry; null unless it matches. It belongs to the status: good as long as that is held.
  Entry const* entry = nullptr;

  friend bool operator==(ListMatch const&, ListMatch const&) = default;
};

}  // namespace Routing::PolicyEval
