#include "policy_sm/AsPathListReactor.h"

#include <new>

#include "policy_sm/AsPathListConfigSm.h"
#include "policy_sm/detail/ListReactorBody.h"

namespace Routing::RouteMap {

namespace {

/// Compiles an entry into a status. What is compiled for it in `old`, a status in the same mode or
/// null, is handed over.
void compileEntry(AsPathListStatus& status, Acl::AsPathEntry const& entry,
                  AsPathListStatus const* old) {
  Orb::U32 const seqno = entry.seqno();
  status.asPathEntryIs(entry);
  bool const isDfa = status.regexMode() == Acl::regexModeDfa;
  if (!(isDfa ? entry.validDfaRegex() : entry.validPosixRegex())) return;
  if (old && old->asPathEntry(seqno).userRegex() == entry.userRegex()) {
    if (auto const engine = isDfa ? old->dfaRegex(seqno) : nullptr) {
      return status.dfaRegexMapIs(engine);
    }
    if (auto const engine = isDfa ? nullptr : old->posixRegex(seqno)) {
      return status.posixRegexMapIs(engine);
    }
  }
  isDfa ? status.dfaRegexAdd(seqno, entry.userRegex())
        : status.posixRegexAdd(seqno, entry.userRegex());
}

Orb::Ptr<AsPathListStatus> compiledAsPathList(Acl::AsPathList const& list,
                                              AsPathListConfigSm const& machine,
                                              AsPathListStatus const* old) {
  auto status = asPathListStatusFactory(list.name());
  status->configVersionIs(list.version());
  status->regexModeIs(machine.regexMode());
  status->asnNotationIs(machine.asnNotation());
  if (old && old->regexMode() != status->regexMode()) old = nullptr;
  for (Acl::AsPathEntry const& entry : list.pathEntry()) {
    compileEntry(*status, Acl::AsPathEntry(entry),
                 old);  // a copy: a trace sink may change the list
  }
  status->prepare();
  return status;
}

}  // namespace

AsPathListReactor::AsPathListReactor(Orb::Ptr<Acl::AsPathList const> list, Machine& machine)
    : ListReactor(std::move(list), machine) {}

AsPathListReactor::~AsPathListReactor() = default;

AsPathListConfigSm* AsPathListReactor::asPathListConfigSm() const noexcept {
  return static_cast<AsPathListConfigSm*>(machine());
}

/// Each round compiles what is configured now. It is stale when a build was begun or stopped
/// meanwhile (the version changed, or the machine let the reactor go), when another status has been
/// published, or when the machine's settings are others; the next round sees what is left to do.
void AsPathListReactor::bringUpToDate() {
  Orb::Ptr<AsPathListReactor> const alive(this);
  while (Orb::Ptr<AsPathListConfigSm> const machine = asPathListConfigSm()) {
    auto const symbol = machine->allAplSymbol()->symbol(name());
    if (!symbol) return stop();
    auto const old = symbol->status();
    if (!wantsStatus() && (!old || old->regexMode() == machine->regexMode())) return;
    Orb::U64 const begun = number();
    auto const status = compiledAsPathList(*list(), *machine, old.get());
    if (number() != begun || symbol->status() != old ||
        status->regexMode() != machine->regexMode() ||
        status->asnNotation() != machine->asnNotation()) {
      continue;
    }
    symbol->statusIs(status);
    index(status);
    symbol->versionInc(1);
    return;
  }
}

// The status is in its symbol, and its version rises after this: observers see a settled reactor.
void AsPathListReactor::index(Orb::Ptr<AsPathListStatus const> const& status) {
  stop();
  if (status->regexMode() != Acl::regexModeDfa || status->matchEntries().size() < 2) return;
  indexed_ = status;
  begin();
}

void AsPathListReactor::statusCloned(Orb::Ptr<AsPathListStatus const> const& old,
                                     Orb::Ptr<AsPathListStatus const> const& status) noexcept {
  if (indexed_ == old) indexed_ = status;
}

void AsPathListReactor::compileSome(Orb::U64& count) {
  if (!isBuilding()) return;
  if (wantsStatus()) return bringUpToDate();
  Orb::U64 const begun = number();
  try {
    addToPathSet(count);
  } catch (std::bad_alloc const&) {
    if (number() == begun) stop();
  }
}

/// Each look at the clock may end the build, or have it go on for a clone of the status: the
/// builder is held meanwhile, and the status is looked at anew.
void AsPathListReactor::addToPathSet(Orb::U64& count) {
  Slice const slice(*this);
  if (slice.isOver()) return;
  if (!builder_) builder_ = std::make_shared<AsPath::PathSetBuilder>();
  auto const builder = builder_;
  auto const isSpent = [&] { return slice.isSpent() || slice.isOver(); };
  while (added_ < indexed_->matchEntries().size()) {
    AsPathMatchEntry const& entry = indexed_->matchEntries()[added_];
    if (!builder->add(entry.entry->userRegex().view(), entry.origins)) return stop();
    ++added_;
    ++count;
    if (isSpent()) return;
  }
  if (!builder->work(isSpent) || slice.isOver()) return;
  indexed_->pathSetIs(builder->take());
  stop();
}

void AsPathListReactor::drop() noexcept {
  indexed_ = nullptr;
  builder_ = nullptr;
  added_ = 0;
}

template class ListReactor<AsPathLists>;

}  // namespace Routing::RouteMap
