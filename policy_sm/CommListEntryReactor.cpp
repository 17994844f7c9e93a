#include "policy_sm/CommListEntryReactor.h"

#include <bit>

#include "platform/orb/base/Error.h"
#include "policy_config/CommunityText.h"
#include "policy_sm/CommListReactor.h"
#include "policy_sm/detail/Trace.h"

namespace Routing::RouteMap {

namespace {

/// The next turn goes on: an observer may undo each of them.
constexpr int kMostRounds = 100;

}  // namespace

CommListEntryReactor::CommListEntryReactor(Orb::Ptr<Acl::CommunityListEntry const> entry,
                                           Orb::Ptr<CommListReactor> listSm)
    : Reactor(std::move(entry)), listSm_(std::move(listSm)) {}

CommListEntryReactor::~CommListEntryReactor() = default;

bool CommListEntryReactor::isAtWork() const noexcept {
  return listSm_ && listSm_->commListConfigSm();
}

void CommListEntryReactor::trace(char const* handler) const {
  if (!listSm_) return;
  ORB_TRACE(traceSm(), 8,
            handler << " community-list: " << listSm_->name() << " seqno: " << seqno());
}

void CommListEntryReactor::handleVersion() {
  if (!isAtWork()) return;  // it waits to be freed
  Orb::Ptr<CommListEntryReactor> const alive(this);
  ++number_;  // before anything that may throw: no change of the version is lost
  isDone_ = false;
  Orb::FirstError error;
  error.guard([&] { trace("handleVersion"); });
  error.guard([&] { catchUp(); });
  error.rethrow();
}

void CommListEntryReactor::catchUp() {
  Orb::Ptr<CommListEntryReactor> const alive(this);
  Orb::FirstError error;
  for (int round = 0; isAtWork() && !isDone_ && round < kMostRounds; ++round) {
    if (entry()->version() == 0) {
      isDone_ = true;
      error.guard([] { ORB_TRACE(traceSm(), 8, "version is yet to be set"); });
      break;
    }
    Orb::U32 const type = static_cast<Orb::U32>(entry()->listType());
    if (type > static_cast<Orb::U32>(Acl::largeCommunityExpanded)) {
      ORB_TRACE(traceSm(), 0, "Error: unrecognized community list ype: " << type);  // "ype": kept
      Orb::assertionFailed("listType <= largeCommunityExpanded", __FILE__, __LINE__);
    }
    try {
      compile();
    } catch (...) {
      error.keep();
      break;
    }
  }
  if (isAtWork() && !isDone_) error.guard([&] { listSm_->catchUpSoon(); });
  error.rethrow();
}

/// One round. What trace sinks do while the status is made, or observers while the symbol is
/// installed, may make it stale: the next round sees what is left to do then.
void CommListEntryReactor::compile() {
  Orb::U32 const round = number_;
  Orb::Ptr<CommListReactor> const listSm = listSm_;
  Orb::Name const& name = listSm->name();
  auto const familyId = static_cast<std::size_t>(Acl::communityTypeOf(entry()->listType()));
  CommListFamily const& family = listSm->families()[familyId];
  auto symbol = family.all->symbol(name);
  auto const old = symbol ? symbol->status() : nullptr;

  auto const status = commListStatusFactory(name);
  if (old) status->clone(*old);
  status->communityListEntryIs(entry()->compiledCopy());
  if (Acl::isExpanded(entry()->listType())) {
    status->regexAdd(seqno(), entry()->commRegex());
  } else {
    status->regexDel(seqno());
  }

  auto const isWanted = [&] { return isAtWork() && !isDone_ && number_ == round; };
  if (!isWanted() || family.all->symbol(name) != symbol) return;
  if (symbol && symbol->status() != old) return;
  Orb::FirstError error;
  if (!symbol) {
    error.guard([&] { dedupCommListSym(family.table, family.all, name); });
    symbol = family.all->symbol(name);
    bool const isEmpty = detail::isEmpty(family.all, name);
    if (!isEmpty || !isWanted()) {
      // No symbol is left that nothing has been compiled into: the entry may have gone meanwhile,
      // or been given another family.
      error.guard([&] { detail::deleteSymbolIfEmpty(family.all, name); });
      return error.rethrow();
    }
  }
  isDone_ = true;
  compiledInto_ = static_cast<Orb::U8>(compiledInto_ | 1U << familyId);
  symbol->statusIs(status);
  error.guard([&] { symbol->versionInc(1); });
  error.guard([&] { listSm->index(familyId); });
  error.rethrow();
}

void CommListEntryReactor::leave() {
  Orb::Ptr<CommListEntryReactor> const alive(this);
  stopReacting();
  isLeaving_ = true;
  Orb::FirstError error;
  error.guard([&] { handleCommListEntryDel(); });
  if (isRemoved_) listSm_ = nullptr;
  error.rethrow();
}

void CommListEntryReactor::handleCommListEntryDel() {
  Orb::Ptr<CommListEntryReactor> const alive(this);
  Orb::FirstError error;
  error.guard([&] { trace("handleCommListEntryDel"); });
  error.guard([&] { isRemoved_ = remove(error); });
  error.rethrow();
}

/// An observer of the first deletion may add the entry again: that removes what is left of this
/// one, and nothing of the other is to be removed here.
bool CommListEntryReactor::remove(Orb::FirstError& error) {
  Orb::Ptr<CommListReactor> const listSm = listSm_;
  if (!listSm) return true;
  bool const isInMany = std::popcount(compiledInto_) > 1;
  CommListFamilies const& families = listSm->families();
  for (std::size_t i = 0; i < families.size(); ++i) {
    if (!isAtWork()) return true;
    CommListSymbols const& all = families[i].all;
    auto const compiled = detail::compiledEntry(all, listSm->name(), seqno());
    error.guard([&] { deleteSymbolSeq(all, listSm->name(), seqno()); });
    if (!compiled) continue;
    error.guard([&] { listSm->index(i); });
    if (detail::compiledEntry(all, listSm->name(), seqno()) == compiled) return !isAtWork();
    if (!isInMany) break;
  }
  return true;
}

}  // namespace Routing::RouteMap
