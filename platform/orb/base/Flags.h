#pragma once

#include "platform/orb/base/Error.h"
#include "platform/orb/base/Value.h"

/// Values that are a set of named flags, kept in one U32. The flags stand in one table, a macro
/// that calls its argument with each name in the order of the bits, the lowest first:
///
///   #define SAMPLE_FLAGS(FLAG) FLAG(isFast) FLAG(isCheap)
///
///   class Qualities : public Orb::Flags<Qualities> {
///    public:
///     ORB_FLAGS(Qualities, "Sample::Qualities", SAMPLE_FLAGS);
///   };
///
/// gives isFast(), isFastIs(bool) and the mask isFastMask for each, kAll and kNone, equality,
/// hash, the text form with a boolean for each flag, and its reader.
namespace Orb {

/// One flag as a field of C.
template <class C, U32 mask>
struct Flag {
  using Type = bool;
  char const* name;

  static bool get(C const& value) { return (value.value() & mask) != 0; }
  static void set(C& value, bool on) {
    value.valueIs(on ? value.value() | mask : value.value() & ~mask);
  }
};

namespace detail {

/// Throws that a set of flags of this type has a bit beyond `all`.
[[noreturn]] ROUTEPOLICY_EXPORT void unknownFlags(std::string_view typeName, U32 all);

}  // namespace detail

template <class Self>
class Flags {
 public:
  U32 value() const noexcept { return value_; }
  /// A bit that is no flag's is a RangeException.
  void valueIs(U32 value) {
    if ((value & ~Self::kAll) != 0) detail::unknownFlags(Self::typeName, Self::kAll);
    value_ = value;
  }

  friend bool operator==(Self const& a, Self const& b) noexcept { return a.value_ == b.value_; }
  friend auto operator<=>(Self const& a, Self const& b) noexcept { return a.value_ <=> b.value_; }
  friend U32 hashOf(Self const& v) noexcept { return hashOf(v.value_); }
  friend std::ostream& operator<<(std::ostream& out, Self const& v) { return out << toText(v); }

 private:
  friend Self;
  Flags() noexcept = default;

  U32 value_ = 0;
};

}  // namespace Orb

/// Lists a table's names among others: ORB_ENTITY(..., flags, SAMPLE_FLAGS(ORB_LISTED) other).
#define ORB_LISTED(name) name,

#define ORB_FLAG_(name)                                                                         \
  static constexpr ::Orb::U32 name##Mask = ::Orb::U32{1} << static_cast<::Orb::U32>(Bit::name); \
  bool name() const { return Flag<Bit::name>::get(*this); }                                     \
  void name##Is(bool on) { Flag<Bit::name>::set(*this, on); }                                   \
  static constexpr Flag<Bit::name> row(::Orb::Id<Bit::name>) { return {#name}; }

#define ORB_FLAG_NAME_(name) #name,

/// The type's name, its full name and its table of flags; at most 32.
#define ORB_FLAGS(Class, fullName, TABLE)                                            \
  static constexpr char const* typeName = fullName;                                  \
  enum class Bit : ::Orb::U32 { TABLE(ORB_LISTED) };                                 \
  template <Bit bit>                                                                 \
  using Flag = ::Orb::Flag<Class, ::Orb::U32{1} << static_cast<::Orb::U32>(bit)>;    \
  static constexpr std::string_view kFlagNames[] = {TABLE(ORB_FLAG_NAME_)};          \
  static constexpr ::Orb::U32 kNone = 0;                                             \
  static constexpr ::Orb::U32 kAll = ~::Orb::U32{0} >> (32 - std::size(kFlagNames)); \
  Class() noexcept {}                                                                \
  explicit Class(::Orb::U32 value) { this->valueIs(value); }                         \
  explicit Class(std::string_view text) { ::Orb::fromText(*this, text); }            \
  TABLE(ORB_FLAG_)                                                                   \
  static constexpr auto fields() {                                                   \
    return []<std::size_t... i>(std::index_sequence<i...>) {                         \
      return std::tuple{row(::Orb::Id<Bit{i}>())...};                                \
    }                                                                                \
    (std::make_index_sequence<std::size(kFlagNames)>());                             \
  }                                                                                  \
  static_assert(std::size(kFlagNames) <= 32)
