#include "policy_sm/CommListSymbols.h"

#include "policy_sm/detail/Trace.h"
#include "policy_sm/detail/Withdraw.h"

namespace Routing::RouteMap {

namespace {

void traceDeletion(Orb::Name const& name) {
  ORB_TRACE(traceSm(), 8, "deleting the symbol for community list " << name);
}

/// deleteSymbol(), unless a trace sink has made it wrong.
void deleteSymbolIf(CommListSymbols const& all, Orb::Name const& name,
                    Orb::FunctionRef<bool()> isToGo) {
  Orb::FirstError error;
  error.guard([&] { traceDeletion(name); });
  if (auto const symbol = all->symbol(name); symbol && isToGo()) {
    error.guard([&] { withdrawWithStatus(*all, *symbol); });
  }
  error.rethrow();
}

}  // namespace

Orb::Ptr<CommListSymbol> dedupCommListSym(CommListSymbolTable const& table,
                                          CommListSymbols const& all, Orb::Name const& name) {
  auto const before = all->symbol(name);
  ORB_TRACE(traceSm(), 8, "creating the symbol for community list " << name);
  auto const status = commListStatusFactory(name);
  auto symbol = table->symbolIs(name);
  auto const old = symbol->status();  // that of another collection, where others hold the symbol
  if (all->symbol(name) == before || all->symbol(name) != symbol) symbol->statusIs(nullptr);
  Orb::FirstError error;
  error.guard([&] { all->symbolIs(symbol); });
  // A trace sink or an observer may have compiled an entry into it, or removed it again.
  if (!symbol->status()) symbol->statusIs(all->symbol(name) == symbol ? status : old);
  error.rethrow();
  return symbol;
}

void deleteSymbol(CommListSymbols const& all, Orb::Name const& name) {
  deleteSymbolIf(all, name, [] { return true; });
}

void deleteSymbolIfExists(CommListSymbols const& all, Orb::Name const& name) {
  if (all->symbolHas(name)) deleteSymbol(all, name);
}

void deleteSymbolIfMissingInConfig(CommListSymbols const& all,
                                   Orb::Ptr<Acl::AclListConfig const> const& config) {
  Orb::FirstError error;
  for (auto const& symbol : all->symbol()) {
    Orb::Name const name(symbol->name());
    auto const isMissing = [&] { return !config->communityListHas(name); };
    if (isMissing()) error.guard([&] { deleteSymbolIf(all, name, isMissing); });
  }
  error.rethrow();
}

Orb::Ptr<Acl::CommunityListEntry const> detail::compiledEntry(CommListSymbols const& all,
                                                              Orb::Name const& name,
                                                              Orb::U32 seqno) {
  auto const symbol = all->symbol(name);
  if (!symbol || !symbol->status()) return nullptr;
  return symbol->status()->communityListEntry(seqno);
}

bool detail::isEmpty(CommListSymbols const& all, Orb::Name const& name) {
  auto const symbol = all->symbol(name);
  return symbol && (!symbol->status() || symbol->status()->communityListEntry().empty());
}

void detail::deleteSymbolIfEmpty(CommListSymbols const& all, Orb::Name const& name) {
  auto const isStillEmpty = [&] { return isEmpty(all, name); };
  if (isStillEmpty()) deleteSymbolIf(all, name, isStillEmpty);
}

Orb::U32 deleteSymbolSeq(CommListSymbols const& all, Orb::Name const& name, Orb::U32 seqno) {
  auto const entry = detail::compiledEntry(all, name, seqno);
  if (!entry) return 0;
  auto const isThere = [&] { return detail::compiledEntry(all, name, seqno) == entry; };
  auto const isLast = [&] {
    return isThere() && all->symbol(name)->status()->communityListEntry().size() == 1;
  };
  Orb::FirstError error;
  if (!isLast()) {
    error.guard(
        [&] { ORB_TRACE(traceSm(), 8, "Removing seqno " << seqno << " from community " << name); });
  }
  // A trace sink may have made it the last one, or not the last one, or removed it and added
  // another of its number.
  if (isLast()) error.guard([&] { deleteSymbolIf(all, name, isLast); });
  if (isThere()) {
    auto const symbol = all->symbol(name);
    auto const old = symbol->status();
    auto const status = commListStatusFactory(name);
    status->clone(*old);
    status->communityListEntryDel(seqno);
    status->regexDel(seqno);
    symbol->statusIs(status);
    error.guard([&] { symbol->versionInc(1); });
  }
  error.rethrow();
  return 1;
}

void detail::deleteSymbols(CommListFamilies const& families, Orb::Name const& name,
                           Orb::FunctionRef<void()> announce) {
  std::array<Orb::Ptr<CommListSymbol>, 3> symbols;
  std::array<Orb::Ptr<CommListStatus const>, 3> statuses;  // engines trace when they go
  for (std::size_t i = 0; i < families.size(); ++i) {
    symbols[i] = families[i].all->symbol(name);
    if (!symbols[i]) continue;
    statuses[i] = symbols[i]->status();
    symbols[i]->statusIs(nullptr);
  }
  Orb::FirstError error;
  error.guard(announce);
  for (std::size_t i = 0; i < families.size(); ++i) {
    if (!symbols[i]) continue;
    error.guard([&] { traceDeletion(name); });
    error.guard([&] { withdraw(*families[i].all, *symbols[i]); });
  }
  error.rethrow();
}

}  // namespace Routing::RouteMap
