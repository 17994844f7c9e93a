#include "tool/Compiler.h"

namespace Tool {

namespace RouteMap = Routing::RouteMap;

template <class Family>
Compiler<Family>::Compiler(Orb::Ptr<Acl::AclListConfig const> const& config,
                           Orb::Ptr<List const> list)
    : list_(std::move(list)) {
  machine_ = Orb::make<RouteMap::MachineOf<Family>>(config, symbols_,
                                                    RouteMap::prefixListSymbolDedupTableFactory());
  symbol_ = symbols_->symbol(list_->name());
}

template <class Family>
Orb::Ptr<RouteMap::PrefixListReactor<Family>> Compiler<Family>::reactor() const {
  return machine_->listSm(list_->name());
}

template <class Family>
bool Compiler<Family>::isDone() const {
  return !reactor()->newTrie();
}

template <class Family>
double Compiler<Family>::slice() {
  double const start = manager_.clock()->now();
  manager_.turn();
  return manager_.clock()->now() - start;
}

template <class Family>
Orb::Ptr<RouteMap::PrefixListStatus const> const& Compiler<Family>::status() const {
  return symbol_->status();
}

template class Compiler<Acl::Ipv4Family>;
template class Compiler<Acl::Ipv6Family>;

}  // namespace Tool
