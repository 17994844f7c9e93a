#pragma once

#include <gtest/gtest.h>

#include "policy_sm/RouteMapSm.h"
#include "tests/support/TestLoop.h"

namespace TestSupport {

/// The configuration of lists of one kind, and their compiled form. What is derived from it says
/// the kind's own:
///   start(), lists(), list(name), listDel(name)
///   entry(seqno, i), add(name, entry)   the i-th of some entries
///   contentOf(status), modelOf(list)    all that a status holds, and what it is to hold
template <class MachineT>
struct MachineWorld : TestLoop {
  using Machine = MachineT;
  using Symbol = typename Machine::Symbol;

  Orb::Ptr<Acl::AclListConfig> config = Orb::make<Acl::AclListConfig>("root");
  Orb::Ptr<typename Machine::AllSymbols> all = Orb::make<typename Machine::AllSymbols>();
  Orb::Ptr<typename Machine::SymbolTable> table = Orb::make<typename Machine::SymbolTable>();
  Orb::Ptr<Machine> machine;

  ~MachineWorld() { machine = nullptr; }

  Orb::Ptr<typename Machine::ListSm> sm(Orb::Name const& name) {
    return machine ? machine->listSm(name) : nullptr;
  }
  Orb::Ptr<Symbol> symbol(Orb::Name const& name) { return all->symbol(name); }
  Orb::U32 version(Orb::Name const& name) { return symbol(name)->symbolNotifier()->version(); }
};

/// Every configured list is compiled as it stands, and nothing else is there.
template <class World>
void expectInLine(World& w) {
  for (auto const& list : w.lists()) {
    auto const symbol = w.symbol(list->name());
    ASSERT_TRUE(symbol && symbol->status() && w.sm(list->name())) << list->name();
    EXPECT_EQ(w.sm(list->name())->list(), list);
    EXPECT_EQ(w.contentOf(symbol->status()), w.modelOf(*list)) << list->name();
  }
  EXPECT_EQ(w.all->symbol().size(), w.lists().size());
  EXPECT_EQ(w.machine->listSms().size(), w.lists().size());
}

}  // namespace TestSupport
