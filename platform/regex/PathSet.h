#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "platform/orb/base/FunctionRef.h"
#include "platform/orb/base/Ptr.h"

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
};

/// Compiles a set of patterns, a slice at a time.
class ROUTEPOLICY_EXPORT PathSetBuilder {
 public:
  PathSetBuilder();
  PathSetBuilder(PathSetBuilder const&) = delete;
  PathSetBuilder& operator=(PathSetBuilder const&) = delete;
  ~PathSetBuilder();

  /// Adds a pattern behind the others; false, with nothing added, when the DFA engine refuses it.
  bool add(std::string_view pattern, Origins origins);
  /// Works until it is done or `isSpent` says stop, which is asked every few microseconds. True
  /// when done. Nothing is added after the first call. After an exception (no memory) the builder
  /// is of no more use.
  bool work(Orb::FunctionRef<bool()> isSpent);
  /// The set, once; null when it would pass the bounds of size: 10,000 states or 1 MB.
  Orb::Ptr<PathSet const> take();
};

}  // namespace Routing::AsPath
