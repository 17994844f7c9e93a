#pragma once

#include "platform/orb/model/Reactor.h"
#include "policy_sm/ListSmSet.h"
#include "policy_sm/SlicedBuild.h"

namespace Routing::RouteMap {

template <class Kind>
class ListMachine;

/// How machines and lists of one kind are called in trace lines and errors.
struct HandlerNames : MachineNames {
  char const* listOf;     ///< the kind of lists, before a list's name
  char const* addedList;  ///< the list in the assertion of addList
  char const* handleList;
  char const* addList;
  char const* handleInitial;
  char const* handleVersion;
};

/// The base class of the reactors that keep the compiled form of one list in step with the list's
/// version; a machine has one for each list. The derived class compiles, in slices where the work
/// is long: SlicedBuild.h says how. ListMachine.h describes Kind.
template <class Kind>
class ROUTEPOLICY_EXPORT ListReactor : public Orb::Reactor<ListReactor<Kind>, typename Kind::List>,
                                       public SlicedBuild {
 public:
  using List = typename Kind::List;
  using Machine = ListMachine<Kind>;

  /// The list's name, the reactor's key in its machine.
  Orb::Name const& name() const noexcept { return list()->name(); }
  Orb::Ptr<List const> const& list() const noexcept { return this->notifier(); }
  Orb::Ptr<List const> const& source() const noexcept { return list(); }
  /// The owning machine; null once that has let the reactor go, which does nothing from then on.
  Machine* machine() const noexcept { return machine_; }
  /// Whether the initial handler has run; slices do nothing before.
  bool initialized() const noexcept { return initialized_; }

  /// The initial handler, run by the machine once it has the reactor; and the handler of the list's
  /// version. Both start to compile the list anew, the first if it has entries or is of another
  /// version than its status says, also when they throw.
  void handleInitial();
  void handleVersion();

  /// The machine lets the reactor go: it leaves the list, and its build is dropped.
  void detach() noexcept;

 protected:
  /// Attached to the list, and to the clock of the event loop.
  ListReactor(Orb::Ptr<List const> list, Machine& machine);
  ~ListReactor() override;

 private:
  using Base = Orb::Reactor<ListReactor, List>;
  friend Base;
  using Attr = typename List::Attr;

  static constexpr auto reactions() {
    return std::tuple{Base::template on<Attr::version, &ListReactor::handleVersion>};
  }

  /// Does what is to be done at once when a build begins. What it leaves, the slices do.
  virtual void prepare() = 0;
  /// One slice; does nothing when there is nothing to build.
  virtual void compileSome(Orb::U64& count) = 0;
  void runSlice(Orb::U64& count) final;

  Machine* machine_;
  bool initialized_ = false;
};

}  // namespace Routing::RouteMap
