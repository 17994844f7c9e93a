#include "platform/regex/PathSet.h"

#include <optional>

#include "platform/regex/detail/Determiniser.h"
#include "platform/regex/detail/Scratch.h"

namespace Routing::AsPath {

using Orb::U16;
using Orb::U32;
using Orb::U64;

namespace {

constexpr U64 kSteps = 50'000'000;
constexpr U64 kStepsASlice = 1'000'000;  // some milliseconds
constexpr detail::PathGraph::Limits kLimits{20'000, 200'000, 20'000};

}  // namespace

U32 PathSet::firstMatch(std::span<U32 const> path, OriginClass origin) const noexcept {
  std::size_t state = 0;
  std::size_t const count = path.size();
  for (std::size_t i = 0; i < count && state < rowOf_.size(); ++i) {
    U32 const number = path[isBackward_ ? count - 1 - i : i];
    state = cells_[rowOf_[state] + classOf_[intervals_.of(number)]];
  }
  return answers_[state][static_cast<std::size_t>(origin)];
}

std::size_t PathSet::bytes() const noexcept {
  return sizeof *this + intervals_.bytes() + classOf_.size() * sizeof(U16) +
         cells_.size() * sizeof(U16) + rowOf_.size() * sizeof(U32) +
         answers_.size() * sizeof(Answer);
}

/// The steps of a build: patterns are added, the alphabet is cut, the table is filled row by row,
/// and packed.
struct PathSetBuilder::Steps {
  detail::PathGraph graph{kLimits, std::pmr::new_delete_resource()};
  /// The patterns for the path read backwards, as long as each is anchored at the end alone: its
  /// last numbers decide then.
  std::optional<detail::PathGraph> mirrored{std::in_place, kLimits,
                                            std::pmr::new_delete_resource()};
  detail::Budget budget{kSteps};
  std::optional<detail::Alphabet> alphabet;
  std::optional<detail::Determiniser> automaton;
};

PathSetBuilder::PathSetBuilder() : steps_(std::make_unique<Steps>()) {}
PathSetBuilder::~PathSetBuilder() = default;

bool PathSetBuilder::add(std::string_view pattern, Origins origins) {
  if (!steps_) return false;
  try {
    detail::Scratch scratch;
    detail::PatternTree const tree(pattern, scratch.memory());
    detail::PathPattern path(tree);
    if (!path.isEndAnchored() || path.isBeginAnchored()) steps_->mirrored.reset();
    steps_->graph.add(path, origins);
    if (steps_->mirrored) {
      path.mirror();
      steps_->mirrored->add(path, origins);
    }
    return true;
  } catch (detail::Refused const&) {
    steps_.reset();
    return false;
  }
}

bool PathSetBuilder::work(Orb::FunctionRef<bool()> isSpent) {
  if (!steps_ || set_) return true;
  Steps& steps = *steps_;
  try {
    steps.budget.sliceIs(kStepsASlice);
    if (!steps.automaton) {
      detail::PathGraph& graph = steps.mirrored ? *steps.mirrored : steps.graph;
      graph.finish();
      steps.alphabet.emplace(graph.sets(), steps.budget);
      steps.automaton.emplace(graph, *steps.alphabet, sizeof(U16), steps.budget);
      if (isSpent()) return false;
    }
    while (!steps.automaton->isDone()) {
      steps.budget.sliceIs(kStepsASlice);
      steps.automaton->step();
      if (isSpent()) return false;
    }
  } catch (detail::Refused const&) {
    steps_.reset();
    return true;
  }
  auto const& automaton = *steps.automaton;
  auto const set = Orb::make<PathSet>();
  std::vector<U32> lasts;
  for (U32 const start : steps.alphabet->starts()) lasts.push_back(start - 1);
  set->intervals_ = detail::IntervalIndex(lasts);
  auto const& classOf = steps.alphabet->classOf();
  set->classOf_.assign(classOf.begin(), classOf.end());
  set->isBackward_ = steps.mirrored.has_value();
  // States with a row come first, the start in front.
  std::size_t const classes = steps.alphabet->classes();
  std::vector<U16> place(automaton.states().size());
  for (bool const isSettled : {false, true}) {
    for (std::size_t i = 0; i < place.size(); ++i) {
      auto const& state = automaton.states()[i];
      if ((state.row == detail::Determiniser::kSettled) != isSettled) continue;
      place[i] = static_cast<U16>(set->answers_.size());
      if (!isSettled) set->rowOf_.push_back(static_cast<U32>(state.row * classes));
      set->answers_.push_back(state.answer);
    }
  }
  for (std::size_t row = 0; row < automaton.rows(); ++row) {
    for (U32 const to : automaton.row(row)) set->cells_.push_back(place[to]);
  }
  if (set->bytes() <= detail::kMaxBytes) set_ = set;
  steps_.reset();
  return true;
}

Orb::Ptr<PathSet const> PathSetBuilder::take() {
  steps_.reset();
  return std::exchange(set_, nullptr);
}

}  // namespace Routing::AsPath
