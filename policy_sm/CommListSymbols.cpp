#include "policy_sm/CommListSymbols.h"

#include "policy_sm/detail/Trace.h"

namespace Routing::RouteMap {

namespace {

void traceDeletion(Orb::Name const& name) {
  ORB_TRACE(traceSm(), 8, "deleting the symbol for community list " << name);
}

/// The last steps for a symbol that has just lost its status. An observer may give it another one:
/// the list is there again, and the symbol stays.
void withdraw(CommListSymbols const& all, CommListSymbol& symbol) {
  Orb::FirstError error;
  error.guard([&] { symbol.versionInc(1); });
  error.guard([&] {
    if (!symbol.status() && all->symbol(symbol.name()) == &symbol) all->symbolDel(symbol.name());
  });
  error.rethrow();
}

}  // namespace

Orb::Ptr<CommListSymbol> dedupCommListSym(CommListSymbolTable const& table,
                                          CommListSymbols const& all, Orb::Name const& name) {
  ORB_TRACE(traceSm(), 8, "creating the symbol for community list " << name);
  auto const status = commListStatusFactory(name);
  auto const symbol = commListSymbolFactory(name)->dedup(table);
  // Others may still hold it, as a list left it that had it in another collection.
  if (all->symbol(name) != symbol) symbol->statusIs(nullptr);
  Orb::FirstError error;
  error.guard([&] { all->symbolIs(symbol); });
  // An observer may have removed it again, or compiled an entry into it.
  if (all->symbol(name) == symbol && !symbol->status()) symbol->statusIs(status);
  error.rethrow();
  return symbol;
}

void deleteSymbol(CommListSymbols const& all, Orb::Name const& name) {
  Orb::FirstError error;
  error.guard([&] { traceDeletion(name); });
  if (auto const symbol = all->symbol(name)) {
    symbol->statusIs(nullptr);
    error.guard([&] { withdraw(all, *symbol); });
  }
  error.rethrow();
}

void deleteSymbolIfExists(CommListSymbols const& all, Orb::Name const& name) {
  if (all->symbolHas(name)) deleteSymbol(all, name);
}

void deleteSymbolIfMissingInConfig(CommListSymbols const& all,
                                   Orb::Ptr<Acl::AclListConfig const> const& config) {
  Orb::FirstError error;
  for (auto const& symbol : all->symbol()) {
    Orb::Name const name(symbol->name());
    if (!config->communityListHas(name)) error.guard([&] { deleteSymbol(all, name); });
  }
  error.rethrow();
}

bool detail::hasEntry(CommListSymbols const& all, Orb::Name const& name, Orb::U32 seqno) {
  auto const symbol = all->symbol(name);
  return symbol && symbol->status() && symbol->status()->communityListEntryHas(seqno);
}

Orb::U32 deleteSymbolSeq(CommListSymbols const& all, Orb::Name const& name, Orb::U32 seqno) {
  auto const isLast = [&] { return all->symbol(name)->status()->communityListEntry().size() == 1; };
  if (!detail::hasEntry(all, name, seqno)) return 0;
  Orb::FirstError error;
  if (!isLast()) {
    error.guard(
        [&] { ORB_TRACE(traceSm(), 8, "Removing seqno " << seqno << " from community " << name); });
    if (!detail::hasEntry(all, name, seqno)) return error.rethrow(), 1;  // by a trace sink
  }
  if (isLast()) {
    error.guard([&] { deleteSymbol(all, name); });
  } else {
    auto const symbol = all->symbol(name);
    auto const status = commListStatusFactory(name);
    status->clone(*symbol->status());
    status->communityListEntryDel(seqno);
    status->regexDel(seqno);
    symbol->statusIs(status);
    error.guard([&] { symbol->versionInc(1); });
  }
  error.rethrow();
  return 1;
}

void detail::deleteSymbols(CommListFamilies const& families, Orb::Name const& name) {
  std::array<Orb::Ptr<CommListSymbol>, 3> symbols;
  for (std::size_t i = 0; i < families.size(); ++i) {
    symbols[i] = families[i].all->symbol(name);
    if (symbols[i]) symbols[i]->statusIs(nullptr);
  }
  Orb::FirstError error;
  for (std::size_t i = 0; i < families.size(); ++i) {
    if (!symbols[i]) continue;
    error.guard([&] { traceDeletion(name); });
    error.guard([&] { withdraw(families[i].all, *symbols[i]); });
  }
  error.rethrow();
}

}  // namespace Routing::RouteMap
