#include <nlohmann/json.hpp>

#include "tool/Commands.h"
#include "tool/ListsAsked.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

std::string written(Json const& json) {
  return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

/// One object, written as it goes: a million entries are too many for one value in memory.
template <class Kind>
void showJson(Kind const& kind, typename Kind::List const& list, Console& console) {
  Json head;
  kind.describe(list, head);
  std::string open = written(head);
  open.back() = ',';
  console.text().append(open).append("\"entries\":[");
  char const* separator = "\n";
  for (auto const& entry : Kind::entries(list)) {
    console.text().append(separator).append(written(Kind::jsonOf(entryIn(entry))));
    console.lineDone();
    separator = ",\n";
  }
  console.text() += "\n]}\n";
}

}  // namespace

void show(Options const& options, Console& console) {
  eachList(options, console, [&]<class Kind>(Kind const& kind, ReadList<Kind> const& read) {
    if (!read.isOfUse()) return;
    if (options.json) return showJson(kind, *read.list, console);
    console.text() += kind.textOf(*read.list);
  });
}

}  // namespace Tool
