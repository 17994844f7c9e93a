#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"
#include "platform/regex/PathText.h"

// AS paths as text. A text that reads is written, in each notation, in a way that reads as the same
// path.

namespace {

using Routing::AsPath::Notation;
using Path = std::vector<Orb::U32>;

void checkPath(Path const& path, Notation notation) {
  std::string text = "what was there";
  Routing::AsPath::pathText(text, path, notation);
  ORB_ASSERT(notation == Notation::asdot || text.find('.') == text.npos);
  Path again{1};
  Routing::AsPath::readPath(text, again);
  ORB_ASSERT(again == path);
}

}  // namespace

FUZZ_MOST_BYTES(256);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  Path path;
  try {
    Routing::AsPath::readPath(Fuzz::textOf(data, size), path);
  } catch (Orb::ParseException const&) {
    return 0;
  }
  checkPath(path, Notation::asplain);
  checkPath(path, Notation::asdot);
  return 0;
}
