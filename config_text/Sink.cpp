#include "config_text/Sink.h"

#include <utility>

namespace ConfigText {

Sink::~Sink() = default;

void Sink::flush() {
  std::string const text = std::exchange(text_, {});
  if (!text.empty()) write(text);
}

void StringSink::write(std::string_view text) { all_ += text; }

std::string StringSink::take() {
  flush();
  return std::exchange(all_, {});
}

}  // namespace ConfigText
