#pragma once

#include "policy_config/AsnConfig.h"
#include "policy_sm/AsPathListReactor.h"
#include "policy_sm/ListMachine.h"

namespace Routing::RouteMap {

/// Turns the AS-path lists of the configuration into compiled symbols and keeps them so, on the
/// event-loop thread. It is the only writer of the collection that it is given. The base class
/// describes its operations on lists.
///
/// Two settings hold for all lists: the engine, which each expression is compiled for anew, and the
/// notation of AS numbers, which changes no engine. A change is applied to all lists within its
/// notice, each symbol's version rising once for it. Whatever observers throw or change meanwhile,
/// every list is brought to the settings that hold then; one for which there was no memory follows
/// at the next turn.
class ROUTEPOLICY_EXPORT AsPathListConfigSm final : public ListMachine<AsPathLists> {
 public:
  /// Gives every configured list a symbol, and compiles those that have entries, with the settings
  /// as they are. When an observer throws, or there is no memory, the symbols that were made stay,
  /// and whoever tries again gets a machine that uses them. REQUIRES: no argument is null.
  AsPathListConfigSm(Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AsnConfig const> asnConfig,
                     Orb::Ptr<AllAsPathListSymbol> allAplSymbol,
                     Orb::Ptr<AsPathListSymbolDedupTable const> aplSymbolTable);
  static Orb::Ptr<AsPathListConfigSm> AsPathListConfigSmIs(
      Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AsnConfig const> asnConfig,
      Orb::Ptr<AllAsPathListSymbol> allAplSymbol,
      Orb::Ptr<AsPathListSymbolDedupTable const> aplSymbolTable);

  Orb::Ptr<AsnConfig const> const& asnConfig() const noexcept { return asnConfig_; }
  Orb::Ptr<AllAsPathListSymbol> const& allAplSymbol() const noexcept { return allSymbol(); }
  Orb::Ptr<AsPathListSymbolDedupTable const> const& aplSymbolTable() const noexcept {
    return symbolTable();
  }

  /// The settings last applied. The setters store alone.
  Acl::RegexMode regexMode() const noexcept { return regexMode_; }
  void regexModeIs(Acl::RegexMode mode) noexcept { regexMode_ = mode; }
  AsnNotation asnNotation() const noexcept { return asnNotation_; }
  void asnNotationIs(AsnNotation notation) noexcept { asnNotation_ = notation; }
  /// Apply the settings as they are configured, when they are not those last applied. A symbol
  /// without a status is left as it is.
  void handleRegexMode();
  void handleAsnNotation();

  void handleAsPathList() { handleLists(); }
  void handleAsPathList(Orb::Name const& name) { handleList(name); }
  void addAsPathList(Orb::Name const& name, Orb::Ptr<Acl::AsPathList const> const& list) {
    addList(name, list);
  }

  ListSms const& asPathList() const noexcept { return listSms(); }
  Orb::Ptr<ListSm> asPathList(Orb::Name const& name) const { return listSm(name); }
  void asPathListIs(Orb::Ptr<Acl::AsPathList const> const& list) { listSmIs(list); }
  void asPathListDel(Orb::Name const& name) { listSmDel(name); }
  void asPathListDelAll() { listSmDelAll(); }

 protected:
  ~AsPathListConfigSm() override;

 private:
  void catchUp() override;
  void applyRegexMode(bool isChange);
  void bringUpToDate(Orb::Ptr<Acl::AsPathList const> const& list);
  void applyAsnNotation(bool isChange);
  void renotate(AsPathListSymbol& symbol);

  Orb::Ptr<AsnConfig const> const asnConfig_;
  Acl::RegexMode regexMode_ = Acl::regexModeDfa;
  AsnNotation asnNotation_ = AsnConfig::kAsnNotationDefault;
  bool isStarted_ = false;  // lists are made in line with the settings from here on
  // The reactors on the two settings.
  Orb::Ptr<Orb::RefCounted> regexModeSm_;
  Orb::Ptr<Orb::RefCounted> asnNotationSm_;
};

ROUTEPOLICY_EXPORT Orb::Ptr<AsPathListConfigSm> asPathListConfigSmFactory(
    Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AsnConfig const> asnConfig,
    Orb::Ptr<AllAsPathListSymbol> allAplSymbol,
    Orb::Ptr<AsPathListSymbolDedupTable const> aplSymbolTable);

}  // namespace Routing::RouteMap
