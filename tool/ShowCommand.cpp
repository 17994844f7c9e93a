#include <nlohmann/json.hpp>

#include "list_import/CliHelper.h"
#include "tool/Commands.h"
#include "tool/ListFile.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

template <class Entry>
Json jsonOf(Entry const& entry) {
  Json json = {{"seqno", entry.seqno()},
               {"action", entry.permit() == Acl::permitMatch ? "permit" : "deny"},
               {"prefix", entry.prefix().toString()}};
  if (entry.eq() != 0) {
    json["eq"] = entry.eq();
  } else {
    if (entry.ge() != 0) json["ge"] = entry.ge();
    if (entry.le() != 0) json["le"] = entry.le();
  }
  return json;
}

/// One object, written as it goes: a million entries are too many for one value in memory.
template <class Family>
void showJson(typename Family::List const& list, Console& console) {
  Json head = {{"name", list.name().str()},
               {"family", Family::kFamily == Ipa::ipv4 ? "ipv4" : "ipv6"}};
  std::string open = head.dump(-1, ' ', true, Json::error_handler_t::replace);
  open.back() = ',';
  console.text().append(open).append("\"entries\":[");
  char const* separator = "\n";
  for (auto const& entry : Family::entries(list)) {
    console.text().append(separator).append(jsonOf(entry).dump());
    console.lineDone();
    separator = ",\n";
  }
  console.text() += "\n]}\n";
}

template <class Family>
void showFile(Options const& options, Console& console) {
  auto const read = readListFile<Family>(options.files.front(), options.onDuplicate, console);
  if (read.fault) return;
  if (options.json) return showJson<Family>(*read.list, console);
  console.text() += Acl::prefixListText(*read.list);
}

}  // namespace

void show(Options const& options, Console& console) {
  if (options.ipv6) {
    showFile<Acl::Ipv6Family>(options, console);
  } else {
    showFile<Acl::Ipv4Family>(options, console);
  }
}

}  // namespace Tool
