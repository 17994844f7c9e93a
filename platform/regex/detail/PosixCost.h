#pragma once

#include <algorithm>
#include <string>

#include "platform/regex/detail/PatternTree.h"

namespace Routing::AsPath::detail {

/// The copies for anchors in a loop that may take nothing grow sixfold with each "_".
inline constexpr Orb::U64 kMaxLoopedAnchors = 6;

/// The anchors that can be passed at one side of a part before a character is taken.
struct Anchors {
  Orb::U64 count = 0;
  Orb::U64 depth = 0;  // the most of them behind one another

  void add(Anchors const& more) {
    count += more.count;
    depth += more.depth;
  }
  void either(Anchors const& other) {
    count += other.count;
    depth = std::max(depth, other.depth);
  }
};

/// What the system's compiler makes of a part, counted. It copies what is counted by {m,n}, keeps
/// for each node the nodes that it leads to without a character, and goes through these again and
/// again where a repeated part may take nothing. What follows an anchor it copies for that anchor:
/// where several can be passed without a character between them, for each way to pass them. Throws
/// Refused for a part of more than so many megabytes, or ten times as many milliseconds.
template <Orb::U64 megabytes>
struct PosixCost {
  Orb::U64 nodes = 0;
  Orb::U64 first = 0;  // nodes that the part can begin with
  Orb::U64 last = 0;
  Orb::U64 edges = 0;
  Orb::U64 branches = 0;  // pairs of alternatives
  Orb::U64 emptyLoops = 0;
  Orb::U64 anchors = 0;
  Orb::U64 copies = 0;  // bytes, for what stands behind anchors
  Anchors lead{};
  Anchors tail{};
  bool hasEmptyLoopOfAnchors = false;
  bool isNullable = true;
  // Separators of the part are written with the start, the end of the text: since nothing is sure
  // to stand on that side of the part.
  bool touchesStart = false;
  bool touchesEnd = false;
  bool hasAnchor = false;
  bool hasLoopedAnchor = false;

  static PosixCost ofNodes(Orb::U64 count) {
    return {.nodes = count, .first = count, .last = count, .isNullable = false};
  }

  static PosixCost ofAnchors(Orb::U64 count, Orb::U64 nodeCount) {
    PosixCost part = ofNodes(nodeCount);
    part.isNullable = true;
    part.hasAnchor = true;
    part.anchors = count;
    part.lead = part.tail = {count, 1};
    return part;
  }

  void noteAll(PosixCost const& other) {
    anchors += other.anchors;
    copies += other.copies;
    hasEmptyLoopOfAnchors = hasEmptyLoopOfAnchors || other.hasEmptyLoopOfAnchors;
    nodes += other.nodes;
    edges += other.edges;
    branches += other.branches;
    emptyLoops += other.emptyLoops;
    touchesStart = touchesStart || other.touchesStart;
    touchesEnd = touchesEnd || other.touchesEnd;
    hasAnchor = hasAnchor || other.hasAnchor;
    hasLoopedAnchor = hasLoopedAnchor || other.hasLoopedAnchor;
  }
  /// What it costs the system's compiler: measured bytes a node, an edge and a pair.
  void check() const {
    bool const isTooLarge =
        500 * nodes + 36 * edges + 16 * branches + copies > megabytes * 1'000'000;
    if (isTooLarge || emptyLoops * edges > megabytes * 500'000 ||
        (hasEmptyLoopOfAnchors && anchors > kMaxLoopedAnchors)) {
      refuse(0, "the system's engine would need more than " + std::to_string(megabytes) +
                    " MB or " + std::to_string(10 * megabytes) + " ms for it");
    }
  }
  void noteRun(Anchors const& before, Anchors const& behind) {
    if (before.count == 0 || behind.count == 0) return;
    Orb::U64 const depth = before.depth + behind.depth;
    copies += 100 * depth * depth * depth * (before.count + behind.count);
  }
  /// Behind it, another part.
  void chain(PosixCost const& next) {
    Orb::U64 const pairs = last * next.first;
    noteAll(next);
    noteRun(tail, next.lead);
    copies += 250 * tail.count * next.first;
    if (isNullable) lead.add(next.lead);
    if (!next.isNullable) tail = {};
    tail.add(next.tail);
    edges += pairs;
    if (isNullable) first += next.first;
    last = next.last + (next.isNullable ? last : 0);
    isNullable = isNullable && next.isNullable;
    check();
  }
  /// Or else another part.
  void either(PosixCost const& other) {
    branches += first;
    noteAll(other);
    ++nodes;
    first += other.first;
    last += other.last;
    lead.either(other.lead);
    tail.either(other.tail);
    isNullable = isNullable || other.isNullable;
    check();
  }
  /// The part `min` to `max` times, as the system's engine writes it out.
  PosixCost times(Orb::U32 min, Orb::U32 max) const {
    if (min == 1 && max == 1) return *this;
    PosixCost all;
    Orb::U32 const rounds = max == kUnbounded ? min + 1 : max;  // x+ becomes xx*, {2,} xxx*
    for (Orb::U32 i = 1; i <= rounds; ++i) {
      PosixCost copy = *this;
      if (max == kUnbounded && i == rounds) {
        copy.edges += copy.last * copy.first;
        copy.noteRun(copy.tail, copy.lead);
        if (copy.isNullable) {
          ++copy.emptyLoops;
          copy.hasEmptyLoopOfAnchors = copy.anchors > 0;
        }
      }
      if (i > min) copy.isNullable = true;
      all.chain(copy);
    }
    if (hasAnchor && max > 1) all.hasLoopedAnchor = true;
    return all;
  }
};

}  // namespace Routing::AsPath::detail
