#include <nlohmann/json.hpp>

#include "tool/Commands.h"
#include "tool/ListKind.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

/// What a list holds, counted.
template <class Kind>
class Counts {
 public:
  Counts(Kind const& kind, typename Kind::List const& list) : extent_(kind.extent()) {
    auto const& entries = Kind::entries(list);
    first_ = entries.begin()->seqno();
    for (auto const& entry : entries) {
      ++(entry.permit() == Acl::permitMatch ? permits_ : denies_);
      last_ = entry.seqno();
      extent_.add(entry);
    }
  }

  void appendTo(std::string& text) const {
    text.append(std::to_string(permits_ + denies_));
    text.append(permits_ + denies_ == 1 ? " entry (" : " entries (");
    text.append(std::to_string(permits_)).append(" permit, ");
    text.append(std::to_string(denies_)).append(" deny), seq ");
    text.append(std::to_string(first_)).append(" to ").append(std::to_string(last_));
    extent_.appendTo(text);
  }

  void addTo(Json& json) const {
    json["entries"] = permits_ + denies_;
    json["permit"] = permits_;
    json["deny"] = denies_;
    json["firstSeqno"] = first_;
    json["lastSeqno"] = last_;
    extent_.addTo(json);
  }

 private:
  std::size_t permits_ = 0;
  std::size_t denies_ = 0;
  Orb::U32 first_ = 0;  // sequence numbers
  Orb::U32 last_ = 0;
  typename Kind::Extent extent_;
};

void addFault(Json& json, ListFault const& fault) {
  if (fault.line != 0) json["line"] = fault.line;
  json["error"] = fault.message;
  if (!fault.pattern.empty()) fault.pattern.addTo(json);
}

template <class Kind>
void checkFile(Kind const& kind, std::string const& file, Options const& options,
               Console& console) {
  ListFile<Kind> const read = readListFile(kind, file, options, console);
  if (options.json) {
    Json json = {{"file", file}, {"ok", read.isOfUse()}};
    if (read.isOfUse()) {
      Counts<Kind>(kind, *read.list).addTo(json);
    } else {
      addFault(json, *read.findings.fault);
    }
    read.findings.addWarningsTo(json);
    return console.jsonLine(json);
  }
  if (!read.isOfUse()) return;
  std::string& text = console.text();
  text.append(Subject(file).text()).append(": ");
  Counts<Kind>(kind, *read.list).appendTo(text);
  text += '\n';
}

}  // namespace

void check(Options const& options, Console& console) {
  withKind(options, [&](auto const& kind) {
    for (std::string const& file : options.files) {
      checkFile(kind, file, options, console);
      console.flush();
    }
  });
}

}  // namespace Tool
