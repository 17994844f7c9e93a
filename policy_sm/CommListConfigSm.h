#pragma once

#include "policy_sm/CommListReactor.h"

namespace Routing::RouteMap {

/// The community lists as a kind of lists.
struct ROUTEPOLICY_EXPORT CommLists {
  using Root = Acl::AclListConfig;
  using List = Acl::CommunityList;
  using Source = Orb::Ptr<List const>;
  using ListSm = CommListReactor;
  static constexpr Root::Attr kLists = Root::Attr::communityList;

  static auto lists(Root const& config) { return config.communityList(); }
  static MachineNames const& names();
};

/// Turns the community lists of the configuration into compiled symbols and keeps them so, on the
/// event-loop thread. It is the only writer of the collections that it is given: one for each
/// family of communities, since a list may hold entries of all three, and has a symbol in each
/// family then.
///
/// Lists are compiled entry by entry. A family's symbol is there as long as an entry of the list is
/// compiled into it. A change of an entry's version, unless it is to 0, replaces the symbol's
/// status by a changed copy, and raises the symbol's version by one; copies share what did not
/// change, so that this costs hardly more in a long list than in a short one. Changes that come
/// while an entry is being compiled are published as one. An entry that is given another family
/// stays in the old family's symbol as it was, until it is deleted.
class ROUTEPOLICY_EXPORT CommListConfigSm final : public ListSmSet<CommLists> {
 public:
  /// Deletes the symbols of lists that are not configured, then compiles every entry that has a
  /// version. When an observer throws, or there is no memory, this throws, and the symbols of the
  /// lists that it came to are deleted. REQUIRES: no argument is null.
  CommListConfigSm(Orb::Ptr<Acl::AclListConfig const> config, CommListSymbols allClSymbol,
                   CommListSymbols allExtClSymbol, CommListSymbols allLargeClSymbol,
                   CommListSymbolTable clSymbolTable, CommListSymbolTable extClSymbolTable,
                   CommListSymbolTable largeClSymbolTable);
  static Orb::Ptr<CommListConfigSm> CommListConfigSmIs(Orb::Ptr<Acl::AclListConfig const> config,
                                                       CommListSymbols allClSymbol,
                                                       CommListSymbols allExtClSymbol,
                                                       CommListSymbols allLargeClSymbol,
                                                       CommListSymbolTable clSymbolTable,
                                                       CommListSymbolTable extClSymbolTable,
                                                       CommListSymbolTable largeClSymbolTable);

  CommListSymbols const& allClSymbol() const noexcept { return (*families_)[0].all; }
  CommListSymbols const& allExtClSymbol() const noexcept { return (*families_)[1].all; }
  CommListSymbols const& allLargeClSymbol() const noexcept { return (*families_)[2].all; }
  CommListSymbolTable const& clSymbolTable() const noexcept { return (*families_)[0].table; }
  CommListSymbolTable const& extClSymbolTable() const noexcept { return (*families_)[1].table; }
  CommListSymbolTable const& largeClSymbolTable() const noexcept { return (*families_)[2].table; }
  /// The same, for the reactors, which may outlive the machine.
  std::shared_ptr<CommListFamilies const> const& families() const noexcept { return families_; }

  /// Whether the symbols of lists that were not configured have been deleted.
  bool initialized() const noexcept { return initialized_; }
  /// Deletes them, in all families, whichever deletion throws.
  void handleInitialized();

  /// The reactors of the lists. One that goes deletes the list's symbols.
  ListSms const& communityList() const noexcept { return listSms(); }
  Orb::Ptr<ListSm> communityList(Orb::Name const& name) const { return listSm(name); }
  void communityListIs(Orb::Ptr<Acl::CommunityList const> const& list) { listSmIs(list); }
  void communityListDel(Orb::Name const& name) { listSmDel(name); }
  void communityListDelAll() { listSmDelAll(); }

 protected:
  /// Deletes the symbols of all lists. What observers throw is dropped.
  ~CommListConfigSm() override;

 private:
  Source source(Orb::Name const& name) const override { return config()->communityList(name); }
  Orb::Ptr<ListSm> makeSm(Source const& list) override { return Orb::make<ListSm>(list, *this); }
  bool isInLine(Orb::Ptr<Acl::CommunityList const> const& list) const override;
  void catchUp() override;

  std::shared_ptr<CommListFamilies const> const families_;
  bool initialized_ = false;
};

ROUTEPOLICY_EXPORT Orb::Ptr<CommListConfigSm> commListConfigSmFactory(
    Orb::Ptr<Acl::AclListConfig const> config, CommListSymbols allClSymbol,
    CommListSymbols allExtClSymbol, CommListSymbols allLargeClSymbol,
    CommListSymbolTable clSymbolTable, CommListSymbolTable extClSymbolTable,
    CommListSymbolTable largeClSymbolTable);

}  // namespace Routing::RouteMap
