#include "platform/regex/detail/Dfa.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/regex/detail/Determiniser.h"
#include "platform/regex/detail/Minimiser.h"
#include "platform/regex/detail/Scratch.h"

namespace Routing::AsPath::detail {

using Orb::U32;
using Orb::U64;

namespace {

constexpr U64 kSteps = 1'000'000;  // 8 ms or so
constexpr PathGraph::Limits kLimits{1024, 100'000, 32'768};
constexpr std::size_t kSmallTable = 1024;  // cells; a table of that size has no classes

StateTable tableOf(PathGraph const& graph, Alphabet const& alphabet, Budget& budget) {
  Determiniser subsets(graph, alphabet, sizeof(U32), budget);
  while (!subsets.isDone()) subsets.step();
  StateTable table(graph.first().get_allocator().resource());
  table.classes = alphabet.classes();
  table.to.reserve(subsets.states().size() * table.classes);
  table.accepts.reserve(subsets.states().size());
  for (Determiniser::State const& state : subsets.states()) {
    if (state.row == Determiniser::kSettled) {
      table.to.insert(table.to.end(), table.classes, static_cast<U32>(table.accepts.size()));
    } else {
      auto const row = subsets.row(state.row);
      table.to.insert(table.to.end(), row.begin(), row.end());
    }
    table.accepts.push_back(state.answer[0] == 0);
  }
  return minimised(table);
}

/// Intervals side by side that lead to the same states are one: `columnOf` gives the class by
/// interval, and the column of the table by class.
struct Columns {
  explicit Columns(Memory memory) : lasts(memory), classOf(memory), classInTable(memory) {}

