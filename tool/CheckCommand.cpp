#include <algorithm>
#include <nlohmann/json.hpp>

#include "tool/Commands.h"
#include "tool/ListFile.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

/// What a list holds, counted.
struct Counts {
  std::size_t permits = 0;
  std::size_t denies = 0;
  Orb::U32 first = 0;  // sequence numbers
  Orb::U32 last = 0;
  Orb::U32 shortest = 128;  // lengths of the entries' prefixes
  Orb::U32 longest = 0;

  std::size_t entries() const noexcept { return permits + denies; }
};

template <class Family>
Counts countsOf(typename Family::List const& list) {
  Counts counts;
  auto const& entries = Family::entries(list);
  counts.first = entries.begin()->seqno();
  for (auto const& entry : entries) {
    ++(entry.permit() == Acl::permitMatch ? counts.permits : counts.denies);
    counts.last = entry.seqno();
    counts.shortest = std::min(counts.shortest, entry.prefix().length());
    counts.longest = std::max(counts.longest, entry.prefix().length());
  }
  return counts;
}

std::string textOf(Counts const& counts) {
  std::string text = std::to_string(counts.entries());
  text.append(counts.entries() == 1 ? " entry (" : " entries (");
  text.append(std::to_string(counts.permits)).append(" permit, ");
  text.append(std::to_string(counts.denies)).append(" deny), seq ");
  text.append(std::to_string(counts.first)).append(" to ");
  text.append(std::to_string(counts.last)).append(", prefixes /");
  text.append(std::to_string(counts.shortest)).append(" to /");
  return text.append(std::to_string(counts.longest));
}

Json jsonOf(std::string const& file, Counts const& counts) {
  return {{"file", file},
          {"ok", true},
          {"entries", counts.entries()},
          {"permit", counts.permits},
          {"deny", counts.denies},
          {"firstSeqno", counts.first},
          {"lastSeqno", counts.last},
          {"shortestLength", counts.shortest},
          {"longestLength", counts.longest}};
}

Json jsonOf(std::string const& file, ListFault const& fault) {
  Json json = {{"file", file}, {"ok", false}};
  if (fault.line != 0) json["line"] = fault.line;
  json["error"] = fault.message;
  return json;
}

template <class Family>
void checkFile(std::string const& file, Options const& options, Console& console) {
  ListFile<Family> const read = readListFile<Family>(file, options.onDuplicate, console);
  if (read.fault) {
    if (options.json) console.jsonLine(jsonOf(file, *read.fault));
    return;
  }
  Counts const counts = countsOf<Family>(*read.list);
  if (options.json) return console.jsonLine(jsonOf(file, counts));
  console.text().append(Subject(file).text()).append(": ").append(textOf(counts)).append("\n");
}

}  // namespace

void check(Options const& options, Console& console) {
  for (std::string const& file : options.files) {
    if (options.ipv6) {
      checkFile<Acl::Ipv6Family>(file, options, console);
    } else {
      checkFile<Acl::Ipv4Family>(file, options, console);
    }
    console.flush();
  }
}

}  // namespace Tool
