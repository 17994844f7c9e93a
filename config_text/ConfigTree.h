#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/session/Session.h"

namespace ConfigText {

/// What is wrong with one of several lines, counted from 1, or with the rest of them: 0.
struct LineFault {
  std::size_t line;
  std::string reason;
};

/// Visits the lines of a text that say something: not blank, no comment ("#" in front). Blanks
/// around a line are taken off.
ROUTEPOLICY_EXPORT void eachLine(
    std::string_view text, Orb::FunctionRef<void(std::size_t number, std::string_view line)> visit);

/// A whole configuration: its roots, and its text of a line for each attribute.
class ROUTEPOLICY_EXPORT ConfigTree {
 public:
  /// With nothing set.
  ConfigTree();

  std::vector<Orb::Ptr<Orb::Entity>> const& roots() const noexcept { return roots_; }
  /// The root that owns the attribute with which a path begins. RangeException when none does.
  Orb::Entity& rootOf(std::string_view path) const;

  /// Sets what a text says, counters too, line by line: "PATH=VALUE", or "PATH" for what has no
  /// value of its own. Returns what was refused, such as a line that names a single entity
  /// otherwise than an earlier one does; the other lines are in force all the same.
  std::vector<LineFault> load(std::string_view text);
  /// Visits the lines that load() makes an equal configuration of.
  void eachAssignment(Orb::FunctionRef<void(std::string const& line)> visit) const;

 private:
  std::vector<Orb::Ptr<Orb::Entity>> roots_;
};

/// One change to a configuration, in the form of a line.
struct ROUTEPOLICY_EXPORT ConfigEdit {
  bool isRemoval;
  std::string_view text;  ///< "PATH=VALUE" or "PATH"; of a removal "PATH"

  /// "no PATH" is a removal.
  static ConfigEdit ofLine(std::string_view line);
  std::string line() const;
  /// Makes the change in a session. What is refused is a RangeException and changes nothing, and
  /// so is the removal of what is not there.
  void apply(Cli::Session::Session& session) const;
};

/// Applies edits, a line each; returns what was refused.
ROUTEPOLICY_EXPORT std::vector<LineFault> applyEdits(Cli::Session::Session& session,
                                                     std::string_view text);

}  // namespace ConfigText
