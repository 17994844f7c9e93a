#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

#include "tool/Commands.h"
#include "tool/Compiler.h"
#include "tool/ListsAsked.h"
#include "tool/Progress.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

struct Cost {
  std::size_t entries = 0;
  double atOnce = 0;  // seconds, before the first slice; where a kind compiles so
  std::size_t slices = 0;
  double longestSlice = 0;           // seconds
  double time = 0;                   // seconds, of all slices
  std::optional<std::size_t> bytes;  // none where nobody knows

  double perEntry(double sum) const noexcept { return sum / static_cast<double>(entries); }
  double timePerEntry() const noexcept { return perEntry(atOnce + time); }
  double bytesPerEntry() const noexcept { return perEntry(static_cast<double>(*bytes)); }
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

template <class Kind>
Cost compileList(Compiler<Kind>& compiler, typename Kind::List const& list, Console& console) {
  auto const& entries = Kind::entries(list);
  Cost cost;
  cost.entries = entries.size();
  if (Kind::kCompilesAtOnce) cost.atOnce = compiler.atOnce();
  Progress progress(cost.entries, console);
  auto at = entries.begin();
  std::size_t done = 0;
  while (!compiler.isDone()) {
    double const slice = compiler.slice();
    ++cost.slices;
    cost.time += slice;
    cost.longestSlice = std::max(cost.longestSlice, slice);
    if (!progress.isDue(cost.time) || compiler.isDone()) continue;
    if constexpr (!Kind::kCompilesAtOnce) {
      Orb::U32 const bookmark = compiler.bookmark();
      for (; at != entries.end() && entryIn(*at).seqno() < bookmark; ++at) ++done;
    }
    progress.show(done, cost.time);
  }
  return cost;
}

template <class... Values>
void appendLine(std::string& out, char const* format, Values... values) {
  char text[128];
  int const length = std::snprintf(text, sizeof text, format, values...);
  out.append(text, static_cast<std::size_t>(length));
}

template <class Kind>
void writeText(Cost const& cost, typename Kind::Status const& status, std::string& out) {
  appendLine(out, "entries          %zu\n", cost.entries);
  if (Kind::kCompilesAtOnce) appendLine(out, "at once          %.3f ms\n", cost.atOnce * 1e3);
  appendLine(out, "slices           %zu\n", cost.slices);
  appendLine(out, "longest slice    %.3f ms\n", cost.longestSlice * 1e3);
  appendLine(out, "time per entry   %.0f ns\n", cost.timePerEntry() * 1e9);
  if (cost.bytes) appendLine(out, "bytes per entry  %.0f\n", cost.bytesPerEntry());
  Kind::describe(status, out);
}

template <class Kind>
Json jsonOf(ListPlace const& place, Cost const& cost, typename Kind::Status const& status) {
  Json json;
  place.addTo(json);
  json["entries"] = cost.entries;
  if (Kind::kCompilesAtOnce) json["atOnceSeconds"] = cost.atOnce;
  json["slices"] = cost.slices;
  json["longestSliceSeconds"] = cost.longestSlice;
  json["secondsPerEntry"] = cost.timePerEntry();
  if (cost.bytes) json["bytesPerEntry"] = cost.bytesPerEntry();
  Kind::describe(status, json);
  return json;
}

template <class Kind>
void compileRead(Kind const& kind, ReadList<Kind> const& read, bool isJson, Console& console) {
  auto const config = configOf(kind, *read.list);
  std::size_t heapBefore = heapInUse();
  Compiler<Kind> compiler(kind, config, read.list->name());
  if (!Kind::kCompilesAtOnce) heapBefore = heapInUse();  // the list alone, without the machine
  Cost cost = compileList(compiler, *read.list, console);
  std::size_t const heapAfter = heapInUse();
  auto const status = compiler.status();
  if (heapAfter > heapBefore) {
    cost.bytes = heapAfter - heapBefore;
  } else if constexpr (!Kind::kCompilesAtOnce) {
    cost.bytes = Kind::bytesHeld(status, cost.entries);
  }
  if (isJson) return console.jsonLine(jsonOf<Kind>(read.place, cost, status));
  if (!read.place.isFile()) {
    console.text().append("list             ").append(read.place.text()).append("\n");
  }
  writeText<Kind>(cost, status, console.text());
}

}  // namespace

void compile(Options const& options, Console& console) {
  eachList(options, console, [&]<class Kind>(Kind const& kind, ReadList<Kind> const& read) {
    if (read.isOfUse()) compileRead(kind, read, options.json, console);
  });
}

}  // namespace Tool
