#include "platform/orb/base/Trace.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>

#include "platform/orb/base/Text.h"

namespace Orb {
namespace {

constexpr std::string_view kAll = "*";

/// The process-wide state behind the functions.
struct Registry {
  std::mutex mutex;  // guards the two maps and the default level
  std::map<std::string, TraceFacility, std::less<>> facilities;
  std::map<std::string, int, std::less<>> levels;  // set by name, facility present or not
  int levelOfTheRest = TraceFacility::kOff;

  std::mutex sinkMutex;  // held while a line is written
  TraceSink sink;        // null: the default one

  void levelIs(std::string_view name, int level) {
    std::lock_guard const guard(mutex);
    if (name == kAll) {
      levels.clear();
      levelOfTheRest = level;
      for (auto& [key, facility] : facilities) facility.levelIs(level);
      return;
    }
    levels.insert_or_assign(std::string(name), level);
    auto const found = facilities.find(name);
    if (found != facilities.end()) found->second.levelIs(level);
  }

  /// One piece "name/level"; false when it does not read.
  bool pieceIs(std::string_view piece) {
    auto const slash = piece.rfind('/');
    if (slash == std::string_view::npos || slash == 0) return false;
    std::string_view const digits = piece.substr(slash + 1);
    unsigned level = 0;  // no sign
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), level);
    bool const isWhole = error == std::errc() && end == digits.data() + digits.size();
    if (!isWhole || level > static_cast<unsigned>(std::numeric_limits<int>::max())) return false;
    levelIs(piece.substr(0, slash), static_cast<int>(level));
    return true;
  }

  void levelsAre(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    while (!text.empty()) {
      auto const comma = text.find(',');
      std::string_view piece = text.substr(0, comma);
      text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
      piece.remove_prefix(std::min(piece.find_first_not_of(kBlanks), piece.size()));
      piece = piece.substr(0, piece.find_last_not_of(kBlanks) + 1);
      if (piece.empty() || pieceIs(piece)) continue;
      std::string message = "trace level not understood, want FACILITY/LEVEL: ";
      message.append("\"").append(messageText(piece)).append("\"\n");
      std::fputs(message.c_str(), stderr);
    }
  }
};

Registry& registry() {
  // Never destroyed, on purpose: facilities live as long as the process.
  static Registry& theRegistry = []() -> Registry& {
    auto& made = *new Registry;
    if (char const* text = std::getenv("ROUTEPOLICY_TRACE")) made.levelsAre(text);
    return made;
  }();
  return theRegistry;
}

/// "2031-05-01 09:30:00.000123 RouteMapSm/8 text", written at once so that it stays in one piece
/// among the output of others. Line breaks are escaped: a call is a line.
void writeToStandardError(std::string_view facility, int level, std::string_view line) {
  auto const now = std::chrono::system_clock::now();
  std::time_t const seconds = std::chrono::system_clock::to_time_t(now);
  auto const sinceEpoch =
      std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch());
  std::tm local{};
  localtime_r(&seconds, &local);
  char day[32];
  std::strftime(day, sizeof day, "%Y-%m-%d %H:%M:%S", &local);
  char micros[16];
  std::snprintf(micros, sizeof micros, ".%06d ", static_cast<int>(sinceEpoch.count() % 1000000));

  std::string text(day);
  text.append(micros).append(facility).append("/").append(std::to_string(level)).append(" ");
  for (char const c : line) {
    if (c == '\n') {
      text.append("\\n");
    } else {
      text.push_back(c);
    }
  }
  text.push_back('\n');
  std::fwrite(text.data(), 1, text.size(), stderr);
}

thread_local bool inSink = false;

}  // namespace

TraceFacility::TraceFacility(std::string name) : name_(std::move(name)) {}

void TraceFacility::write(int level, std::string_view line) const {
  if (inSink) return;
  Registry& all = registry();
  std::lock_guard const guard(all.sinkMutex);
  struct InSink {
    InSink() { inSink = true; }
    ~InSink() { inSink = false; }
  } const marked;
  if (all.sink) {
    all.sink(name_, level, line);
  } else {
    writeToStandardError(name_, level, line);
  }
}

TraceFacility& traceFacility(std::string_view name) {
  Registry& all = registry();
  std::lock_guard const guard(all.mutex);
  auto const found = all.facilities.find(name);
  if (found != all.facilities.end()) return found->second;
  TraceFacility& made =
      all.facilities.try_emplace(std::string(name), std::string(name)).first->second;
  auto const level = all.levels.find(name);
  made.levelIs(level == all.levels.end() ? all.levelOfTheRest : level->second);
  return made;
}

void traceLevelIs(std::string_view name, int level) { registry().levelIs(name, level); }

void traceLevelsAre(std::string_view text) { registry().levelsAre(text); }

void traceSinkIs(TraceSink sink) {
  Registry& all = registry();
  std::lock_guard const guard(all.sinkMutex);
  all.sink.swap(sink);
}

void traceReset() {
  traceLevelIs(kAll, TraceFacility::kOff);
  traceSinkIs(nullptr);
}

struct TraceLine::Text {
  std::ostringstream stream;
};

TraceLine::TraceLine() : text_(std::make_unique<Text>()) {}

TraceLine::~TraceLine() = default;

std::ostream& TraceLine::stream() noexcept { return text_->stream; }

void TraceLine::writeTo(TraceFacility const& facility, int level) const {
  facility.write(level, text_->stream.view());
}

}  // namespace Orb
