#include "platform/orb/base/Value.h"

namespace Orb::detail {

void rethrowForField(char const* typeName, char const* field, RangeException const& error) {
  // A field inside a field keeps its own, more exact name.
  if (auto const* const parse = dynamic_cast<ParseException const*>(&error);
      parse && !parse->attribute().empty()) {
    throw ParseException(*parse);
  }
  throw ParseException(std::string(typeName) + "::" + field, error.what());
}

void writeValueStart(std::string& out, char const* typeName) {
  ((out += "Value('") += typeName) += "', ** {";
}

void readValueStart(TextReader& in, char const* typeName) {
  std::string start;
  writeValueStart(start, typeName);
  in.literal(start);
}

void writeFieldName(std::string& out, char const* field, bool isFirst) {
  (((out += isFirst ? "" : ", ") += '\'') += field) += "': ";
}

void readFieldName(TextReader& in, char const* field, bool isFirst) {
  std::string name;
  writeFieldName(name, field, isFirst);
  in.literal(name);
}

}  // namespace Orb::detail
