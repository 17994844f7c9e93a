#include "tool/PatternFaults.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/orb/base/Text.h"
#include "platform/regex/PatternFault.h"

namespace Tool {

namespace {

constexpr std::size_t kMostShown = 100;  // bytes of a pattern
constexpr std::size_t kBefore = 60;      // of them in front of the first place, if it is long
constexpr char kIndent[] = "    ";

bool isWithinCharacter(std::string_view text, std::size_t at) {
  return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xc0) == 0x80;
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  for (std::size_t i = 0; i < text.size(); ++i) columns += isWithinCharacter(text, i) ? 0 : 1;
  return columns;
}

std::string visible(std::string_view text) {
  std::string out;
  Orb::writeVisible(out, text);
  return out;
}

}  // namespace

PatternFaults::PatternFaults(std::string_view pattern, Engines engines) : pattern_(pattern) {
  if (engines != Engines::posix) {
    if (auto fault = Routing::AsPath::dfaFault(pattern)) {
      faults_.push_back({"dfa", "DFA engine", fault->place, std::move(fault->reason)});
    }
  }
  if (engines != Engines::dfa) {
    if (auto fault = Routing::AsPath::posixFault(pattern)) {
      faults_.push_back({"posix", "POSIX engine", fault->place, std::move(fault->reason)});
    }
  }
}

std::string PatternFaults::text() const {
  std::string const shown = visible(pattern_);
  auto const placeOf = [&](Fault const& fault) {  // in what is shown
    return visible(std::string_view(pattern_).substr(0, fault.place)).size();
  };
  std::size_t begin = 0;
  std::size_t end = shown.size();
  if (end > kMostShown) {
    std::size_t const first = placeOf(faults_.front());
    begin = first > kBefore ? std::min(first - kBefore, end - kMostShown) : 0;
    end = begin + kMostShown;
    while (isWithinCharacter(shown, begin)) ++begin;
    while (isWithinCharacter(shown, end)) ++end;
  }
  std::string const front = begin > 0 ? "..." : "";
  std::string text = kIndent + front + shown.substr(begin, end - begin);
  text += end < shown.size() ? "...\n" : "\n";
  auto const addMark = [&](std::size_t place, char const* title, std::string const& reason) {
    text += kIndent;
    if (place >= begin && place <= end) {
      text.append(front.size() + columnsOf(std::string_view(shown).substr(begin, place - begin)),
                  ' ');
      text += "^ ";
    }
    text.append(title).append(": ").append(reason).append("\n");
  };
  bool const isSame = faults_.size() == 2 && faults_[0].place == faults_[1].place &&
                      faults_[0].reason == faults_[1].reason;
  if (isSame) {
    addMark(placeOf(faults_[0]), "both engines", faults_[0].reason);
  } else {
    for (Fault const& fault : faults_) addMark(placeOf(fault), fault.title, fault.reason);
  }
  return text;
}

void PatternFaults::addTo(nlohmann::ordered_json& json) const {
  json["pattern"] = pattern_;
  auto& faults = json["faults"] = nlohmann::ordered_json::array();
  for (Fault const& fault : faults_) {
    faults.push_back({{"engine", fault.engine}, {"place", fault.place}, {"reason", fault.reason}});
  }
}

}  // namespace Tool
