#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "policy_status/PrefixListEntryData.h"
#include "tool/Commands.h"
#include "tool/Compiler.h"
#include "tool/ListFile.h"
#include "tool/Progress.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

struct Cost {
  std::size_t entries = 0;
  std::size_t slices = 0;
  double longestSlice = 0;  // seconds
  double time = 0;          // seconds, of all slices
  std::size_t bytes = 0;

  double perEntry(double sum) const noexcept { return sum / static_cast<double>(entries); }
  double bytesPerEntry() const noexcept { return perEntry(static_cast<double>(bytes)); }
};

/// Bytes handed out by the allocator; 0 where it does not say.
std::size_t heapInUse() {
#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 33)
  struct mallinfo2 const heap = ::mallinfo2();
  return heap.uordblks + heap.hblkhd;
#else
  return 0;
#endif
}

/// The size of the compiled list where the allocator does not say what it handed out.
std::size_t bytesHeld(Routing::RouteMap::PrefixListStatus const& status, std::size_t entries) {
  return status.trie()->memory() + entries * sizeof(Routing::RouteMap::PrefixListEntryData);
}

template <class Family>
Cost compileList(ListFile<Family> const& file, Console& console) {
  auto const& entries = Family::entries(*file.list);
  Cost cost;
  cost.entries = entries.size();
  Compiler<Family> compiler(file.config, file.list);
  Progress progress(cost.entries, console);
  auto at = entries.begin();
  std::size_t done = 0;
  std::size_t const heapBefore = heapInUse();
  while (!compiler.isDone()) {
    double const slice = compiler.slice();
    ++cost.slices;
    cost.time += slice;
    cost.longestSlice = std::max(cost.longestSlice, slice);
    if (!progress.isDue(cost.time) || compiler.isDone()) continue;
    for (; at != entries.end() && at->seqno() < compiler.bookmark(); ++at) ++done;
    progress.show(done, cost.time);
  }
  std::size_t const heapAfter = heapInUse();
  cost.bytes =
      heapAfter > heapBefore ? heapAfter - heapBefore : bytesHeld(*compiler.status(), cost.entries);
  return cost;
}

void writeText(Cost const& cost, std::string& out) {
  char text[256];
  int const length = std::snprintf(text, sizeof text,
                                   "entries          %zu\n"
                                   "slices           %zu\n"
                                   "longest slice    %.3f ms\n"
                                   "time per entry   %.0f ns\n"
                                   "bytes per entry  %.0f\n",
                                   cost.entries, cost.slices, cost.longestSlice * 1e3,
                                   cost.perEntry(cost.time) * 1e9, cost.bytesPerEntry());
  out.append(text, static_cast<std::size_t>(length));
}

Json jsonOf(std::string const& file, Cost const& cost) {
  return {{"file", file},
          {"entries", cost.entries},
          {"slices", cost.slices},
          {"longestSliceSeconds", cost.longestSlice},
          {"secondsPerEntry", cost.perEntry(cost.time)},
          {"bytesPerEntry", cost.bytesPerEntry()}};
}

template <class Family>
void compileFile(Options const& options, Console& console) {
  auto const file = readListFile<Family>(options.files.front(), options.onDuplicate, console);
  if (file.fault) return;
  Cost const cost = compileList(file, console);
  if (options.json) return console.jsonLine(jsonOf(options.files.front(), cost));
  writeText(cost, console.text());
}

}  // namespace

void compile(Options const& options, Console& console) {
  if (options.ipv6) {
    compileFile<Acl::Ipv6Family>(options, console);
  } else {
    compileFile<Acl::Ipv4Family>(options, console);
  }
}

}  // namespace Tool
