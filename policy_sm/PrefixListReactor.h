#pragma once

#include "platform/orb/loop/Activity.h"
#include "platform/orb/model/Reactor.h"
#include "policy_config/PrefixListFamily.h"
#include "policy_status/GenPrefixEntry.h"
#include "policy_status/PrefixListSymbol.h"

namespace Routing::RouteMap {

template <class Family>
class PrefixListMachine;

/// Compiles one prefix list and keeps the compiled form in step with the list's version.
///
/// A changed list is compiled in time slices into a fresh trie, which is swapped in when it is
/// complete; until then the symbol serves the old one. The states:
///   idle      newTrie null, timeMin never, bookmark 0
///   building  newTrie set, timeMin next turn, bookmark the sequence number to continue with
/// A change of the version starts from the beginning in either state. When there is no memory for
/// the trie, the next slice makes it: the state is building, with newTrie null until then.
///
/// Observers, the clock's time source and trace sinks may do what they like while a slice runs:
///  1. Entries are taken in ascending sequence number. What comes, changes or goes behind the last
///     one that was taken is seen, by the slice that runs too; the rest is not.
///  2. A slice ends when its trie is not newTrie any more: the build was started anew, or the
///     machine let the reactor go. So a trie that is published holds all entries.
///  3. Whatever a slice throws, the build continues at the bookmark in the next turn: all entries
///     below the bookmark are in newTrie, and no other one is.
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

  /// The clock that calls the reactor back, and when it is to. The clock is not null.
  Orb::Ptr<Orb::Clock> const& clock() const noexcept { return timer_.clock(); }
  void clockIs(Orb::Ptr<Orb::Clock> clock) { timer_.clockIs(std::move(clock)); }
  double timeMin() const noexcept { return timer_.timeMin(); }

  /// The sequence number at which the next slice continues; 0 for the first entry.
  Orb::U32 bookmark() const noexcept { return bookmark_; }
  /// Seconds of work for each slice; a slice adds at least one entry, however short it is.
  double clockQuantum() const noexcept { return clockQuantum_; }
  void clockQuantumIs(double seconds) noexcept { clockQuantum_ = seconds; }
  /// The trie under construction; null when there is none.
  Orb::Ptr<PatriciaTrieWithNodeData> const& newTrie() const noexcept { return newTrie_; }
  /// Whether a build is in progress.
  bool isBuilding() const noexcept { return newTrie_ || wantsTrie_; }
  /// Whether the initial handler has run; slices do nothing before.
  bool initialized() const noexcept { return initialized_; }

  /// The initial handler, run by the constructor; and the handler of the list's version, which
  /// starts to compile the list anew, also when it throws. Under the names of the family, too.
  void handleInitial();
  void handleVersion();
  void handlePrefixEntry() requires(Family::kFamily == Ipa::AddressFamily::ipv4) {
    handleInitial();
  }
  void handleIpv6PrefixEntry() requires(Family::kFamily == Ipa::AddressFamily::ipv6) {
    handleInitial();
  }
  void handlePrefixListVersion() requires(Family::kFamily == Ipa::AddressFamily::ipv4) {
    handleVersion();
  }
  void handleIpv6PrefixListVersion() requires(Family::kFamily == Ipa::AddressFamily::ipv6) {
    handleVersion();
  }
  /// One time slice; returns the number of entries that it added. Does nothing while one runs.
  Orb::U64 processClock();

  /// The machine lets the reactor go: it leaves the list, and its build is dropped.
  void detach() noexcept;

 private:
  using Base = Orb::Reactor<PrefixListReactor, List>;
  friend Base;
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

  void makeTrie();
  void runSlice(Orb::U64& count);
  void addEntry(PatriciaTrieWithNodeData& trie, GenPrefixEntry const& entry);
  void publish(PrefixListSymbol& symbol, Orb::Ptr<PrefixListStatus> const& status);
  void stopBuilding() noexcept;

  Machine* machine_;
  Timer timer_;
  Orb::U32 bookmark_ = 0;
  double clockQuantum_ = kClockQuantum;
  Orb::Ptr<PatriciaTrieWithNodeData> newTrie_;
  bool wantsTrie_ = false;  // a build has begun without one
  bool inSlice_ = false;
  bool initialized_ = false;
};

}  // namespace Routing::RouteMap
