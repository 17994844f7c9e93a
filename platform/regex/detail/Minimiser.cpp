#include "platform/regex/detail/Minimiser.h"

#include <utility>

namespace Routing::AsPath::detail {

using Orb::U32;

namespace {

/// States in blocks that are split until no state of a block can be told from another. The members
/// of a block lie side by side; those that are marked come first.
class Partition {
 public:
  explicit Partition(std::pmr::vector<bool> const& accepts)
      : members_(accepts.size(), accepts.get_allocator().resource()),
        place_(accepts.size(), members_.get_allocator()),
        blockOf_(accepts.size(), members_.get_allocator()),
        blocks_(members_.get_allocator().resource()) {
    blocks_.reserve(accepts.size());
    for (U32 state = 0; state < accepts.size(); ++state) members_[state] = place_[state] = state;
    blocks_.push_back({0, static_cast<U32>(accepts.size()), 0});
    for (U32 state = 0; state < accepts.size(); ++state) {
      if (accepts[state]) mark(state);
    }
    split(0);
  }

  std::size_t size() const noexcept { return blocks_.size(); }
  /// Whether each state is a block of its own.
  bool isFinest() const noexcept { return blocks_.size() == members_.size(); }
  U32 blockOf(U32 state) const { return blockOf_[state]; }
  std::span<U32 const> membersOf(U32 block) const {
    return std::span(members_).subspan(blocks_[block].begin,
                                       blocks_[block].end - blocks_[block].begin);
  }

  /// Whether it is the first of its block.
  bool mark(U32 state) {
    Block& block = blocks_[blockOf_[state]];
    U32 const to = block.begin + block.marked;
    if (place_[state] < to) return false;
    U32 const other = members_[to];
    std::swap(members_[place_[state]], members_[to]);
    std::swap(place_[state], place_[other]);
    return block.marked++ == 0;
  }

  /// Makes the smaller one of the marked and the other members a block of its own. Whether there
  /// are both; no member is marked after that.
  bool split(U32 id) {
    Block& block = blocks_[id];
    U32 const marked = std::exchange(block.marked, 0);
    U32 const all = block.end - block.begin;
    if (marked == 0 || marked == all) return false;
    Block smaller{block.begin, block.begin + marked, 0};
    if (marked <= all - marked) {
      block.begin = smaller.end;
    } else {
      smaller = {block.begin + marked, block.end, 0};
      block.end = smaller.begin;
    }
    auto const made = static_cast<U32>(blocks_.size());
    for (U32 i = smaller.begin; i < smaller.end; ++i) blockOf_[members_[i]] = made;
    blocks_.push_back(smaller);
    return true;
  }

 private:
  struct Block {
    U32 begin;
    U32 end;
    U32 marked;
  };

  std::pmr::vector<U32> members_;
  std::pmr::vector<U32> place_;
  std::pmr::vector<U32> blockOf_;
  std::pmr::vector<Block> blocks_;
};

/// The transitions backwards: for each class and state, where it is reached from.
class Origin {
 public:
  explicit Origin(StateTable const& table)
      : states_(table.states()),
        ends_(table.to.size() + 1, table.to.get_allocator()),
        from_(table.to.size(), table.to.get_allocator()) {
    auto const cell = [&](std::size_t state, std::size_t one) {
      return one * states_ + table.to[state * table.classes + one];
    };
    for (std::size_t state = 0; state < states_; ++state) {
      for (std::size_t one = 0; one < table.classes; ++one) ++ends_[cell(state, one) + 1];
    }
    for (std::size_t i = 1; i < ends_.size(); ++i) ends_[i] += ends_[i - 1];
    std::pmr::vector<U32> at(ends_.begin(), ends_.end() - 1, ends_.get_allocator());
    for (std::size_t state = 0; state < states_; ++state) {
      for (std::size_t one = 0; one < table.classes; ++one) {
        from_[at[cell(state, one)]++] = static_cast<U32>(state);
      }
    }
  }
  std::span<U32 const> of(std::size_t one, U32 state) const {
    std::size_t const cell = one * states_ + state;
    return std::span(from_).subspan(ends_[cell], ends_[cell + 1] - ends_[cell]);
  }

 private:
  std::size_t const states_;
  std::pmr::vector<U32> ends_;
  std::pmr::vector<U32> from_;
};

void refine(Partition& partition, StateTable const& table) {
  Origin const origin(table);
  auto const memory = table.to.get_allocator();
  std::pmr::vector<U32> open(memory);
  open.reserve(table.states());
  for (U32 block = 0; block < partition.size(); ++block) open.push_back(block);
  std::pmr::vector<U32> touched(memory);
  std::pmr::vector<U32> into(memory);  // a copy: the splitter may be split itself
  while (!open.empty() && !partition.isFinest()) {
    U32 const splitter = open.back();
    open.pop_back();
    auto const members = partition.membersOf(splitter);
    into.assign(members.begin(), members.end());
    for (std::size_t one = 0; one < table.classes; ++one) {
      touched.clear();
      for (U32 const state : into) {
        for (U32 const from : origin.of(one, state)) {
          if (partition.mark(from)) touched.push_back(partition.blockOf(from));
        }
      }
      for (U32 const block : touched) {
        if (!partition.split(block)) continue;
        auto const made = static_cast<U32>(partition.size() - 1);
        open.push_back(made);  // the smaller half; both are looked at where the whole is to be
      }
    }
  }
}

}  // namespace

StateTable minimised(StateTable const& table) {
  Partition partition(table.accepts);
  if (!partition.isFinest()) refine(partition, table);
  // Blocks are numbered as they are reached.
  constexpr U32 kNew = ~U32{0};
  auto const memory = table.to.get_allocator();
  std::pmr::vector<U32> number(partition.size(), kNew, memory);
  std::pmr::vector<U32> states({0}, memory);
  number[partition.blockOf(0)] = 0;
  StateTable small(memory.resource());
  small.classes = table.classes;
  small.accepts.reserve(partition.size());
  small.to.reserve(partition.size() * table.classes);
  for (std::size_t i = 0; i < states.size(); ++i) {
    U32 const state = states[i];
    small.accepts.push_back(table.accepts[state]);
    for (std::size_t one = 0; one < table.classes; ++one) {
      U32 const to = table.to[state * table.classes + one];
      U32& block = number[partition.blockOf(to)];
      if (block == kNew) {
        block = static_cast<U32>(states.size());
        states.push_back(to);
      }
      small.to.push_back(block);
    }
  }
  return small;
}

}  // namespace Routing::AsPath::detail
