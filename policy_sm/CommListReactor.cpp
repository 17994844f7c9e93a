#include "policy_sm/CommListReactor.h"

#include <new>

#include "policy_sm/CommListConfigSm.h"
#include "policy_sm/detail/Trace.h"

namespace Routing::RouteMap {

namespace {

void requireEntry(Orb::Ptr<Acl::CommunityListEntry const> const& entry) {
  if (entry) return;
  throw Orb::RangeException(
      Orb::nullParameterMessage("Routing::RouteMap::CommListReactor", "communityListEntry"));
}

}  // namespace

CommListReactor::CommListReactor(Orb::Ptr<Acl::CommunityList const> list, Machine& machine)
    : Reactor(std::move(list)),
      SlicedBuild(*static_cast<Reactor*>(this)),
      machine_(&machine),
      families_(machine.families()) {
  clockIs(Orb::ActivityManager::current().clock());
}

CommListReactor::~CommListReactor() = default;

Orb::Ptr<CommListEntryReactor> CommListReactor::communityListEntry(Orb::U32 seqno) const {
  auto const* const found = entrySms_.find(seqno);
  return found ? *found : nullptr;
}

void CommListReactor::communityListEntryIs(Orb::Ptr<Acl::CommunityListEntry const> const& entry) {
  requireEntry(entry);
  Orb::Ptr<CommListReactor> const alive(this);
  Orb::FirstError error;
  if (auto const sm = communityListEntry(entry->seqno())) {
    if (sm->entry() == entry) return;
    error.guard([&] { communityListEntryDel(entry->seqno()); });
  }
  error.guard([&] { newCommunityListEntry(entry); });
  error.rethrow();
}

void CommListReactor::newCommunityListEntry(Orb::Ptr<Acl::CommunityListEntry const> const& entry) {
  requireEntry(entry);
  if (!machine_ || entrySms_.has(entry->seqno())) return;
  auto const made = Orb::make<CommListEntryReactor>(entry, Orb::Ptr<CommListReactor>(this));
  entrySms_.insertOrAssign(Orb::Ptr<CommListEntryReactor>(made));
  made->handleVersion();
}

void CommListReactor::communityListEntryDel(Orb::U32 seqno) {
  Orb::Ptr<CommListReactor> const alive(this);
  auto const sm = communityListEntry(seqno);
  if (!sm) return;
  Orb::FirstError error;
  error.guard([&] { sm->leave(); });
  if (communityListEntry(seqno) == sm) {
    if (sm->commListReactor()) {
      error.guard([&] { catchUpSoon(); });
    } else {
      entrySms_.erase(seqno);
    }
  }
  error.rethrow();
}

/// Once the symbols are gone, the delete handlers of the entries have nothing to do but to trace,
/// and the reactors are freed in slices.
void CommListReactor::communityListEntryDelAll() {
  Orb::Ptr<CommListReactor> const alive(this);
  Orb::FirstError error;
  if (machine_) {
    for (auto const& sm : entrySms_) {
      error.guard([&, seqno = sm->seqno()] { communityListEntryDel(seqno); });
    }
  } else {
    EntrySms const gone = std::exchange(entrySms_, EntrySms());
    if (traceSm().enabled(8)) {
      for (auto const& sm : gone) error.guard([&] { sm->leave(); });
    }
  }
  error.rethrow();
}

void CommListReactor::handleInitial() {
  Orb::Ptr<CommListReactor> const alive(this);
  isInitialized_ = true;
  catchUp();
}

void CommListReactor::onEntry(Orb::U32 seqno) {
  Orb::Ptr<CommListReactor> const alive(this);
  if (isInitialized_) bringInLine(seqno);
}

void CommListReactor::bringInLine(Orb::U32 seqno) {
  auto const entry = [&]() -> Orb::Ptr<Acl::CommunityListEntry const> {
    return list()->communityListEntry(seqno);
  };
  Orb::FirstError error;
  if (auto const sm = communityListEntry(seqno);
      sm && (sm->entry() != entry() || sm->isLeaving())) {
    error.guard([&] { communityListEntryDel(seqno); });
  }
  if (machine_ && entry()) error.guard([&] { communityListEntryIs(entry()); });
  if (auto const sm = communityListEntry(seqno); (sm ? sm->entry() : nullptr) != entry()) {
    error.guard([&] { catchUpSoon(); });
  }
  error.rethrow();
}

void CommListReactor::catchUpSoon() {
  if (!machine_) return;
  isInLine_ = false;
  machine_->catchUpSoon();
}

void CommListReactor::catchUp() {
  Orb::Ptr<CommListReactor> const alive(this);
  isInLine_ = true;
  Orb::FirstError error;
  for (auto const& held : entrySms_) {
    Orb::Ptr<CommListEntryReactor> const sm = held;
    if (sm->isLeaving() || sm->entry() != list()->communityListEntry(sm->seqno())) {
      error.guard([&] { bringInLine(sm->seqno()); });
    } else if (!sm->isDone()) {
      error.guard([&] { sm->catchUp(); });
    }
  }
  for (Orb::Ptr<Acl::CommunityListEntry const> const entry : list()->communityListEntry()) {
    if (!machine_) break;
    if (!entrySms_.has(entry->seqno())) error.guard([&] { bringInLine(entry->seqno()); });
  }
  error.rethrow();
}

/// What observers add meanwhile under the list's name is another reactor's.
void CommListReactor::detach() {
  if (!machine_) return;
  Orb::Ptr<CommListReactor> const alive(this);
  machine_ = nullptr;
  stopReacting();
  stop();
  Orb::FirstError error;
  error.guard([&] { handleCommListDel(); });
  error.guard([&] { communityListEntryDelAll(); });
  error.rethrow();
}

void CommListReactor::handleCommListDel() {
  Orb::Ptr<CommListReactor> const alive(this);
  detail::deleteSymbols(families(), name(),
                        [&] { ORB_TRACE(traceSm(), 8, " community-list: " << name()); });
}

void CommListReactor::index(std::size_t family) {
  auto const symbol = families()[family].all->symbol(name());
  isToIndex_[family] =
      symbol && symbol->status() && symbol->status()->communityListEntry().size() >= kMinIndexed;
  if (machine_ && isToIndex_[family] && !isBuilding()) begin();
}

/// There is no memory for the index of that status.
void CommListReactor::giveUp(CommListStatus const& status) noexcept {
  for (std::size_t i = 0; i < isToIndex_.size(); ++i) {
    auto const symbol = families()[i].all->symbol(name());
    if (symbol && symbol->status().get() == &status) isToIndex_[i] = false;
  }
}

/// The next status that is to have an index, or null.
Orb::Ptr<CommListStatus const> CommListReactor::statusToIndex() {
  for (std::size_t i = 0; i < isToIndex_.size(); ++i) {
    if (!isToIndex_[i]) continue;
    auto const symbol = families()[i].all->symbol(name());
    if (symbol && symbol->status() && !symbol->status()->index()) return symbol->status();
    isToIndex_[i] = false;
  }
  return nullptr;
}

/// Each look at the clock may end the build: the builder is held meanwhile. A status that another
/// one has replaced since the last slice is not gone on with.
void CommListReactor::runSlice(Orb::U64& count) {
  Slice const slice(*this);
  if (slice.isOver()) return;
  auto const isSpent = [&] { return slice.isSpent() || slice.isOver(); };
  while (auto const status = statusToIndex()) {
    try {
      if (status != indexed_) {
        indexed_ = nullptr;
        builder_ = std::make_shared<CommListIndexBuilder>(status);
        indexed_ = status;
      }
      auto const builder = builder_;
      ++count;
      if (!builder->work(isSpent) || slice.isOver()) return;
      status->indexIs(builder->take());
    } catch (std::bad_alloc const&) {
      if (slice.isOver()) return;
      giveUp(*status);
    }
  }
  stop();
}

void CommListReactor::drop() noexcept {
  builder_ = nullptr;
  indexed_ = nullptr;
  isToIndex_ = {};
}

}  // namespace Routing::RouteMap
