#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// A pattern of an AS-path list that an engine refuses, or both.
class PatternFaults {
 public:
  /// What the engines say to the pattern: all, or one of them.
  enum class Engines { both, dfa, posix };
  PatternFaults() = default;
  PatternFaults(std::string_view pattern, Engines engines);

  /// Whether nothing is refused.
  bool empty() const noexcept { return faults_.empty(); }
  /// Lines for people: the pattern, and below it a mark for each fault, under its place:
  ///     6451[2-9
  ///         ^ DFA engine: a [ without its ]
  /// Of a long pattern, what stands around the first place.
  std::string text() const;
  /// Adds "pattern", and "faults" with the engine, the place (from 0) and the reason of each.
  void addTo(nlohmann::ordered_json& json) const;

 private:
  struct Fault {
    char const* engine;  // as options name it
    char const* title;
    std::size_t place;
    std::string reason;
  };

  std::string pattern_;
  std::vector<Fault> faults_;
};

}  // namespace Tool
