#pragma once

#include <string_view>

#include "platform/orb/base/Types.h"

namespace Tool {

/// What a list says of a route.
struct MatchAnswer {
  char const* verdict = "no match";
  bool isMatch = false;
  Orb::U32 seqno = 0;      ///< of the entry that decides
  std::string_view entry;  ///< as it is shown; good until the next answer

  MatchAnswer() = default;
  MatchAnswer(bool isPermit, Orb::U32 ofEntry, std::string_view text)
      : verdict(isPermit ? "permit" : "deny"), isMatch(true), seqno(ofEntry), entry(text) {}
};

}  // namespace Tool
