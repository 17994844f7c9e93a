#include "tool/ListFindings.h"

#include <nlohmann/json.hpp>

#include "platform/orb/base/String.h"
#include "platform/orb/base/Text.h"

namespace Tool {

namespace {

constexpr std::size_t kMostWarnings = 100;
constexpr char kStandardInputPlace[] = "<stdin>";

}  // namespace

void ListFindings::warn(ListFault warning) {
  if (warnings.size() == kMostWarnings) {
    ++moreWarnings;
  } else {
    warnings.push_back(std::move(warning));
  }
}

void ListFindings::addWarningsTo(nlohmann::ordered_json& json) const {
  if (!hasWarnings()) return;
  auto& list = json["warnings"] = nlohmann::ordered_json::array();
  for (ListFault const& warning : warnings) {
    nlohmann::ordered_json one;
    if (warning.line != 0) one["line"] = warning.line;
    if (warning.seqno) one["seqno"] = *warning.seqno;
    one["warning"] = warning.message;
    if (!warning.pattern.empty()) warning.pattern.addTo(one);
    list.push_back(std::move(one));
  }
  if (moreWarnings != 0) json["moreWarnings"] = moreWarnings;
}

ListPlace ListPlace::inConfig(char const* lists, std::string_view name, char const* entries) {
  return {std::string(lists) + "[" + Orb::toText(Orb::String(name)) + "]", entries};
}

void ListPlace::addTo(nlohmann::ordered_json& json) const {
  json[isFile() ? "file" : "path"] = text_;
}

std::string_view ListPlace::subject() const noexcept {
  return isFile() && text_ == kStandardInput ? kStandardInputPlace : std::string_view(text_);
}

template <class Say>
void ListPlace::say(ListFault const& fault, Console const& console, Say const& say) const {
  if (fault.seqno) {
    std::string const entry = text_ + "." + entries_ + "[" + std::to_string(*fault.seqno) + "]";
    say(entry, fault.message);
  } else {
    say(Subject(subject(), fault.line), fault.message);
  }
  if (!fault.pattern.empty()) console.paint(fault.pattern.text());
}

void ListPlace::report(ListFindings& findings, Options const& options, Console& console) const {
  if (options.strict && findings.hasWarnings() && !findings.fault) {
    findings.fault = ListFault{"a warning is an error with --strict"};
  }
  for (ListFault const& warning : findings.warnings) {
    say(warning, console, [&](Subject const& subject, std::string const& message) {
      console.warning(subject, message);
    });
  }
  if (findings.moreWarnings != 0) {
    console.warning(subject(), std::to_string(findings.moreWarnings) +
                                   (isFile() ? " more such lines" : " more warnings"));
  }
  if (!findings.fault) return;
  say(*findings.fault, console, [&](Subject const& subject, std::string const& message) {
    if (findings.fault->isUnreadable) {
      console.failure(subject, message);
    } else {
      console.finding(subject, message);
    }
  });
}

}  // namespace Tool
