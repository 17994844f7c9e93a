#pragma once

#include "platform/orb/containers/OrderedMap.h"
#include "platform/orb/loop/Activity.h"
#include "platform/orb/model/Collections.h"
#include "platform/orb/model/Reactor.h"

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
///  3. A machine that is dropped while it handles a change ends after that. Who makes another one
///     over the same collections does so in a later turn.
///  4. A reactor compiles nothing before the machine has it. One that the machine lets go of is
///     detached, also by the machine's end, and compiles nothing from then on.
///
/// Kind says what is the kind's own:
///   Root                     the root that owns the configured lists
///   List                     the configured list
///   kLists, lists(config)    the root's collection of lists
///   Source                   what the reactor of a list is made of: a pointer to the list, or what
///                            behaves as one
///   ListSm                   the reactor of a list, with name(), source(), handleInitial() and
///                            detach(), which may throw what observers throw
///   names()                  its MachineNames
template <class Kind>
class ROUTEPOLICY_EXPORT ListSmSet : public Orb::Reactor<ListSmSet<Kind>, typename Kind::Root> {
 public:
  using Root = typename Kind::Root;
  using List = typename Kind::List;
  using Source = typename Kind::Source;
  using ListSm = typename Kind::ListSm;
  using ListSms = Orb::OrderedMap<Orb::Ptr<ListSm>, Orb::TargetKey<&ListSm::name>>;

  Orb::Ptr<Root const> const& config() const noexcept { return this->notifier(); }

  /// The reactors of the lists, by name. listSmIs() makes one, in place of one of another source,
  /// which stays when there is no memory; a null source is a RangeException.
  ListSms const& listSms() const noexcept { return listSms_; }
  Orb::Ptr<ListSm> listSm(Orb::Name const& name) const;
  void listSmIs(Source const& source);
  void listSmDel(Orb::Name const& name);
  void listSmDelAll();

  /// Has catchUp() called at the next turn, and again until it leaves nothing to do.
  void catchUpSoon() { timer_.timeMinIs(Orb::Clock::kNextTurn); }

 protected:
  explicit ListSmSet(Orb::Ptr<Root const> config);
  ~ListSmSet() override;

  /// Makes a reactor for every configured list, until one throws.
  void startLists();
  /// Reacts to nothing more, and lets go of all reactors; what observers throw is dropped. Called
  /// by the destructor, and before by that of a derived class whose reactors use what it has.
  void stopLists() noexcept;
  /// A list came, went, or was replaced. The reactor of a list that is gone is detached before its
  /// symbol goes.
  void onList(Orb::Name const& name);
  /// What the reactor of that name is to be made of; null when there is to be none.
  virtual Source source(Orb::Name const& name) const = 0;
  virtual Orb::Ptr<ListSm> makeSm(Source const& source) = 0;
  /// What is to be done before a reactor comes or goes: at first, and once a reactor of another
  /// source has been detached.
  virtual void announceList(Orb::Name const& /*name*/) {}
  virtual void prepareList(Orb::Name const& /*name*/) {}
  /// Whether the name may have a reactor after that.
  virtual bool mayHaveSm(Orb::Name const& /*name*/) const { return true; }
  /// Whether nothing is left to do for a name whose reactor has a source.
  virtual bool isInLine(Source const& source) const;
  /// Brings every list in line, whichever throws.
  virtual void catchUp();

 private:
  using Base = Orb::Reactor<ListSmSet, Root>;
  friend Base;

  static constexpr auto reactions() {
    return std::tuple{Base::template on<Kind::kLists, &ListSmSet::onList>};
  }
  bool isBehind(Orb::Name const& name) const;

  ListSms listSms_;
  Orb::ClockRelay<&ListSmSet::catchUp> timer_{*this};
};

}  // namespace Routing::RouteMap
