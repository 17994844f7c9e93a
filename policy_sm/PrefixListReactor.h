#pragma once

#include "platform/orb/loop/Activity.h"
#include "platform/orb/model/Reactor.h"
#include "policy_config/PrefixListFamily.h"
#include "policy_status/PrefixListSymbol.h"

namespace Routing::RouteMap {

template <class Family>
class PrefixListMachine;

/// Compiles one prefix list and keeps the compiled form in step with the list's version.
///
/// A changed list is compiled in time slices into a fresh trie, which is swapped in when it is
/// complete; until then the symbol serves the old one. The states:
///   idle      newTrie null, timeMin never, bookmark 0
///   building  newTrie set, timeMin next turn, bookmark the sequence number to go on with
/// A change of the version starts from the beginning in either state.
///
/// Family is Acl::Ipv4Family or Acl::Ipv6Family; the handlers bear the family's name.
template <class Family>
class ROUTEPOLICY_EXPORT PrefixListReactor final
    : public Orb::Reactor<PrefixListReactor<Family>, typename Family::List> {
 public:
  using List = typename Family::List;
  using Machine = PrefixListMachine<Family>;

  /// The time that a slice may take, in seconds, at first.
  static constexpr double kClockQuantum = 0.01;

  PrefixListReactor(Orb::Ptr<List const> list, Machine& machine);

  /// The list's name, the reactor's key in its machine.
  Orb::Name const& name() const noexcept { return this->notifier()->name(); }
  Orb::Ptr<List const> const& prefixList() const noexcept { return this->notifier(); }
  /// The owning machine; null once that has let the reactor go, which does nothing from then on.
  Machine* prefixListConfigSm() const noexcept { return machine_; }

  /// The clock that calls the reactor back, and when it is to.
  Orb::Ptr<Orb::Clock> const& clock() const noexcept { return timer_.clock(); }
  void clockIs(Orb::Ptr<Orb::Clock> clock) { timer_.clockIs(std::move(clock)); }
  double timeMin() const noexcept { return timer_.timeMin(); }

  /// The sequence number at which the next slice goes on; 0 for the first rule.
  Orb::U32 bookmark() const noexcept { return bookmark_; }
  /// Seconds of work for each slice; a slice adds at least one rule, however short it is.
  double clockQuantum() const noexcept { return clockQuantum_; }
  void clockQuantumIs(double seconds) noexcept { clockQuantum_ = seconds; }
  /// The trie under construction; null when there is none.
  Orb::Ptr<PatriciaTrieWithNodeData> const& newTrie() const noexcept { return newTrie_; }
  /// Whether the initial handler has run; slices do nothing before.
  bool initialized() const noexcept { return initialized_; }

  /// The initial handler, run by the constructor.
  void handlePrefixEntry() requires(Family::kFamily == Ipa::AddressFamily::ipv4) {
    handleInitial();
  }
  void handleIpv6PrefixEntry() requires(Family::kFamily == Ipa::AddressFamily::ipv6) {
    handleInitial();
  }
  /// The list's version has changed: starts to compile it anew.
  void handlePrefixListVersion() requires(Family::kFamily == Ipa::AddressFamily::ipv4) {
    handleVersion();
  }
  void handleIpv6PrefixListVersion() requires(Family::kFamily == Ipa::AddressFamily::ipv6) {
    handleVersion();
  }
  /// One time slice; returns the number of rules that it added.
  Orb::U64 processClock();

  /// The machine lets the reactor go: it leaves the list, and its build is dropped.
  void detach() noexcept;

 private:
  using Base = Orb::Reactor<PrefixListReactor, List>;
  friend Base;
  using Entry = typename Family::Entry;
  using Attr = typename List::Attr;

  static constexpr auto reactions() {
    return std::tuple{Base::template on<Attr::version, &PrefixListReactor::handleVersion>};
  }

  /// The clock notifiee of the reactor.
  class Timer final : public Orb::Clock::Notifiee {
   public:
    explicit Timer(PrefixListReactor& reactor) : reactor_(reactor) {}
    void onTime() override;

   private:
    PrefixListReactor& reactor_;
  };

  void handleInitial();
  void handleVersion();
  void addEntry(Entry const& entry);
  void publish(Orb::Ptr<PrefixListSymbol> const& symbol, Orb::Ptr<PrefixListStatus> const& status);
  void stopBuilding() noexcept;

  Machine* machine_;
  Timer timer_;
  Orb::U32 bookmark_ = 0;
  double clockQuantum_ = kClockQuantum;
  Orb::Ptr<PatriciaTrieWithNodeData> newTrie_;
  bool initialized_ = false;
};

}  // namespace Routing::RouteMap
