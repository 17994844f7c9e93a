#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/Console.h"
#include "tool/Options.h"
#include "tool/PatternFaults.h"

namespace Tool {

/// What is wrong with a list, or with a line or an entry of it.
struct ListFault {
  std::string message;
  Orb::U64 line = 0;          ///< of a file, counted from 1; 0 when it is the fault of no line
  bool isUnreadable = false;  ///< the fault is the file's, not the list's
  PatternFaults pattern = {};
  std::optional<Orb::U32> seqno = {};  ///< of an entry of a configuration
};

/// What was found wrong with a list when it was read.
struct ListFindings {
  std::optional<ListFault> fault;   ///< why the list is of no use
  std::vector<ListFault> warnings;  ///< the first of them
  std::size_t moreWarnings = 0;     ///< how many there are besides
  std::size_t withoutEffect = 0;    ///< entries that match nothing, whatever the route is

  bool hasWarnings() const noexcept { return !warnings.empty(); }
  /// Adds a warning behind the others.
  void warn(ListFault warning);
  /// Adds "warnings", if there are any.
  void addWarningsTo(nlohmann::ordered_json& json) const;
};

/// Where a list stands: a list file, or a path of a configuration.
class ListPlace {
 public:
  static ListPlace ofFile(std::string file) { return {std::move(file), nullptr}; }
  /// `lists` and `entries` are the attributes of the configuration and of the list that hold it.
  static ListPlace inConfig(char const* lists, std::string_view name, char const* entries);

  bool isFile() const noexcept { return !entries_; }
  /// The file as it was given, or the path.
  std::string const& text() const noexcept { return text_; }
  /// Adds "file" or "path".
  void addTo(nlohmann::ordered_json& json) const;
  /// What messages name the list by.
  std::string_view subject() const noexcept;
  /// Reports what was found; of --strict, a warning becomes the fault of a list that has no other.
  void report(ListFindings& findings, Options const& options, Console& console) const;

 private:
  ListPlace(std::string text, char const* entries) : text_(std::move(text)), entries_(entries) {}
  template <class Say>
  void say(ListFault const& fault, Console const& console, Say const& say) const;

  std::string text_;
  char const* entries_;
};

/// A list as a command works on it, whatever it comes from. A kind has what is its own
/// (ListKind.h).
template <class Kind>
struct ReadList {
  ListPlace place;
  Orb::Ptr<typename Kind::List const> list = {};  ///< null or not whole when there is a fault
  ListFindings findings = {};

  bool isOfUse() const noexcept { return !findings.fault; }
};

}  // namespace Tool
