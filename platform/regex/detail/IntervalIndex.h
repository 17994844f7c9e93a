#pragma once

#include <bit>
#include <cstddef>
#include <vector>

#include "platform/orb/base/Types.h"

namespace Routing::AsPath::detail {

/// Finds the interval that an AS number lies in, without a branch on the number.
///
/// The limits of the intervals are put into buckets by the leading bits of a number: fine ones
/// among small numbers, coarse ones among large ones, as AS numbers are assigned. The search halves
/// as many limits as the fullest bucket holds. Where a bucket holds fewer, it looks at those of the
/// next ones, which are not less than the number.
class IntervalIndex {
 public:
  IntervalIndex() = default;
  /// `lasts`: the last number of each interval but the last one, ascending.
  template <class Lasts>
  explicit IntervalIndex(Lasts const& lasts)
      : size_(lasts.size()), bits_(lasts.size() > 32 ? 6 : 0), first_(bucketOf(~Orb::U32{0}) + 1) {
    lasts_.assign(lasts.begin(), lasts.end());
    std::size_t fullest = 0;
    std::size_t at = 0;
    for (std::size_t bucket = 0; bucket < first_.size(); ++bucket) {
      std::size_t const begin = at;
      while (at < size_ && bucketOf(lasts_[at]) == bucket) ++at;
      first_[bucket] = static_cast<Orb::U32>(begin);
      fullest = fullest < at - begin ? at - begin : fullest;
    }
    step_ = std::bit_floor(fullest);
    lasts_.resize(size_ + 2 * step_, ~Orb::U32{0});  // no number is greater
  }

  /// How many intervals end in front of the number.
  std::size_t of(Orb::U32 number) const noexcept {
    Orb::U32 const* base = lasts_.data() + first_[bucketOf(number)];
    for (std::size_t half = step_; half > 0; half /= 2) {
      base += (base[half - 1] < number ? 1 : 0) * half;  // a product: ?: becomes a branch
    }
    return static_cast<std::size_t>(base - lasts_.data());
  }

  std::size_t bytes() const noexcept { return (lasts_.size() + first_.size()) * sizeof(Orb::U32); }

 private:
  /// Ascends with the number.
  std::size_t bucketOf(Orb::U32 number) const noexcept {
    auto const shift = static_cast<unsigned>(std::bit_width(number | (1U << bits_))) - 1 - bits_;
    return (std::size_t{shift} << bits_) + (number >> shift);
  }

  std::size_t size_ = 0;
  unsigned bits_ = 0;
  std::size_t step_ = 0;
  std::vector<Orb::U32> lasts_;
  std::vector<Orb::U32> first_;  // by bucket
};

}  // namespace Routing::AsPath::detail
