#include <cstdint>
#include <vector>

#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"
#include "platform/regex/PathDfa.h"
#include "platform/regex/PathSet.h"
#include "platform/regex/PatternFault.h"
#include "tests/support/PathModel.h"

// The bytes are choices that grow an AS-path pattern together with a slow matcher: the DFA engine
// and a set of patterns say of short paths what that says.

namespace {

using namespace Routing::AsPath;
using Path = std::vector<Orb::U32>;

std::vector<Path> const& paths() {
  static std::vector<Path> const all = [] {
    std::vector<Path> made{{}};
    for (std::size_t i = 0; i < made.size() && made[i].size() < 2; ++i) {
      for (Orb::U32 const number : {1U, 2U, 12U, 15U, 121U}) {
        made.push_back(made[i]);
        made.back().push_back(number);
      }
    }
    return made;
  }();
  return all;
}

Orb::Ptr<PathSet const> setOf(std::string const& pattern) {
  PathSetBuilder builder;
  if (!builder.add(pattern, kAnyOrigin)) return nullptr;
  while (!builder.work([] { return true; })) {
  }
  auto set = builder.take();
  ORB_ASSERT(set);
  return set;
}

}  // namespace

FUZZ_MOST_BYTES(32);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::size_t at = 0;
  // An input that is at its end chooses what ends a pattern.
  TestSupport::PathModel const model(
      [&](unsigned below) { return at < size ? data[at++] % below : 0U; }, size % 2 == 1);
  rd_dfa const* const dfa = rd_parse_dfa(model.text().c_str());
  ORB_ASSERT(!dfa == dfaFault(model.text()).has_value());
  if (!dfa) return 0;
  auto const set = setOf(model.text());
  for (std::size_t i = Fuzz::chosen(Fuzz::textOf(data, size), 8); i < paths().size(); i += 8) {
    Path const& path = paths()[i];
    bool const wanted = model.matches(path);
    ORB_ASSERT((rd_match(dfa, path.data(), path.size()) != 0) == wanted);
    if (set) ORB_ASSERT((set->firstMatch(path, OriginClass::igp) == 0) == wanted);
  }
  rd_free_dfa(dfa);
  return 0;
}
