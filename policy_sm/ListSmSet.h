#pragma once

#include "platform/orb/loop/Activity.h"
#include "platform/orb/model/Reactor.h"
#include "policy_config/AclListConfig.h"

namespace Routing::RouteMap {

/// How a machine and the attribute that holds its reactors are called in errors.
struct MachineNames {
  char const* machine;
  char const* listSm;
};

/// The base class of all state machines: a reactor for each configured list of one kind, on the
/// event-loop thread.
///  1. A change of the configuration is handled in full, whatever observers throw: what was
///     thrown first goes to the caller who made the change.
///  2. A list that is not in line after that, since a step found no memory, is brought in line at
///     the next turn of the event loop. Arming the timer for it needs no memory, and is repeated
///     until every list is in line.
///  3. A reactor compiles nothing before the machine has it. One that the machine lets go of is
///     detached, also by the machine's end, and compiles nothing from then on.
///
/// Kind says what is the kind's own:
///   List                     the configured list
///   kLists, lists(config), list(config, name)
///                            the root's collection of lists
///   ListSm                   the reactor of a list: made of a list and the machine, a
///                            ListSm::Machine, with name(), list(), handleInitial() and detach(),
///                            which may throw what observers throw
///   names()                  its MachineNames
template <class Kind>
class ROUTEPOLICY_EXPORT ListSmSet : public Orb::Reactor<ListSmSet<Kind>, Acl::AclListConfig> {
 public:
  using List = typename Kind::List;
  using ListSm = typename Kind::ListSm;
  using ListSms = Orb::OrderedMap<Orb::Ptr<ListSm>, Orb::TargetKey<&ListSm::name>>;

  Orb::Ptr<Acl::AclListConfig const> const& config() const noexcept { return this->notifier(); }

  /// The reactors of the lists, by name. listSmIs() makes one, in place of that of another list of
  /// the name, which stays when there is no memory; a null list is a RangeException.
  ListSms const& listSms() const noexcept { return listSms_; }
  Orb::Ptr<ListSm> listSm(Orb::Name const& name) const;
  void listSmIs(Orb::Ptr<List const> const& list);
  void listSmDel(Orb::Name const& name);
  void listSmDelAll();

  /// Has catchUp() called at the next turn, and again until it leaves nothing to do.
  void catchUpSoon() { catchUp_.timeMinIs(Orb::Clock::kNextTurn); }

 protected:
  explicit ListSmSet(Orb::Ptr<Acl::AclListConfig const> config);
  ~ListSmSet() override;

  /// Makes a reactor for every configured list, until one throws.
  void startLists();
  /// Reacts to nothing more, and lets go of all reactors; what observers throw is dropped. Called
  /// by the destructor, and before by that of a derived class whose reactors use what it has.
  void stopLists() noexcept;
  /// A list came, went, or was replaced. The reactor of a list that is gone is detached first.
  void onList(Orb::Name const& name);
  /// What is to be done for a list before its reactor comes or goes.
  virtual void prepareList(Orb::Name const& name) = 0;
  /// Whether a configured list may have a reactor after that.
  virtual bool mayHaveSm(Orb::Name const& name) const = 0;
  /// Whether nothing is left to do for a configured list.
  virtual bool isInLine(Orb::Ptr<List const> const& list) const;
  /// Brings every list in line, whichever throws.
  virtual void catchUp();

 private:
  using Base = Orb::Reactor<ListSmSet, Acl::AclListConfig>;
  friend Base;

  static constexpr auto reactions() {
    return std::tuple{Base::template on<Kind::kLists, &ListSmSet::onList>};
  }

  class CatchUp final : public Orb::Clock::Notifiee {
   public:
    explicit CatchUp(ListSmSet& machine)
        : Notifiee(Orb::ActivityManager::current().clock()), machine_(machine) {}
    void onTime() override { machine_.catchUp(); }

   private:
    ListSmSet& machine_;
  };

  ListSms listSms_;
  CatchUp catchUp_{*this};
};

}  // namespace Routing::RouteMap