  std::pmr::vector<U32> lasts;
  std::pmr::vector<U32> classOf;       // by interval
  std::pmr::vector<U32> classInTable;  // by class: one of the alphabet's
};

Columns columnsOf(StateTable const& table, Alphabet const& alphabet) {
  auto* const memory = table.to.get_allocator().resource();
  SequenceTable columns(memory);
  std::pmr::vector<U32> merged(table.classes, memory);
  std::pmr::vector<U32> column(table.states(), memory);
  Columns result(memory);
  for (std::size_t one = 0; one < table.classes; ++one) {
    for (std::size_t state = 0; state < table.states(); ++state) {
      column[state] = table.to[state * table.classes + one];
    }
    auto const [id, isNew] = columns.add(column);
    merged[one] = id;
    if (isNew) result.classInTable.push_back(static_cast<U32>(one));
  }
  for (std::size_t i = 0; i < alphabet.classOf().size(); ++i) {
    U32 const one = merged[alphabet.classOf()[i]];
    if (!result.classOf.empty() && result.classOf.back() == one) continue;
    if (i > 0) result.lasts.push_back(alphabet.starts()[i - 1] - 1);
    result.classOf.push_back(one);
  }
  return result;
}

}  // namespace

inline U32 Dfa::Numbers::operator[](std::size_t i) const noexcept {
  U32 number = 0;
  std::memcpy(&number, first + static_cast<std::ptrdiff_t>(i) * step, sizeof number);
  return number;
}

Dfa Dfa::compiled(std::string_view pattern) {
  Scratch scratch;
  PatternTree const tree(pattern, scratch.memory());
  PathGraph graph(kLimits, scratch.memory());
  PathPattern path(tree);
  bool const isBackward = path.isEndAnchored() && !path.isBeginAnchored();
  if (isBackward) path.mirror();
  graph.add(path, kAnyOrigin);
  graph.finish();
  Budget budget(kSteps);
  Alphabet const alphabet(graph.sets(), budget);
  StateTable const table = tableOf(graph, alphabet, budget);
  Columns const columns = columnsOf(table, alphabet);

  Dfa dfa;
  dfa.isBackward_ = isBackward;
  bool const isSmall = (columns.classOf.size() + 1) * table.states() <= kSmallTable;
  if (isSmall && columns.lasts.size() <= kFew) {
    std::copy(columns.lasts.begin(), columns.lasts.end(), dfa.lasts_.begin());
    dfa.walk_ = walkFor(columns.lasts.size());
  } else {
    dfa.intervals_ = IntervalIndex(columns.lasts);
    dfa.walk_ = &Dfa::walkMany;
  }
  if (!isSmall) dfa.classOf_.assign(columns.classOf.begin(), columns.classOf.end());
  std::size_t const width = isSmall ? columns.classOf.size() : columns.classInTable.size();
  dfa.stride_ = static_cast<U32>(width + 1);

  // States that are left come first.
  std::pmr::vector<U32> order(scratch.memory());
  order.reserve(table.states());
  std::pmr::vector<U32> finals(scratch.memory());
  for (U32 state = 0; state < table.states(); ++state) {
    auto const begin = table.to.begin() + static_cast<std::ptrdiff_t>(state * table.classes);
    auto const end = begin + static_cast<std::ptrdiff_t>(table.classes);
    bool const isLeft = std::any_of(begin, end, [&](U32 to) { return to != state; });
    (isLeft ? order : finals).push_back(state);
  }
  dfa.final_ = static_cast<U32>(order.size() * dfa.stride_);
  order.insert(order.end(), finals.begin(), finals.end());
  std::pmr::vector<U32> place(order.size(), scratch.memory());
  for (U32 i = 0; i < order.size(); ++i) place[order[i]] = static_cast<U32>(i * dfa.stride_);
  dfa.cells_.reserve(order.size() * dfa.stride_);
  for (U32 const state : order) {
    for (std::size_t column = 0; column < width; ++column) {
      U32 const one = columns.classInTable[isSmall ? columns.classOf[column] : column];
      dfa.cells_.push_back(place[table.to[state * table.classes + one]]);
    }
    dfa.cells_.push_back(table.accepts[state] ? 1 : 0);
  }
  if (dfa.bytes() > kMaxBytes) refuse(0, "the pattern needs more than 1 MB");
  return dfa;
}

std::size_t Dfa::bytes() const noexcept {
  return sizeof *this + intervals_.bytes() + (classOf_.size() + cells_.size()) * sizeof(U32);
}

/// Each number is compared with every limit: no branch depends on it.
template <std::size_t limits>
U32 Dfa::walkFew(Numbers numbers, std::size_t count) const noexcept {
  std::array<U32, limits> lasts{};
  std::copy_n(lasts_.begin(), limits, lasts.begin());
  U32 const* const cells = cells_.data();
  U32 at = 0;
  for (std::size_t i = 0; i < count && at < final_; ++i) {
    U32 const number = numbers[i];
    U32 interval = 0;
    for (U32 const last : lasts) interval += number > last ? 1 : 0;
    at = cells[at + interval];
  }
  return at;
}

U32 Dfa::walkMany(Numbers numbers, std::size_t count) const noexcept {
  U32 at = 0;
  for (std::size_t i = 0; i < count && at < final_; ++i) {
    std::size_t const interval = intervals_.of(numbers[i]);
    at = cells_[at + (classOf_.empty() ? interval : classOf_[interval])];
  }
  return at;
}

/// The walk for a small number of limits.
Dfa::Walk Dfa::walkFor(std::size_t limits) noexcept {
  static constexpr auto kWalks = []<std::size_t... few>(std::index_sequence<few...>) {
    return std::array<Walk, kFew + 1>{&Dfa::walkFew<few>...};
  }
  (std::make_index_sequence<kFew + 1>());
  return kWalks[limits];
}

bool Dfa::matches(void const* numbers, std::size_t count) const noexcept {
  constexpr auto kSize = static_cast<std::ptrdiff_t>(sizeof(U32));
  Numbers path{static_cast<unsigned char const*>(numbers), kSize};
  if (isBackward_ && count > 0) {
    path = {path.first + (static_cast<std::ptrdiff_t>(count) - 1) * kSize, -kSize};
  }
  return cells_[(this->*walk_)(path, count) + stride_ - 1] != 0;
}

}  // namespace Routing::AsPath::detail
