#pragma once

#include <algorithm>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "platform/orb/base/Types.h"

namespace Cli::Session {

/// What a commit did to one unit.
struct CommitItem {
  enum class Outcome {
    unchanged,  ///< it was as the session wanted it
    created,
    changed,
    deleted,
    failed,      ///< the copy threw: what it had changed before stays, and no version says so yet
    notApplied,  ///< it came after the one that failed
  };

  std::string path;  ///< of the unit, such as "prefixList['P']"
  Outcome outcome = Outcome::notApplied;
  /// The sessions that have committed the unit after this session had touched it, and of whose
  /// commits something was written over by this one; in the order of those commits, parted by ", ".
  std::string overwrote = {};

  bool isApplied() const noexcept { return outcome < Outcome::failed; }
};
ROUTEPOLICY_EXPORT std::string_view outcomeName(CommitItem::Outcome outcome) noexcept;

struct CommitReport {
  std::vector<CommitItem> items;  ///< in the order in which the units were touched
  /// Why the commit failed, or else what an observer of the session's state, of a handler or of the
  /// candidate threw; empty otherwise.
  std::string error;
  std::exception_ptr cause;  ///< what was thrown

  /// Whether everything was applied.
  bool isComplete() const noexcept {
    return std::all_of(items.begin(), items.end(), [](auto const& i) { return i.isApplied(); });
  }
};

}  // namespace Cli::Session
