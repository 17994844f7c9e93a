#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"
#include "platform/regex/PathDfa.h"
#include "platform/regex/PathSet.h"
#include "tests/support/PathModel.h"

// The bytes are choices that grow an AS-path pattern together with a slow matcher: the DFA engine
// and a set of patterns say of short paths what that says. To compile takes longest, so an input
// checks one of the two.

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

/// Null where a pattern is refused.
using Matcher = std::function<bool(Path const& path)>;

Matcher engineOf(std::string const& pattern) {
  std::shared_ptr<rd_dfa const> const dfa(rd_parse_dfa(pattern.c_str()), rd_free_dfa);
  if (!dfa) return nullptr;
  return [dfa](Path const& path) { return rd_match(dfa.get(), path.data(), path.size()) != 0; };
}

Matcher setOf(std::string const& pattern) {
  PathSetBuilder builder;
  if (!builder.add(pattern, kAnyOrigin)) return nullptr;
  while (!builder.work([] { return true; })) {
  }
  auto const set = builder.take();
  ORB_ASSERT(set);
  return [set](Path const& path) { return set->firstMatch(path, OriginClass::igp) == 0; };
}

}  // namespace

FUZZ_MOST_BYTES(16);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::size_t at = 0;
  // An input that is at its end chooses what ends a pattern.
  TestSupport::PathModel const model(
      [&](unsigned below) { return at < size ? data[at++] % below : 0U; }, size % 2 == 1);
  std::size_t const choice = Fuzz::chosen(Fuzz::textOf(data, size), 16);
  Matcher const matches = choice % 2 == 0 ? engineOf(model.text()) : setOf(model.text());
  for (std::size_t i = choice / 2; matches && i < paths().size(); i += 8) {
    ORB_ASSERT(matches(paths()[i]) == model.matches(paths()[i]));
  }
  return 0;
}
