#include "platform/regex/PathDfa.h"

#include <memory>

#include "platform/keel/SharedByText.h"
#include "platform/regex/detail/Dfa.h"
#include "platform/regex/detail/PatternTree.h"

struct rd_dfa : Keel::MadeOfText {
  explicit rd_dfa(std::string_view pattern)
      : MadeOfText(pattern), dfa(Routing::AsPath::detail::Dfa::compiled(pattern)) {}

  Routing::AsPath::detail::Dfa const dfa;
};

namespace {

/// The patterns that are compiled, for the whole process.
Keel::SharedByText<rd_dfa>& compiledPatterns() {
  static auto* const table = new Keel::SharedByText<rd_dfa>();  // never destroyed
  return *table;
}

}  // namespace

rd_dfa const* rd_parse_dfa(char const* pattern) {
  try {
    return compiledPatterns().hold(pattern, [&] { return std::make_unique<rd_dfa>(pattern); });
  } catch (Routing::AsPath::detail::Refused const&) {
    return nullptr;
  }
}

// NOLINTNEXTLINE(readability-identifier-naming): these names are given
int rd_match(rd_dfa const* dfa, void const* as_numbers, std::size_t count) noexcept {
  return dfa->dfa.matches(as_numbers, count) ? 1 : 0;
}

rd_dfa_size rd_size(rd_dfa const* dfa) noexcept { return {dfa->dfa.states(), dfa->dfa.bytes()}; }

void rd_free_dfa(rd_dfa const* dfa) noexcept {
  if (dfa) compiledPatterns().drop(dfa);  // the table is made by the first pattern: it needs memory
}
