#include "policy_status/PosixRegex.h"

#include "platform/keel/SharedByText.h"
#include "platform/orb/base/Error.h"
#include "policy_status/detail/Trace.h"

namespace Routing::RouteMap {

namespace detail {

/// What regcomp() made of a pattern.
class PosixPattern final : public Keel::MadeOfText {
 public:
  explicit PosixPattern(char const* pattern)
      : MadeOfText(pattern), result_(regcomp(&regex_, pattern, REG_EXTENDED | REG_NOSUB)) {}
  ~PosixPattern() {
    if (result_ == 0) regfree(&regex_);
  }

  int result() const noexcept { return result_; }
  regex_t const& regex() const noexcept { return regex_; }

 private:
  regex_t regex_{};
  int const result_;
};

}  // namespace detail

namespace {

using PosixPatterns = Keel::SharedByText<detail::PosixPattern>;

/// The patterns that are compiled now, for the whole process; a pattern leaves with its last
/// engine. Never destroyed: engines may go at the end of the process, in any order.
PosixPatterns& posixPatterns() {
  static auto& patterns = *new PosixPatterns;
  return patterns;
}

regex_t const kNoRegex{};

}  // namespace

PosixRegex::PosixRegex(Orb::U32 seqno) : seqno_(seqno) { handleInitialized(); }

PosixRegex::~PosixRegex() { handleDestroy(); }

void PosixRegex::Drop::operator()(detail::PosixPattern const* pattern) const noexcept {
  posixPatterns().drop(pattern);
}

regex_t const* PosixRegex::compiledRegex() const noexcept {
  return pattern_ ? &pattern_->regex() : &kNoRegex;
}

void PosixRegex::handleInitialized() {
  // The storage comes with the first compile().
  ORB_TRACE(
      traceStatusType(), 8,
      "void Routing::RouteMap::PosixRegex::handleInitialized() " << static_cast<void const*>(this));
}

void PosixRegex::handleDestroy() noexcept {
  try {
    ORB_TRACE(
        traceStatusType(), 8,
        "void Routing::RouteMap::PosixRegex::handleDestroy() " << static_cast<void const*>(this));
  } catch (...) {
    // No memory for the line, or a sink that throws: the engine goes all the same.
  }
  pattern_.reset();
}

Orb::S32 PosixRegex::compile(Orb::CharPtrConst pattern) {
  // A null pattern sets the stream's bad bit: the line ends there.
  ORB_TRACE(traceStatusType(), 8,
            "S32 Routing::RouteMap::PosixRegex::compile(Orb::CharPtrConst) "
                << static_cast<void const*>(this) << " '" << pattern << "'");
  pattern_.reset();
  compiled_ = true;
  if (!pattern) return REG_BADPAT;
  int result = 0;
  pattern_.reset(posixPatterns().hold(pattern, [&] {
    auto made = std::make_unique<detail::PosixPattern>(pattern);
    result = made->result();
    if (result != 0) made.reset();
    return made;
  }));
  return result;
}

Orb::S32 PosixRegex::execute(Orb::CharPtrConst text) const {
  ORB_TRACE(traceStatusType(), 8,
            "S32 Routing::RouteMap::PosixRegex::execute(Orb::CharPtrConst) const "
                << static_cast<void const*>(this) << " '" << text << "'");
  ORB_ASSERT(compiled_);
  return pattern_ ? regexec(&pattern_->regex(), text, 0, nullptr, 0) : REG_NOMATCH;
}

Orb::Ptr<PosixRegex> posixRegexFactory(Orb::U32 seqno) { return Orb::make<PosixRegex>(seqno); }

}  // namespace Routing::RouteMap
