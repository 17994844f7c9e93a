#pragma once

#include <compare>
#include <ostream>
#include <string>

#include "platform/orb/base/Binary.h"
#include "platform/orb/base/Text.h"

namespace Keel {

/// An optional unsigned value below 2^63, unset by default, in eight bytes. Unset sorts before
/// every value. Text form: the number, or None.
class ROUTEPOLICY_EXPORT MaybeU63 {
 public:
  static constexpr std::string_view typeName = "Keel::MaybeU63";

  constexpr MaybeU63() noexcept = default;
  /// A value above 2^63 - 1 is a RangeException.
  MaybeU63(Orb::U64 value);

  constexpr bool isSet() const noexcept { return raw_ != 0; }
  constexpr explicit operator bool() const noexcept { return isSet(); }
  /// The value. REQUIRES: it is set; a fatal assertion otherwise.
  Orb::U64 value() const;
  constexpr Orb::U64 valueOr(Orb::U64 other) const noexcept {
    return isSet() ? raw_ & kMax : other;
  }

  friend constexpr auto operator<=>(MaybeU63 const&, MaybeU63 const&) noexcept = default;
  friend constexpr Orb::U32 hashOf(MaybeU63 const& v) noexcept { return Orb::hashOf(v.raw_); }

 private:
  static constexpr Orb::U64 kMax = ~Orb::U64{0} >> 1;

  Orb::U64 raw_ = 0;  // the highest bit: the rest is a value
};

ROUTEPOLICY_EXPORT void writeText(std::string& out, MaybeU63 const& v);
ROUTEPOLICY_EXPORT void readText(Orb::TextReader& in, MaybeU63& v);
/// 0 when unset, else the value plus one.
ROUTEPOLICY_EXPORT void writeBinary(std::string& out, MaybeU63 const& v);
ROUTEPOLICY_EXPORT void readBinary(Orb::BinaryReader& in, MaybeU63& v);
ROUTEPOLICY_EXPORT std::ostream& operator<<(std::ostream& out, MaybeU63 const& v);

}  // namespace Keel
