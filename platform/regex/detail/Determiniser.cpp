#include "platform/regex/detail/Determiniser.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace Routing::AsPath::detail {

using Orb::U32;

namespace {

constexpr U32 kNone = PathSet::kNone;

}  // namespace

Determiniser::Determiniser(PathGraph const& graph, Alphabet const& alphabet, std::size_t cellSize,
                           Budget& budget)
    : graph_(graph),
      alphabet_(alphabet),
      classes_(alphabet.classes()),
      maxRows_(kMaxBytes / (cellSize * classes_)),
      budget_(budget),
      memory_(graph.first().get_allocator().resource()),
      endsAtEnd_(memory_),
      endsWhenEmpty_(memory_),
      firstNumbers_(memory_),
      reachedKeys_(memory_),
      reachedState_(memory_),
      rowKeys_(memory_),
      stateKeys_(memory_),
      states_(memory_),
      table_(memory_),
      takenFor_(graph.positions().size(), memory_),
      next_(memory_),
      reachedBy_(classes_, memory_),
      key_(memory_) {
  findAnchorsToMatch();
  endOfFirst_.fill(kNone);
  for (U32 const position : graph.first()) {
    auto const& at = graph.positions()[position];
    if (at.kind == PathGraph::Kind::number) firstNumbers_.push_back(position);
    if (at.kind == PathGraph::Kind::end && endsAtEnd_[position]) reach(endOfFirst_, at.pattern);
  }
  std::sort(firstNumbers_.begin(), firstNumbers_.end());
  addStart();
}

/// The patterns from this one on cannot be the first to match any more.
U32 Determiniser::limitOf(Answer const& best) const {
  return *std::max_element(best.begin(), best.end());
}

void Determiniser::reach(Answer& best, U32 pattern) const {
  Origins const origins = graph_.patterns()[pattern].origins;
  for (std::size_t i = 0; i < best.size(); ++i) {
    if ((origins >> i & 1U) != 0) best[i] = std::min(best[i], pattern);
  }
}

/// Finds the anchors that lead to a match through anchors alone: those of the end, and of the
/// path's beginning as well when the path is empty. Backwards, from those that a pattern ends with.
void Determiniser::findAnchorsToMatch() {
  auto const& positions = graph_.positions();
  auto const isAnchor = [&](U32 position) {
    return positions[position].kind != PathGraph::Kind::number;
  };
  Positions ends(positions.size() + 1, memory_);  // of the anchors in front of each, in `before`
  auto const forEdges = [&](auto const& visit) {
    for (U32 from = 0; from < positions.size(); ++from) {
      if (!isAnchor(from)) continue;
      for (U32 const to : graph_.follow(from)) {
        if (isAnchor(to)) visit(from, to);
      }
    }
  };
  forEdges([&](U32, U32 to) { ++ends[to + 1]; });
  for (std::size_t i = 1; i < ends.size(); ++i) ends[i] += ends[i - 1];
  Positions before(ends.back(), memory_);
  Positions place(ends.begin(), ends.end() - 1, memory_);
  forEdges([&](U32 from, U32 to) { before[place[to]++] = from; });

  Positions open(memory_);
  for (bool const isEmptyPath : {false, true}) {
    auto& found = isEmptyPath ? endsWhenEmpty_ : endsAtEnd_;
    found.assign(positions.size(), false);
    auto const take = [&](U32 position) {
      bool const holds = positions[position].kind == PathGraph::Kind::end || isEmptyPath;
      if (!holds || found[position]) return;
      found[position] = true;
      open.push_back(position);
    };
    for (U32 position = 0; position < positions.size(); ++position) {
      if (positions[position].isLast && isAnchor(position)) take(position);
    }
    while (!open.empty()) {
      U32 const at = open.back();
      open.pop_back();
      for (U32 i = ends[at]; i < ends[at + 1]; ++i) take(before[i]);
    }
  }
}

/// Adds a position that may come next, unless it is there, or every state has it, or it is of no
/// interest.
void Determiniser::take(Positions& next, U32 position, U32 limit) {
  auto const& at = graph_.positions()[position];
  if (at.pattern >= limit || at.kind == PathGraph::Kind::begin) return;
  if (at.isFirst && at.kind == PathGraph::Kind::number) return;
  if (std::exchange(takenFor_[position], takings_) != takings_) next.push_back(position);
}

