#pragma once

#include <regex.h>

#include <memory>

#include "platform/orb/base/Ptr.h"

namespace Routing::RouteMap {

namespace detail {
class PosixPattern;
}

/// The compiled expression of one list entry: an extended regular expression of the system's own
/// engine. It is compiled on one thread; then any thread may execute it. Equal patterns share one
/// regex_t for as long as one of them is held, since compiling is slow.
class ROUTEPOLICY_EXPORT PosixRegex final : public Orb::RefCounted {
 public:
  static constexpr char const* typeName = "Routing::RouteMap::PosixRegex";

  explicit PosixRegex(Orb::U32 seqno);

  /// The key: the entry's sequence number.
  Orb::U32 seqno() const noexcept { return seqno_; }
  /// The compiled pattern; zeroed storage when there is none, which regfree() may be called on.
  regex_t const* compiledRegex() const noexcept;
  /// Whether compile() was called: true after one that failed as well, on purpose.
  bool compiled() const noexcept { return compiled_; }
  /// Sets the flag alone.
  void compiledIs(bool compiled) noexcept { compiled_ = compiled; }

  /// Compiles a pattern in the place of the one before, which goes first. 0, or the error of
  /// regcomp(); REG_BADPAT for a null. Throws std::bad_alloc, and nothing else.
  Orb::S32 compile(Orb::CharPtrConst pattern);
  /// 0 when the pattern matches, else REG_NOMATCH, also when the last compile() failed; REG_ESPACE
  /// when the system's engine had no memory. REQUIRES: compiled(), a fatal assertion otherwise, and
  /// a text that is not null.
  Orb::S32 execute(Orb::CharPtrConst text) const;

 protected:
  ~PosixRegex() override;

 private:
  void handleInitialized();
  void handleDestroy() noexcept;

  struct Drop {
    void operator()(detail::PosixPattern const* pattern) const noexcept;
  };

  // Null unless the last compile() succeeded.
  std::unique_ptr<detail::PosixPattern const, Drop> pattern_;
  Orb::U32 const seqno_;
  bool compiled_ = false;
};

ROUTEPOLICY_EXPORT Orb::Ptr<PosixRegex> posixRegexFactory(Orb::U32 seqno);

}  // namespace Routing::RouteMap
