#include "platform/keel/MaybeU63.h"

#include "platform/orb/base/Error.h"

namespace Keel {

namespace {

constexpr std::string_view kUnset = "None";

}  // namespace

MaybeU63::MaybeU63(Orb::U64 value) : raw_(value | ~kMax) {
  if (value > kMax) {
    throw Orb::RangeException("MaybeU63::value > 9223372036854775807 not allowed");
  }
}

Orb::U64 MaybeU63::value() const {
  ORB_ASSERT(isSet());
  return raw_ & kMax;
}

void writeText(std::string& out, MaybeU63 const& v) {
  v.isSet() ? Orb::writeText(out, v.value()) : void(out += kUnset);
}

void readText(Orb::TextReader& in, MaybeU63& v) {
  if (in.rest().starts_with(kUnset)) {
    in.skip(kUnset.size());
    v = MaybeU63();
    return;
  }
  Orb::U64 value = 0;
  Orb::readText(in, value);
  try {
    v = MaybeU63(value);
  } catch (Orb::RangeException const& error) {
    throw Orb::ParseException({}, error.what());
  }
}

void writeBinary(std::string& out, MaybeU63 const& v) {
  Orb::writeBinary(out, v.isSet() ? v.value() + 1 : Orb::U64{0});
}

void readBinary(Orb::BinaryReader& in, MaybeU63& v) {
  constexpr Orb::U64 kMost = Orb::U64{1} << 63;
  Orb::U64 const read = in.number(kMost);
  v = read == 0 ? MaybeU63() : MaybeU63(read - 1);
}

std::ostream& operator<<(std::ostream& out, MaybeU63 const& v) { return out << Orb::toText(v); }

}  // namespace Keel
