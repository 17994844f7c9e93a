#pragma once

#include <memory>

#include "platform/orb/base/Ptr.h"
#include "platform/regex/PathDfa.h"

namespace Routing::RouteMap {

/// The compiled expression of one list entry: a DFA over AS numbers. It is compiled on one thread;
/// then any thread may execute it. Equal patterns share one automaton for as long as one of them is
/// held.
class ROUTEPOLICY_EXPORT DfaRegex final : public Orb::RefCounted {
 public:
  static constexpr char const* typeName = "Routing::RouteMap::DfaRegex";

  explicit DfaRegex(Orb::U32 seqno) noexcept : seqno_(seqno) {}

  /// The key: the entry's sequence number.
  Orb::U32 seqno() const noexcept { return seqno_; }
  /// The automaton; null unless the last compile() succeeded.
  rd_dfa const* compiledRegex() const noexcept { return dfa_.get(); }
  /// Whether the last compile() succeeded.
  bool compiled() const noexcept { return compiled_; }
  /// Sets the flag alone.
  void compiledIs(bool compiled) noexcept { compiled_ = compiled; }

  /// Compiles a pattern in the place of the one before, which goes first. 0, or 1 when
  /// rd_parse_dfa() refuses it, as for a null. Throws std::bad_alloc, and nothing else.
  Orb::S32 compile(Orb::CharPtrConst pattern);
  /// 0 when the pattern matches the AS path, 1 when it does not. `data` holds AS numbers of four
  /// bytes in host order, aligned or not, the neighbour's first; `length` counts bytes, of which
  /// those beyond the last whole number do not count. REQUIRES: compiled(), a fatal assertion
  /// otherwise.
  Orb::S32 execute(Orb::CharPtrConst data, Orb::U32 length) const;

 protected:
  ~DfaRegex() override;

 private:
  void handleDestroy() noexcept { dfa_.reset(); }

  struct Free {
    void operator()(rd_dfa const* dfa) const noexcept { rd_free_dfa(dfa); }
  };

  std::unique_ptr<rd_dfa const, Free> dfa_;
  Orb::U32 const seqno_;
  bool compiled_ = false;
};

ROUTEPOLICY_EXPORT Orb::Ptr<DfaRegex> dfaRegexFactory(Orb::U32 seqno);

}  // namespace Routing::RouteMap
