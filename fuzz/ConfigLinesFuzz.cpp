#include <cstdint>
#include <string>
#include <string_view>

#include "config_copy/RouteMapCopy.h"
#include "config_text/ConfigTree.h"
#include "platform/orb/base/Error.h"

// The lines of a configuration, and the same lines as edits. Whatever stands in them:
//  - a line that is refused leaves no trace;
//  - the lines that are accepted give a configuration whose own lines give it again;
//  - an edit that is refused leaves the session as it was, and what it accepted can be committed.

namespace {

constexpr std::size_t kMostLines = 24;  // each costs a whole configuration

using ConfigText::ConfigTree;

std::string linesOf(ConfigTree const& tree) {
  std::string lines;
  tree.eachAssignment([&](std::string const& line) { lines.append(line).append("\n"); });
  return lines;
}

void checkReadsBack(ConfigTree const& tree) {
  ConfigTree again;
  std::string const lines = linesOf(tree);
  ORB_ASSERT(again.load(lines).empty());
  ORB_ASSERT(linesOf(again) == lines);
}

/// The lines of `text` that are accepted one by one.
std::string accepted(std::string_view text) {
  std::string lines;
  std::size_t count = 0;
  ConfigText::eachLine(text, [&](std::size_t, std::string_view line) {
    if (++count > kMostLines) return;
    ConfigTree tree;
    ORB_ASSERT(tree.load(lines).empty());
    std::string const before = linesOf(tree);
    // All lines at once: some exclude each other.
    ConfigTree both;
    std::string more = lines;
    if (both.load(more.append(line).append("\n")).empty()) {
      lines = more;
    } else {
      ORB_ASSERT(linesOf(both) == before);
    }
  });
  return lines;
}

std::string differenceOf(Cli::Session::Session& session) {
  std::string text;
  session.difference([&](Orb::Difference const& d) {
    text.append(d.path).append(" ").append(d.before).append(" ").append(d.after).append("\n");
  });
  return text;
}

void edit(ConfigTree const& tree, std::string_view text) {
  auto const handlers = Orb::make<Routing::RouteMap::RouteMapCopyHandlerDir>("fuzz");
  auto const session = Orb::make<Cli::Session::Manager>(tree.roots(), handlers)->open("fuzz");
  std::size_t count = 0;
  ConfigText::eachLine(text, [&](std::size_t, std::string_view line) {
    if (++count > kMostLines) return;
    std::string const before = differenceOf(*session);
    try {
      ConfigText::ConfigEdit::ofLine(line).apply(*session);
    } catch (Orb::RangeException const&) {
      ORB_ASSERT(differenceOf(*session) == before);
    }
  });
  ORB_ASSERT(session->commit().isComplete());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view const text(reinterpret_cast<char const*>(data), size);
  ConfigTree tree;
  ORB_ASSERT(tree.load(accepted(text)).empty());
  checkReadsBack(tree);
  edit(tree, text);
  checkReadsBack(tree);
  return 0;
}
