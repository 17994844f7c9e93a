#include "platform/orb/base/Value.h"

namespace Orb::detail {

namespace {

/// Throws anew, naming the field, what went wrong while it was read.
[[noreturn]] void rethrowForField(char const* typeName, char const* field,
                                  RangeException const& error) {
  // A field inside a field keeps its own, more exact name.
  if (auto const* const parse = dynamic_cast<ParseException const*>(&error);
      parse && !parse->attribute().empty()) {
    throw ParseException(*parse);
  }
  throw ParseException(std::string(typeName) + "::" + field, error.what());
}

void readValueStart(TextReader& in, char const* typeName) {
  std::string start;
  writeValueStart(start, typeName);
  in.literal(start);
}

void readFieldName(TextReader& in, char const* field, bool isFirst) {
  std::string name;
  writeFieldName(name, field, isFirst);
  in.literal(name);
}

}  // namespace

void writeValueStart(std::string& out, char const* typeName) {
  ((out += "Value('") += typeName) += "', ** {";
}

void writeFieldName(std::string& out, char const* field, bool isFirst) {
  (((out += isFirst ? "" : ", ") += '\'') += field) += "': ";
}

void readFields(TextReader& in, char const* typeName,
                std::span<FieldReader<TextReader> const> fields, void* value) {
  for (FieldReader<TextReader> const& field : fields) {
    bool const isFirst = &field == &fields.front();
    try {
      if (isFirst) readValueStart(in, typeName);
      readFieldName(in, field.name, isFirst);
      field.read(in, value);
      if (&field == &fields.back()) in.literal("})");
    } catch (RangeException const& error) {
      rethrowForField(typeName, field.name, error);
    }
  }
}

void readFields(BinaryReader& in, char const* typeName,
                std::span<FieldReader<BinaryReader> const> fields, void* value) {
  for (FieldReader<BinaryReader> const& field : fields) {
    try {
      field.read(in, value);
    } catch (RangeException const& error) {
      rethrowForField(typeName, field.name, error);
    }
  }
}

void writeFlags(std::string& out, char const* typeName, std::span<std::string_view const> names,
                U32 flags) {
  writeValueStart(out, typeName);
  for (std::size_t i = 0; i < names.size(); ++i) {
    writeFieldName(out, names[i].data(), i == 0);
    writeText(out, (flags >> i & 1) != 0);
  }
  out += "})";
}

U32 readFlags(TextReader& in, char const* typeName, std::span<std::string_view const> names) {
  U32 flags = 0;
  for (std::size_t i = 0; i < names.size(); ++i) {
    try {
      if (i == 0) readValueStart(in, typeName);
      readFieldName(in, names[i].data(), i == 0);
      bool on = false;
      readText(in, on);
      if (on) flags |= U32{1} << i;
      if (i + 1 == names.size()) in.literal("})");
    } catch (RangeException const& error) {
      rethrowForField(typeName, names[i].data(), error);
    }
  }
  return flags;
}

}  // namespace Orb::detail
