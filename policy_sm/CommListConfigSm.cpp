#include "policy_sm/CommListConfigSm.h"

#include "policy_sm/detail/ListSmSetBody.h"

namespace Routing::RouteMap {

MachineNames const& CommLists::names() {
  static constexpr MachineNames kNames{"Routing::RouteMap::CommListConfigSm", "communityList"};
  return kNames;
}

CommListConfigSm::CommListConfigSm(Orb::Ptr<Acl::AclListConfig const> config,
                                   CommListSymbols allClSymbol, CommListSymbols allExtClSymbol,
                                   CommListSymbols allLargeClSymbol,
                                   CommListSymbolTable clSymbolTable,
                                   CommListSymbolTable extClSymbolTable,
                                   CommListSymbolTable largeClSymbolTable)
    : ListSmSet(std::move(config)),
      families_(std::make_shared<CommListFamilies>(
          CommListFamilies{{{std::move(allClSymbol), std::move(clSymbolTable)},
                            {std::move(allExtClSymbol), std::move(extClSymbolTable)},
                            {std::move(allLargeClSymbol), std::move(largeClSymbolTable)}}})) {
  try {
    handleInitialized();
    startLists();
  } catch (...) {
    stopLists();
    throw;
  }
}

CommListConfigSm::~CommListConfigSm() { stopLists(); }

void CommListConfigSm::handleInitialized() {
  Orb::FirstError error;
  for (CommListFamily const& family : *families_) {
    error.guard([&] { deleteSymbolIfMissingInConfig(family.all, config()); });
  }
  initialized_ = true;
  error.rethrow();
}

bool CommListConfigSm::isInLine(Orb::Ptr<Acl::CommunityList const> const& list) const {
  return ListSmSet::isInLine(list) && communityList(list->name())->isInLine();
}

void CommListConfigSm::catchUp() {
  Orb::Ptr<CommListConfigSm> const alive(this);
  Orb::FirstError error;
  error.guard([&] { ListSmSet::catchUp(); });
  for (auto const& held : communityList()) {
    Orb::Ptr<CommListReactor> const sm = held;
    if (!sm->isInLine()) error.guard([&] { sm->catchUp(); });
  }
  error.rethrow();
}

template class ListSmSet<CommLists>;

Orb::Ptr<CommListConfigSm> commListConfigSmFactory(
    Orb::Ptr<Acl::AclListConfig const> config, CommListSymbols allClSymbol,
    CommListSymbols allExtClSymbol, CommListSymbols allLargeClSymbol,
    CommListSymbolTable clSymbolTable, CommListSymbolTable extClSymbolTable,
    CommListSymbolTable largeClSymbolTable) {
  return Orb::make<CommListConfigSm>(std::move(config), std::move(allClSymbol),
                                     std::move(allExtClSymbol), std::move(allLargeClSymbol),
                                     std::move(clSymbolTable), std::move(extClSymbolTable),
                                     std::move(largeClSymbolTable));
}

Orb::Ptr<CommListConfigSm> CommListConfigSm::CommListConfigSmIs(
    Orb::Ptr<Acl::AclListConfig const> config, CommListSymbols allClSymbol,
    CommListSymbols allExtClSymbol, CommListSymbols allLargeClSymbol,
    CommListSymbolTable clSymbolTable, CommListSymbolTable extClSymbolTable,
    CommListSymbolTable largeClSymbolTable) {
  return commListConfigSmFactory(std::move(config), std::move(allClSymbol),
                                 std::move(allExtClSymbol), std::move(allLargeClSymbol),
                                 std::move(clSymbolTable), std::move(extClSymbolTable),
                                 std::move(largeClSymbolTable));
}

}  // namespace Routing::RouteMap
