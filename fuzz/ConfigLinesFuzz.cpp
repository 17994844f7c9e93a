#include <string>
#include <string_view>

#include "config_text/ConfigTree.h"
#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"

// The lines of a configuration. Whatever stands in them, those that are refused leave no trace:
// the others alone make the same configuration, and its own lines give it again.

namespace {

using ConfigText::ConfigTree;

std::string linesOf(ConfigTree const& tree) {
  std::string lines;
  tree.eachAssignment([&](std::string const& line) { lines.append(line).append("\n"); });
  return lines;
}

std::string without(std::vector<ConfigText::LineFault> const& faults, std::string_view text) {
  std::string lines;
  auto fault = faults.begin();
  ConfigText::eachLine(text, [&](std::size_t number, std::string_view line) {
    bool const isRefused = fault != faults.end() && fault->line == number;
    isRefused ? void(++fault) : void(lines.append(line).append("\n"));
  });
  ORB_ASSERT(fault == faults.end());
  return lines;
}

std::string loaded(std::string_view text) {
  ConfigTree tree;
  ORB_ASSERT(tree.load(text).empty());
  return linesOf(tree);
}

}  // namespace

FUZZ_MOST_BYTES(1024);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view const text = Fuzz::textOf(data, size);
  ConfigTree tree;
  auto const faults = tree.load(text);
  if (!faults.empty() && faults.back().line == 0) return 0;  // more of them than are named
  std::string const lines = linesOf(tree);
  if (!faults.empty()) ORB_ASSERT(loaded(without(faults, text)) == lines);
  ORB_ASSERT(loaded(lines) == lines);
  return 0;
}
