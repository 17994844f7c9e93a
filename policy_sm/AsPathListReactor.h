#pragma once

#include <memory>

#include "platform/regex/PathSet.h"
#include "policy_config/AclListConfig.h"
#include "policy_sm/ListReactor.h"
#include "policy_status/AsPathListSymbol.h"

namespace Routing::RouteMap {

class AsPathListConfigSm;
class AsPathListReactor;

/// The AS-path lists as a kind of lists.
struct ROUTEPOLICY_EXPORT AsPathLists {
  using Root = Acl::AclListConfig;
  using List = Acl::AsPathList;
  using Source = Orb::Ptr<List const>;
  using ListSm = AsPathListReactor;
  using SymbolKind = AsPathListKind;
  static constexpr Root::Attr kLists = Root::Attr::pathList;
  static constexpr bool kInstallsWithStatus = true;

  static auto lists(Root const& config) { return config.pathList(); }
  static Orb::Ptr<List> list(Root const& config, Orb::Name const& name) {
    return config.pathList(name);
  }
  static auto const& entries(List const& list) { return list.pathEntry(); }
  static HandlerNames const& names();
  /// Without entries, in the machine's mode and notation.
  static Orb::Ptr<AsPathListStatus const> initialStatus(ListMachine<AsPathLists> const& machine,
                                                        Orb::Name const& name, List const& list);
};

/// Compiles one AS-path list: whole and at once when its version changes. When there is no memory
/// for that, the next turn repeats it.
///
/// Behind a status in DFA mode that has at least two expressions, these are compiled once more, in
/// slices, into one automaton, the path set, which is attached to that very status: it makes
/// matches quick and changes none, so no version rises. When the automaton would pass its bounds of
/// size, or there is no memory for it, there is none. What is built:
///   wantsStatus()    the status
///   indexed() set    its path set
class ROUTEPOLICY_EXPORT AsPathListReactor final : public ListReactor<AsPathLists> {
 public:
  AsPathListReactor(Orb::Ptr<Acl::AsPathList const> list, Machine& machine);

  Orb::Ptr<Acl::AsPathList const> const& asPathList() const noexcept { return list(); }
  AsPathListConfigSm* asPathListConfigSm() const noexcept;

  void handleAsPathEntry() { handleInitial(); }
  void handleAsPathListVersion() { handleVersion(); }

  /// Whether a status is to be compiled that there was no memory for.
  bool wantsStatus() const noexcept { return isBuilding() && !indexed_; }
  /// The status whose path set is being built; null when none is.
  Orb::Ptr<AsPathListStatus const> const& indexed() const noexcept { return indexed_; }

  /// Compiles and publishes the list when its status is wanted, or in another mode than the
  /// machine's. Nothing is left to do when this returns. Trace sinks and observers may do what they
  /// like meanwhile: what they make stale is compiled again, and not published.
  void bringUpToDate();
  /// `status` has taken the place of `old` in the symbol, with the same expressions.
  void statusCloned(Orb::Ptr<AsPathListStatus const> const& old,
                    Orb::Ptr<AsPathListStatus const> const& status) noexcept;

 protected:
  ~AsPathListReactor() override;

 private:
  void prepare() override { bringUpToDate(); }
  void compileSome(Orb::U64& count) override;
  void drop() noexcept override;
  void addToPathSet(Orb::U64& count);
  void index(Orb::Ptr<AsPathListStatus const> const& status);

  Orb::Ptr<AsPathListStatus const> indexed_;
  std::shared_ptr<AsPath::PathSetBuilder> builder_;  // null until the first slice
  std::size_t added_ = 0;                            // of the expressions, to the builder
};

}  // namespace Routing::RouteMap
