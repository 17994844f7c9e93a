#pragma once

#include "platform/orb/base/Binary.h"
#include "platform/orb/containers/OrderedMap.h"

namespace Orb {

/// A collection that is a field of a value: values beside their keys, in the order of the keys.
template <class K, class V>
class FieldMap {
 public:
  static constexpr bool kKeyIsApart = true;
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
  void insert(K key, V value) { items_.insertOrAssign({std::move(key), std::move(value)}); }
  bool erase(Param<K> key) { return items_.erase(key); }
  void clear() { items_.clear(); }

  friend bool operator==(FieldMap const& a, FieldMap const& b) { return a.items_ == b.items_; }

  /// Appends the number of members, and each key with its value.
  friend void writeBinary(std::string& out, FieldMap const& map) {
    Orb::writeBinary(out, U64{map.items_.size()});
    for (auto const& item : map.items_) {
      writeBinary(out, item.key);
      writeBinary(out, item.value);
    }
  }
  /// Keys that do not ascend are a ParseException.
  friend void readBinary(BinaryReader& in, FieldMap& map) {
    Items read;
    U64 count = 0;
    K last{};
    for (Orb::readBinary(in, count); count > 0; --count) {
      MapItem<K, V> item{};
      readBinary(in, item.key);
      readBinary(in, item.value);
      if (!read.empty() && !(last < item.key)) {
        throw ParseException({}, "the keys of a collection do not ascend");
      }
      last = item.key;
      read.insertOrAssign(std::move(item));
    }
    map.items_ = std::move(read);
  }

  // By name.
  static V const& memberOf(MapItem<K, V> const& item) { return item.value; }
  static V newMember(K const&) { return V{}; }

 private:
  Items items_;
};

}  // namespace Orb
