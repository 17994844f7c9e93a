#pragma once

#include <string>
#include <string_view>

#include "platform/orb/base/String.h"

/// Binary forms: the compact encoding in which values go to other processes. Numbers are LEB128
/// (seven bits a byte, the lowest first, the highest bit set in all but the last byte), booleans
/// one byte, floats their four bytes with the lowest first, strings their length and their bytes.
/// Every type that has a text form (Text.h) has a binary form as well, in two functions found by
/// its namespace:
///   void writeBinary(std::string& out, T const& v);      appends the form
///   void readBinary(Orb::BinaryReader& in, T& v);        takes it off the front of `in`
/// A value has exactly one form. A reader accepts that alone and throws a ParseException for all
/// else, so each form cut short by any number of bytes is refused, and equal bytes mean equal
/// values.
namespace Orb {

/// Reads binary forms from the front of bytes, which must outlive it.
class ROUTEPOLICY_EXPORT BinaryReader {
 public:
  explicit BinaryReader(std::string_view bytes) noexcept : rest_(bytes) {}

  /// Takes a number that is at most `max` off the front, or throws.
  U64 number(U64 max);
  /// Takes that many bytes off the front, or throws.
  std::string_view bytes(std::size_t count);
  /// Throws unless everything has been read.
  void end() const;

  std::string_view rest() const noexcept { return rest_; }

 private:
  std::string_view rest_;
};

ROUTEPOLICY_EXPORT void writeBinary(std::string& out, U64 v);
inline void writeBinary(std::string& out, U32 v) { writeBinary(out, U64{v}); }
inline void writeBinary(std::string& out, U16 v) { writeBinary(out, U64{v}); }
inline void writeBinary(std::string& out, U8 v) { writeBinary(out, U64{v}); }
inline void writeBinary(std::string& out, bool v) { out += v ? '\1' : '\0'; }
ROUTEPOLICY_EXPORT void writeBinary(std::string& out, float v);
ROUTEPOLICY_EXPORT void writeBinary(std::string& out, String const& v);

ROUTEPOLICY_EXPORT void readBinary(BinaryReader& in, U64& v);
ROUTEPOLICY_EXPORT void readBinary(BinaryReader& in, U32& v);
ROUTEPOLICY_EXPORT void readBinary(BinaryReader& in, U16& v);
ROUTEPOLICY_EXPORT void readBinary(BinaryReader& in, U8& v);
ROUTEPOLICY_EXPORT void readBinary(BinaryReader& in, bool& v);
ROUTEPOLICY_EXPORT void readBinary(BinaryReader& in, float& v);
ROUTEPOLICY_EXPORT void readBinary(BinaryReader& in, String& v);
inline void readBinary(BinaryReader& in, Name& v) { readBinary(in, static_cast<String&>(v)); }

/// The binary form of any value.
template <class T>
std::string toBinary(T const& v) {
  std::string out;
  writeBinary(out, v);
  return out;
}

/// Reads `v` from the whole of `bytes`; `v` is unchanged when that throws.
template <class T>
void fromBinary(T& v, std::string_view bytes) {
  BinaryReader in(bytes);
  T read{};
  readBinary(in, read);
  in.end();
  v = std::move(read);
}

}  // namespace Orb
