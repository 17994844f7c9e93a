#include <string>
#include <string_view>

#include "config_copy/RouteMapCopy.h"
#include "config_text/ConfigTree.h"
#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"

// Edits of a configuration in a session, a line each; those above a line "commit" are committed
// first. Whatever stands in them:
//  - an edit that is refused leaves the session as it was: one without it would change the same;
//  - what is accepted can be committed, and makes what the session showed.

namespace {

using Cli::Session::Session;
using ConfigText::ConfigTree;

/// A configuration, and the manager of its sessions.
struct World {
  ConfigTree tree;
  Orb::Ptr<Cli::Session::Manager> manager =
      Orb::make<Cli::Session::Manager>(tree.roots(), handlers());

  static Orb::Ptr<Routing::RouteMap::RouteMapCopyHandlerDir> const& handlers() {
    static auto const all = Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("fuzz");
    return all;
  }
  std::string lines() const {
    std::string all;
    tree.eachAssignment([&](std::string const& line) { all.append(line).append("\n"); });
    return all;
  }
};

std::string differenceOf(Session& session) {
  std::string text;
  session.difference([&](Orb::Difference const& d) {
    text.append(d.path).append(" ").append(d.before).append(" ").append(d.after).append("\n");
  });
  return text;
}

/// Makes the edits in `session`, and in `other` those that are not refused; whether any was.
bool edit(std::string_view text, Session& session, Session& other) {
  bool isRefused = false;
  ConfigText::eachLine(text, [&](std::size_t, std::string_view line) {
    auto const edit = ConfigText::ConfigEdit::ofLine(line);
    try {
      edit.apply(session);
    } catch (Orb::RangeException const&) {
      isRefused = true;
      return;
    }
    edit.apply(other);
  });
  return isRefused;
}

}  // namespace

// An execution reaches so much that to weigh how rare it is takes longer.
FUZZ_OPTIONS("-max_len=1024", "-entropic=0");

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view text = Fuzz::textOf(data, size);
  World world;
  constexpr std::string_view kCommit = "\ncommit\n";
  if (auto const end = text.find(kCommit); end != text.npos) {
    auto const first = world.manager->open("first");
    ConfigText::applyEdits(*first, text.substr(0, end));
    ORB_ASSERT(first->commit().isComplete());
    text.remove_prefix(end + kCommit.size());
  }
  auto const session = world.manager->open("with");
  auto const other = world.manager->open("without");
  bool const isRefused = edit(text, *session, *other);
  std::string const difference = differenceOf(*session);
  if (isRefused) ORB_ASSERT(difference == differenceOf(*other));
  ORB_ASSERT(session->commit().isComplete());
  // The other one follows: what it wants is running now, but for versions.
  ORB_ASSERT(differenceOf(*other).empty());
  return 0;
}