/// The state before the first number: anchors of the beginning hold here, and nowhere else.
void Determiniser::addStart() {
  Answer best;
  best.fill(kNone);
  for (U32 pattern = 0; pattern < graph_.patterns().size(); ++pattern) {
    if (graph_.patterns()[pattern].isNullable) reach(best, pattern);
  }
  Answer empty = best;  // of the path without numbers
  Positions open(memory_);
  for (U32 const position : graph_.first()) {
    auto const& at = graph_.positions()[position];
    if (at.kind == PathGraph::Kind::begin) open.push_back(position);
    if (at.kind != PathGraph::Kind::number && endsWhenEmpty_[position]) reach(empty, at.pattern);
  }
  std::pmr::vector<bool> reached(graph_.positions().size(), false, memory_);
  for (U32 const position : open) reached[position] = true;
  Positions behind(memory_);
  while (!open.empty()) {
    U32 const at = open.back();
    open.pop_back();
    if (graph_.positions()[at].isLast) reach(best, graph_.positions()[at].pattern);
    for (U32 const next : graph_.follow(at)) {
      if (graph_.positions()[next].kind != PathGraph::Kind::begin) {
        behind.push_back(next);
      } else if (!reached[next]) {
        reached[next] = true;
        open.push_back(next);
      }
    }
  }
  Positions next(memory_);
  ++takings_;
  for (U32 const position : behind) take(next, position, limitOf(best));
  for (std::size_t i = 0; i < best.size(); ++i) empty[i] = std::min(empty[i], best[i]);
  addState(best, next, empty);
}

U32 Determiniser::stateOf(Answer const& best, std::span<U32 const> reached) {
  key_.assign(best.begin(), best.end());
  key_.insert(key_.end(), reached.begin(), reached.end());
  budget_.spend(key_.size());
  auto const [id, isNew] = reachedKeys_.add(key_);
  if (!isNew) return reachedState_[id];

  Answer now = best;
  for (U32 const position : reached) {
    if (graph_.positions()[position].isLast) reach(now, graph_.positions()[position].pattern);
  }
  U32 const limit = limitOf(now);
  next_.clear();
  ++takings_;
  for (U32 const position : reached) {
    budget_.spend(graph_.follow(position).size());
    for (U32 const behind : graph_.follow(position)) take(next_, behind, limit);
  }
  U32 const state = addState(now, next_, now);
  reachedState_.push_back(state);
  return state;
}

/// What matches if the path ends here, by what has matched and by patterns that begin at the end.
Determiniser::Answer Determiniser::atEnd(Answer answer) const {
  for (std::size_t i = 0; i < answer.size(); ++i) answer[i] = std::min(answer[i], endOfFirst_[i]);
  return answer;
}

/// Whether a pattern that is still of interest may take the next number.
bool Determiniser::canGoOn(Answer const& best, Positions const& next) const {
  return !next.empty() || (!firstNumbers_.empty() &&
                           graph_.positions()[firstNumbers_.front()].pattern < limitOf(best));
}

/// `answer`: what matches if the path ends here, apart from the anchors of the end.
U32 Determiniser::addState(Answer const& best, Positions& next, Answer answer) {
  budget_.spend(next.size() * static_cast<unsigned>(std::bit_width(next.size())));
  std::sort(next.begin(), next.end());
  answer = atEnd(answer);
  std::erase_if(next, [&](U32 position) {
    auto const& at = graph_.positions()[position];
    if (at.kind != PathGraph::Kind::end) return false;
    if (endsAtEnd_[position]) reach(answer, at.pattern);
    return true;
  });
  U32 row = kSettled;
  if (answer != atEnd(best) || canGoOn(best, next)) {
    key_.assign(best.begin(), best.end());
    key_.insert(key_.end(), next.begin(), next.end());
    budget_.spend(key_.size());
    row = rowKeys_.add(key_).id;
    if (rowKeys_.size() > maxRows_) refuse(0, "the pattern needs more than 1 MB");
  }
  key_.assign(1, row);
  key_.insert(key_.end(), answer.begin(), answer.end());
  auto const [state, isNew] = stateKeys_.add(key_);
  if (isNew) states_.push_back({row, answer});
  if (states_.size() > kMaxStates) refuse(0, "the pattern needs more than 10,000 states");
  return state;
}

void Determiniser::step() {
  Answer best;
  auto const key = rowKeys_[static_cast<U32>(filled_)];
  std::copy_n(key.begin(), best.size(), best.begin());
  U32 const limit = limitOf(best);
  for (Positions& reached : reachedBy_) reached.clear();
  auto const advance = [&](U32 position) {
    auto const classes = alphabet_.classesOf(graph_.positions()[position].set);
    budget_.spend(classes.size() + 1);
    for (U32 const one : classes) reachedBy_[one].push_back(position);
  };
  // Ascending in each class, so that equal sets are equal lists.
  auto first = firstNumbers_.begin();
  auto const end = std::find_if(first, firstNumbers_.end(), [&](U32 position) {
    return graph_.positions()[position].pattern >= limit;
  });
  for (U32 const position : key.subspan(best.size())) {
    for (; first != end && *first < position; ++first) advance(*first);
    advance(position);
  }
  for (; first != end; ++first) advance(*first);

  table_.resize((filled_ + 1) * classes_);
  for (std::size_t one = 0; one < classes_; ++one) {
    U32 const state = stateOf(best, reachedBy_[one]);
    table_[filled_ * classes_ + one] = state;
  }
  ++filled_;
}

}  // namespace Routing::AsPath::detail
