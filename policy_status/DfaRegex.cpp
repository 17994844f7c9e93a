#include "policy_status/DfaRegex.h"

#include "platform/orb/base/Error.h"

namespace Routing::RouteMap {

DfaRegex::~DfaRegex() { handleDestroy(); }

Orb::S32 DfaRegex::compile(Orb::CharPtrConst pattern) {
  dfa_.reset();
  compiled_ = false;
  if (pattern) dfa_.reset(rd_parse_dfa(pattern));
  compiled_ = dfa_ != nullptr;
  return compiled_ ? 0 : 1;
}

Orb::S32 DfaRegex::execute(Orb::CharPtrConst data, Orb::U32 length) const {
  ORB_ASSERT(compiled_);
  return dfa_ && rd_match(dfa_.get(), data, length >> 2) != 0 ? 0 : 1;
}

Orb::Ptr<DfaRegex> dfaRegexFactory(Orb::U32 seqno) { return Orb::make<DfaRegex>(seqno); }

}  // namespace Routing::RouteMap
