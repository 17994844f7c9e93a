#include "platform/orb/base/Flags.h"

#include <charconv>

namespace Orb::detail {

void unknownFlags(std::string_view typeName, U32 all) {
  char hex[8];
  auto const end = std::to_chars(hex, hex + sizeof hex, all, 16).ptr;
  std::string message(typeName.substr(typeName.rfind(':') + 1));
  message.append("::value > 0x").append(hex, end).append(" not allowed");
  throw RangeException(message);
}

}  // namespace Orb::detail
