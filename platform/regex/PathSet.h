#pragma once

#include <array>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/orb/base/FunctionRef.h"
#include "platform/orb/base/Ptr.h"
#include "platform/regex/detail/IntervalIndex.h"

/// Many patterns as one automaton.
namespace Routing::AsPath {

/// What a route's ORIGIN attribute lets match: a member of a set that is bound to one kind of
/// origin matches paths of that kind only.
enum class OriginClass : Orb::U8 { igp, egp, incomplete, other };
inline constexpr std::size_t kOriginClasses = 4;
/// A set of OriginClass, by bit.
using Origins = Orb::U8;
inline constexpr Origins kAnyOrigin = 0xf;

/// Finds the first of many patterns that match a path, in one walk over the path.
class ROUTEPOLICY_EXPORT PathSet final : public Orb::RefCounted {
 public:
  static constexpr Orb::U32 kNone = ~Orb::U32{0};

  /// The number of the first pattern that matches, counted from 0 as they were added, or kNone.
  /// Any thread, no allocation.
  Orb::U32 firstMatch(std::span<Orb::U32 const> path, OriginClass origin) const noexcept;
  /// What it takes, in bytes.
  std::size_t bytes() const noexcept;

 private:
  friend class PathSetBuilder;
  using Answer = std::array<Orb::U32, kOriginClasses>;

  detail::IntervalIndex intervals_;
  std::vector<Orb::U16> classOf_;  // by interval
  std::vector<Orb::U16> cells_;    // by row and class: the next state
  // By state, where its row starts in the cells. Those without a row come last: whatever follows,
  // the answer stays.
  std::vector<Orb::U32> rowOf_;
  std::vector<Answer> answers_;  // by state
  bool isBackward_ = false;      // the path is read from its end
};

/// Compiles a set of patterns, a slice at a time.
class ROUTEPOLICY_EXPORT PathSetBuilder {
 public:
  PathSetBuilder();
  PathSetBuilder(PathSetBuilder const&) = delete;
  PathSetBuilder& operator=(PathSetBuilder const&) = delete;
  ~PathSetBuilder();

  /// Adds a pattern behind the others. False when it is none of the DFA engine's, or beyond the
  /// bounds together with the others: there will be no set then.
  bool add(std::string_view pattern, Origins origins);
  /// Works until it is done or `isSpent` says stop; at least one step, of which the longest takes
  /// 10 ms or so. True when done. Nothing is added after the first call. After an exception (no
  /// memory) the builder is of no more use.
  bool work(Orb::FunctionRef<bool()> isSpent);
  /// The set, once, when work() is done; null when it would pass the bounds of an automaton: 10,000
  /// states or 1 MB.
  Orb::Ptr<PathSet const> take();

 private:
  struct Steps;
  std::unique_ptr<Steps> steps_;  // null when there will be no set
  Orb::Ptr<PathSet> set_;
};

}  // namespace Routing::AsPath
