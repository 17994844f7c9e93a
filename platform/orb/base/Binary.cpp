#include "platform/orb/base/Binary.h"

#include <bit>
#include <limits>

#include "platform/orb/base/Error.h"

namespace Orb {

namespace {

constexpr unsigned kBits = 7;       // of the number in each byte
constexpr U64 kMore = U64{1} << 7;  // another byte follows
constexpr std::size_t kLengthOfFloat = sizeof(U32);

[[noreturn]] void fail(char const* reason) { throw ParseException({}, reason); }

template <class T>
void readNarrow(BinaryReader& in, T& v) {
  v = static_cast<T>(in.number(std::numeric_limits<T>::max()));
}

}  // namespace

U64 BinaryReader::number(U64 max) {
  U64 v = 0;
  for (unsigned shift = 0;; shift += kBits) {
    U64 const byte = static_cast<U8>(bytes(1).front());
    U64 const part = byte & (kMore - 1);
    // The last byte of a longer form is not 0: a shorter form would do.
    if (byte == 0 && shift > 0) fail("a number is longer than it need be");
    if (shift >= 64 || part << shift >> shift != part) fail("a number exceeds 64 bits");
    v |= part << shift;
    if ((byte & kMore) == 0) break;
  }
  if (v > max) fail("a number is out of range");
  return v;
}

std::string_view BinaryReader::bytes(std::size_t count) {
  if (rest_.size() < count) fail("the bytes end in the middle of a value");
  std::string_view const front = rest_.substr(0, count);
  rest_.remove_prefix(count);
  return front;
}

void BinaryReader::end() const {
  if (!rest_.empty()) fail("bytes follow the value");
}

void writeBinary(std::string& out, U64 v) {
  for (; v >= kMore; v >>= kBits) out += static_cast<char>(v | kMore);
  out += static_cast<char>(v);
}

void writeBinary(std::string& out, float v) {
  auto const bits = std::bit_cast<U32>(v);
  for (unsigned i = 0; i < kLengthOfFloat; ++i) out += static_cast<char>(bits >> (8 * i));
}

void writeBinary(std::string& out, String const& v) {
  writeBinary(out, U64{v.size()});
  out += v.view();
}

void readBinary(BinaryReader& in, U64& v) { readNarrow(in, v); }
void readBinary(BinaryReader& in, U32& v) { readNarrow(in, v); }
void readBinary(BinaryReader& in, U16& v) { readNarrow(in, v); }
void readBinary(BinaryReader& in, U8& v) { readNarrow(in, v); }

void readBinary(BinaryReader& in, bool& v) { v = in.number(1) != 0; }

void readBinary(BinaryReader& in, float& v) {
  std::string_view const bytes = in.bytes(kLengthOfFloat);
  U32 bits = 0;
  for (unsigned i = 0; i < kLengthOfFloat; ++i) bits |= U32{static_cast<U8>(bytes[i])} << (8 * i);
  v = std::bit_cast<float>(bits);
}

void readBinary(BinaryReader& in, String& v) {
  v = String(in.bytes(in.number(std::numeric_limits<U32>::max())));
}

}  // namespace Orb
