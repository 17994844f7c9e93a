#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz/Input.h"
#include "platform/orb/base/Error.h"
#include "platform/orb/base/Text.h"
#include "platform/orb/base/Trace.h"

// The text of trace levels, as ROUTEPOLICY_TRACE has it. The level of a facility is what a slow
// reader says, and each piece that does not read is reported.

namespace {

constexpr std::string_view kFacility = "Sm";

/// What is reported on standard error for a text.
std::string reportsOf(std::string_view text) {
  char* written = nullptr;
  std::size_t size = 0;
  std::FILE* const usual = stderr;
  stderr = open_memstream(&written, &size);
  ORB_ASSERT(stderr);
  Orb::traceLevelsAre(text);
  std::fclose(stderr);
  stderr = usual;
  std::string const reports(written, size);
  std::free(written);
  return reports;
}

struct Model {
  int level = Orb::TraceFacility::kOff;
  std::string reports;

  void piece(std::string piece) {
    while (!piece.empty() && (piece.front() == ' ' || piece.front() == '\t')) piece.erase(0, 1);
    while (!piece.empty() && (piece.back() == ' ' || piece.back() == '\t')) piece.pop_back();
    if (piece.empty()) return;
    std::size_t const slash = piece.rfind('/');
    long long value = slash == 0 || slash == piece.npos || slash + 1 == piece.size() ? -1 : 0;
    for (std::size_t i = slash + 1; value >= 0 && i < piece.size(); ++i) {
      bool const isDigit = piece[i] >= '0' && piece[i] <= '9';
      value = isDigit ? value * 10 + (piece[i] - '0') : -1;
      if (value > 0x7fffffff) value = -1;
    }
    if (value < 0) {
      reports += "trace level not understood, want FACILITY/LEVEL: ";
      reports.append("\"").append(Orb::messageText(piece)).append("\"\n");
    } else if (std::string const name = piece.substr(0, slash); name == "*" || name == kFacility) {
      level = static_cast<int>(value);
    }
  }
  explicit Model(std::string_view text) {
    std::string now;
    for (char const c : text) {
      if (c != ',') {
        now += c;
        continue;
      }
      piece(now);
      now.clear();
    }
    piece(now);
  }
};

}  // namespace

FUZZ_MOST_BYTES(256);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static Orb::TraceFacility const& facility = Orb::traceFacility(kFacility);
  std::string_view const text = Fuzz::textOf(data, size);
  Model const model(text);
  Orb::traceReset();
  ORB_ASSERT(reportsOf(text) == model.reports);
  ORB_ASSERT(facility.level() == model.level);
  Orb::traceReset();
  return 0;
}
