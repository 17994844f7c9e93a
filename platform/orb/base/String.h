#pragma once

#include <atomic>
#include <compare>
#include <concepts>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "platform/orb/base/Ptr.h"

namespace Orb {

/// An immutable text that copies share. May hold any bytes, NUL included; at most 2^32 - 1 of
/// them. The empty text holds no data at all.
class ROUTEPOLICY_EXPORT String {
 public:
  constexpr String() noexcept = default;
  String(char const* text) : String(std::string_view(text)) {}
  String(std::string_view text);
  String(std::string const& text) : String(std::string_view(text)) {}
  String(String const& other) noexcept : data_(other.data_) {
    if (data_) data_->ref();
  }
  String(String&& other) noexcept : data_(std::exchange(other.data_, nullptr)) {}
  ~String() {
    if (data_) data_->unref();
  }
  String& operator=(String other) noexcept {
    std::swap(data_, other.data_);
    return *this;
  }

  std::string_view view() const noexcept {
    return data_ ? std::string_view(data_->text(), data_->length) : std::string_view();
  }
  operator std::string_view() const noexcept { return view(); }
  std::string str() const { return std::string(view()); }
  /// Ends in a NUL; good until the last String that shares the text goes.
  char const* c_str() const noexcept { return data_ ? data_->text() : ""; }
  std::size_t size() const noexcept { return data_ ? data_->length : 0; }
  bool empty() const noexcept { return !data_; }

  /// The 32-bit FNV-1a hash, the same in every process; 0 for the empty text.
  U32 hash() const noexcept;

  friend bool operator==(String const& a, String const& b) noexcept {
    return a.data_ == b.data_ || a.view() == b.view();
  }
  friend std::strong_ordering operator<=>(String const& a, String const& b) noexcept {
    return a.data_ == b.data_ ? std::strong_ordering::equal : a.view() <=> b.view();
  }
  // Other texts are compared as they are: they would convert to either side.
  template <class T>
  requires(std::convertible_to<T const&, std::string_view> &&
           !std::derived_from<T, String>) friend bool
  operator==(String const& a, T const& b) noexcept {
    return a.view() == std::string_view(b);
  }
  template <class T>
  requires(std::convertible_to<T const&, std::string_view> &&
           !std::derived_from<T, String>) friend std::strong_ordering
  operator<=>(String const& a, T const& b) noexcept {
    return a.view() <=> std::string_view(b);
  }

 private:
  struct Data {
    mutable std::atomic<U32> refs;
    U32 length;

    char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
    char const* text() const noexcept { return reinterpret_cast<char const*>(this + 1); }
    void ref() const noexcept {
      if (threadSafePtr()) {
        refs.fetch_add(1, std::memory_order_relaxed);
      } else {
        refs.store(refs.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
      }
    }
    void unref() const noexcept;
  };

  Data* data_ = nullptr;
};

/// The name of a named object, and the key of named collections. Converts to and from String.
class ROUTEPOLICY_EXPORT Name : public String {
 public:
  using String::String;
  Name() noexcept = default;
  Name(String text) noexcept : String(std::move(text)) {}
};

ROUTEPOLICY_EXPORT std::ostream& operator<<(std::ostream& out, String const& text);

}  // namespace Orb

template <>
struct std::hash<Orb::String> {
  std::size_t operator()(Orb::String const& s) const noexcept { return s.hash(); }
};
template <>
struct std::hash<Orb::Name> : std::hash<Orb::String> {};
