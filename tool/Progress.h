#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include "tool/Console.h"

namespace Tool {

/// A bar such as "[#####-----]  50 %", for `done` of `total`, at least one.
inline std::string progressBar(std::size_t done, std::size_t total) {
  constexpr std::size_t kWidth = 40;
  done = std::min(done, total);
  std::size_t const filled = done * kWidth / total;
  std::string const percent = std::to_string(done * 100 / total);
  std::string bar = "[";
  bar.append(filled, '#').append(kWidth - filled, '-').append("]");
  return bar.append(4 - percent.size(), ' ').append(percent).append(" %");
}

/// Shows on the terminal of the messages, if it is one, how far something is that takes longer
/// than a second; takes it away when that is over.
class Progress {
 public:
  Progress(std::size_t total, Console const& console)
      : total_(total), console_(console), isOn_(console.isErrorTerminal()) {}
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;
  ~Progress() {
    if (isShown_) console_.paint("\r\x1b[K");
  }

  /// Whether show() is wanted, so many seconds after the beginning.
  bool isDue(double elapsed) const noexcept { return isOn_ && elapsed >= next_; }
  void show(std::size_t done, double elapsed) {
    console_.paint(progressBar(done, total_).insert(0, 1, '\r'));
    isShown_ = true;
    next_ = elapsed + kPeriod;
  }

 private:
  static constexpr double kPatience = 1.0;  // seconds
  static constexpr double kPeriod = 0.1;

  std::size_t const total_;
  Console const& console_;
  bool const isOn_;
  bool isShown_ = false;
  double next_ = kPatience;
};

}  // namespace Tool
