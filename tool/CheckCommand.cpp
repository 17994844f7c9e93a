#include <nlohmann/json.hpp>

#include "tool/Commands.h"
#include "tool/ListsAsked.h"

namespace Tool {

namespace {

using Json = nlohmann::ordered_json;

/// What a list holds, counted.
template <class Kind>
class Counts {
 public:
  explicit Counts(ReadList<Kind> const& read) : withoutEffect_(read.findings.withoutEffect) {
    for (auto const& each : Kind::entries(*read.list)) {
      auto const& entry = entryIn(each);
      if (permits_ + denies_ == 0) first_ = entry.seqno();
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
    if (withoutEffect_ == 0) return;
    text.append(", ").append(std::to_string(withoutEffect_)).append(" without effect");
  }

  void addTo(Json& json) const {
    json["entries"] = permits_ + denies_;
    json["permit"] = permits_;
    json["deny"] = denies_;
    json["firstSeqno"] = first_;
    json["lastSeqno"] = last_;
    extent_.addTo(json);
    json["withoutEffect"] = withoutEffect_;
  }

 private:
  std::size_t permits_ = 0;
  std::size_t denies_ = 0;
  Orb::U32 first_ = 0;  // sequence numbers
  Orb::U32 last_ = 0;
  typename Kind::Extent extent_;
  std::size_t withoutEffect_;
};

void addFault(Json& json, ListFault const& fault) {
  if (fault.line != 0) json["line"] = fault.line;
  json["error"] = fault.message;
  if (!fault.pattern.empty()) fault.pattern.addTo(json);
}

template <class Kind>
void checkList(ReadList<Kind> const& read, bool isJson, Console& console) {
  if (isJson) {
    Json json;
    read.place.addTo(json);
    json["ok"] = read.isOfUse();
    if (read.isOfUse()) {
      Counts<Kind>(read).addTo(json);
    } else {
      addFault(json, *read.findings.fault);
    }
    read.findings.addWarningsTo(json);
    return console.jsonLine(json);
  }
  if (!read.isOfUse()) return;
  std::string& text = console.text();
  text.append(Subject(read.place.text()).text()).append(": ");
  Counts<Kind>(read).appendTo(text);
  text += '\n';
}

}  // namespace

void check(Options const& options, Console& console) {
  eachList(options, console, [&]<class Kind>(Kind const&, ReadList<Kind> const& read) {
    checkList(read, options.json, console);
  });
}

}  // namespace Tool
