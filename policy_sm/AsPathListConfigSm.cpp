#include "policy_sm/AsPathListConfigSm.h"

#include "policy_sm/detail/ListMachineBody.h"

namespace Routing::RouteMap {

namespace {

using RegexModeSm = Orb::Relay<Acl::AclListConfig, Acl::AclListConfig::Attr::regexMode,
                               &AsPathListConfigSm::handleRegexMode>;
using AsnNotationSm =
    Orb::Relay<AsnConfig, AsnConfig::Attr::asnNotation, &AsPathListConfigSm::handleAsnNotation>;

}  // namespace

HandlerNames const& AsPathLists::names() {
  static constexpr HandlerNames kNames{{"Routing::RouteMap::AsPathListConfigSm", "asPathList"},
                                       " as-path-list: ",
                                       "pathList",
                                       "handleAsPathList",
                                       "addAsPathList",
                                       "handleAsPathEntry",
                                       "handleAsPathListVersion"};
  return kNames;
}

Orb::Ptr<AsPathListStatus const> AsPathLists::initialStatus(ListMachine<AsPathLists> const& machine,
                                                            Orb::Name const& name,
                                                            List const& list) {
  auto const& settings = static_cast<AsPathListConfigSm const&>(machine);
  auto const status = asPathListStatusFactory(name);
  status->configVersionIs(list.version());
  status->regexModeIs(settings.regexMode());
  status->asnNotationIs(settings.asnNotation());
  status->prepare();
  return status;
}

// The settings come first, so that nothing is compiled twice.
AsPathListConfigSm::AsPathListConfigSm(Orb::Ptr<Acl::AclListConfig const> config,
                                       Orb::Ptr<AsnConfig const> asnConfig,
                                       Orb::Ptr<AllAsPathListSymbol> allAplSymbol,
                                       Orb::Ptr<AsPathListSymbolDedupTable const> aplSymbolTable)
    : ListMachine(std::move(config), std::move(allAplSymbol), std::move(aplSymbolTable)),
      asnConfig_(std::move(asnConfig)),
      regexModeSm_(Orb::make<RegexModeSm>(this->config(), *this)),
      asnNotationSm_(Orb::make<AsnNotationSm>(asnConfig_, *this)) {
  handleRegexMode();
  handleAsnNotation();
  isStarted_ = true;
  Orb::FirstError error;
  error.guard([&] { start(); });
  // A trace sink may have added lists before the settings were known.
  error.guard([&] { applyRegexMode(false); });
  error.guard([&] { applyAsnNotation(false); });
  error.rethrow();
}

AsPathListConfigSm::~AsPathListConfigSm() = default;

void AsPathListConfigSm::handleRegexMode() {
  Orb::Ptr<AsPathListConfigSm> const alive(this);  // an observer may drop the machine
  Orb::FirstError error;
  error.guard(
      [&] { ORB_TRACE(traceSm(), 8, "handleRegexMode regexMode: " << config()->regexMode()); });
  error.guard([&] {
    if (config()->regexMode() != regexMode_) {
      regexModeIs(config()->regexMode());
      if (isStarted_) applyRegexMode(true);
    } else {
      ORB_TRACE(traceSm(), 8, "No change in regexMode");
    }
  });
  error.rethrow();
}

void AsPathListConfigSm::handleAsnNotation() {
  Orb::Ptr<AsPathListConfigSm> const alive(this);
  Orb::FirstError error;
  error.guard([&] {
    ORB_TRACE(traceSm(), 8, "handleAsnNotation asnNotation: " << asnConfig_->asnNotation());
  });
  error.guard([&] {
    if (asnConfig_->asnNotation() != asnNotation_) {
      asnNotationIs(asnConfig_->asnNotation());
      if (isStarted_) applyAsnNotation(true);
    } else {
      ORB_TRACE(traceSm(), 8, "No change in asnNotation");
    }
  });
  error.rethrow();
}

/// Compares each list with the setting that holds when its turn comes: an observer may have changed
/// it again, and all lists with it. `isChange`: the setting has changed, and lists that have it
/// already are traced.
void AsPathListConfigSm::applyRegexMode(bool isChange) {
  Orb::FirstError error;
  bool isDone = true;
  for (Orb::Ptr<Acl::AsPathList const> const list : config()->pathList()) {
    auto const symbol = allAplSymbol()->symbol(list->name());
    auto const isStale = [&] {
      return symbol && symbol->status() && symbol->status()->regexMode() != regexMode_;
    };
    if (isStale()) {
      error.guard([&] { bringUpToDate(list); });
      isDone &= !isStale();
    } else if (isChange && symbol && symbol->status()) {
      error.guard([&] { ORB_TRACE(traceSm(), 8, "No change in regexMode for " << list->name()); });
    }
  }
  if (!isDone) error.guard([&] { catchUpSoon(); });
  error.rethrow();
}

/// A list whose reactor was taken away has one for this.
void AsPathListConfigSm::bringUpToDate(Orb::Ptr<Acl::AsPathList const> const& list) {
  if (auto const sm = asPathList(list->name())) return sm->bringUpToDate();
  auto const sm = Orb::make<ListSm>(list, *this);
  Orb::FirstError error;
  error.guard([&] { sm->bringUpToDate(); });
  sm->detach();
  error.rethrow();
}

void AsPathListConfigSm::applyAsnNotation(bool isChange) {
  Orb::FirstError error;
  bool isDone = true;
  for (auto const& item : allAplSymbol()->symbol()) {
    Orb::Ptr<AsPathListSymbol> const symbol = item;
    auto const isStale = [&] {
      return symbol->status() && symbol->status()->asnNotation() != asnNotation_;
    };
    if (isStale()) {
      error.guard([&] { renotate(*symbol); });
      isDone &= !isStale();
    } else if (isChange && symbol->status()) {
      error.guard(
          [&] { ORB_TRACE(traceSm(), 8, "No change in asnNotation for " << symbol->name()); });
    }
  }
  if (!isDone) error.guard([&] { catchUpSoon(); });
  error.rethrow();
}

void AsPathListConfigSm::renotate(AsPathListSymbol& symbol) {
  auto const old = symbol.status();
  auto const status = asPathListStatusFactory(symbol.name());
  status->clone(*old);
  status->asnNotationIs(asnNotation_);
  status->prepare();
  if (auto const sm = asPathList(Orb::Name(symbol.name()))) sm->statusCloned(old, status);
  symbol.statusIs(status);
  symbol.versionInc(1);
}

void AsPathListConfigSm::catchUp() {
  Orb::Ptr<AsPathListConfigSm> const alive(this);
  Orb::FirstError error;
  error.guard([&] { ListMachine::catchUp(); });
  error.guard([&] { applyRegexMode(false); });
  error.guard([&] { applyAsnNotation(false); });
  error.rethrow();
}

template class ListSmSet<AsPathLists>;
template class ListMachine<AsPathLists>;

Orb::Ptr<AsPathListConfigSm> asPathListConfigSmFactory(
    Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AsnConfig const> asnConfig,
    Orb::Ptr<AllAsPathListSymbol> allAplSymbol,
    Orb::Ptr<AsPathListSymbolDedupTable const> aplSymbolTable) {
  return Orb::make<AsPathListConfigSm>(std::move(config), std::move(asnConfig),
                                       std::move(allAplSymbol), std::move(aplSymbolTable));
}

Orb::Ptr<AsPathListConfigSm> AsPathListConfigSm::AsPathListConfigSmIs(
    Orb::Ptr<Acl::AclListConfig const> config, Orb::Ptr<AsnConfig const> asnConfig,
    Orb::Ptr<AllAsPathListSymbol> allAplSymbol,
    Orb::Ptr<AsPathListSymbolDedupTable const> aplSymbolTable) {
  return asPathListConfigSmFactory(std::move(config), std::move(asnConfig), std::move(allAplSymbol),
                                   std::move(aplSymbolTable));
}

}  // namespace Routing::RouteMap
