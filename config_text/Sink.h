#pragma once

#include <string>
#include <string_view>

#include "platform/orb/base/Types.h"

namespace ConfigText {

/// Takes the text that the writers of this folder make, piece by piece: a list may be long. Writers
/// append to text() and call lineDone() after each line, or after about as much.
class ROUTEPOLICY_EXPORT Sink {
 public:
  Sink() = default;
  Sink(Sink const&) = delete;
  Sink& operator=(Sink const&) = delete;
  virtual ~Sink();

  /// What has not been handed on yet.
  std::string& text() noexcept { return text_; }
  void lineDone() {
    if (text_.size() >= kPiece) flush();
  }
  /// Hands on all there is. What write() throws goes to the caller; the text is gone then.
  void flush();

 protected:
  virtual void write(std::string_view text) = 0;

 private:
  static constexpr std::size_t kPiece = std::size_t{1} << 16;

  std::string text_;
};

/// Collects everything in text().
class ROUTEPOLICY_EXPORT StringSink final : public Sink {
 public:
  /// All that was written.
  std::string take();

 protected:
  void write(std::string_view text) override;

 private:
  std::string all_;
};

}  // namespace ConfigText
