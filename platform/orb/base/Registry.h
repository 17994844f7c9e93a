#pragma once

#include <map>
#include <mutex>
#include <string_view>

namespace Orb::detail {

/// The types of one sort in the process, by full name. Registrations run before main() in any
/// order and end after it in any order, so a registry is made on first use and never destroyed.
template <class T>
class Registry {
 public:
  static Registry& instance() {
    static auto& registry = *new Registry;
    return registry;
  }

  /// The first one of a name counts.
  void add(T const& type) {
    std::lock_guard const lock(mutex_);
    types_.try_emplace(type.name, &type);
  }
  void remove(T const& type) {
    std::lock_guard const lock(mutex_);
    auto const found = types_.find(type.name);
    if (found != types_.end() && found->second == &type) types_.erase(found);
  }
  T const* find(std::string_view name) {
    std::lock_guard const lock(mutex_);
    auto const found = types_.find(name);
    return found == types_.end() ? nullptr : found->second;
  }

 private:
  std::mutex mutex_;
  std::map<std::string_view, T const*> types_;
};

}  // namespace Orb::detail
