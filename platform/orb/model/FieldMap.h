#pragma once

#include "platform/orb/containers/OrderedMap.h"
#include "platform/orb/model/TypeInfo.h"

namespace Orb {

/// A collection that is a field of a value: values beside their keys, in the order of the keys.
template <class K, class V>
class FieldMap {
 public:
  using Items = OrderedMap<MapItem<K, V>, PairKey>;
  using Key = K;
  using Member = V;

  Items const& all() const { return items_; }
  bool has(Param<K> key) const { return items_.has(key); }
  /// The value under `key`, or the default value. Good until the collection changes.
  V const& get(Param<K> key) const {
    static V const absent{};
    auto const* const found = items_.find(key);
    return found ? found->value : absent;
  }
  void is(K key, V value) { items_.insertOrAssign({std::move(key), std::move(value)}); }
  bool del(Param<K> key) { return items_.erase(key); }
  void delAll() { items_.clear(); }

  friend bool operator==(FieldMap const& a, FieldMap const& b) { return a.items_ == b.items_; }

  // By name.
  static V const& member(MapItem<K, V> const& item) { return item.value; }
  static V fresh(K const&) { return V{}; }
  void put(Place const&, K const& key, V const& value) { is(key, value); }
  bool drop(Place const&, K const& key) { return del(key); }
  void dropAll(Place const&) { delAll(); }

 private:
  Items items_;
};

}  // namespace Orb
