#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/orb/base/Types.h"

namespace Keel {

/// Base of what is made from a text and shared by everybody who asks for the same text.
class MadeOfText {
 public:
  explicit MadeOfText(std::string_view text) : text_(text) {}
  MadeOfText(MadeOfText const&) = delete;
  MadeOfText& operator=(MadeOfText const&) = delete;

  std::string const& text() const noexcept { return text_; }

 protected:
  ~MadeOfText() = default;

 private:
  template <class Made>
  friend class SharedByText;

  std::string const text_;
  mutable std::size_t holders_ = 0;  // under the table's lock
};

/// Shares what is made from texts: one object for a text, as long as anybody holds it. Made derives
/// from MadeOfText. Any thread; what is made is made with no lock held, so that two threads that
/// ask for a new text at once may both make it, and one result is dropped.
template <class Made>
class SharedByText {
 public:
  /// The object of the text, for the caller to drop(): the one that is there, or what make()
  /// returns as a std::unique_ptr<Made>. Null when that is null.
  template <class Make>
  Made const* hold(std::string_view text, Make const& make) {
    if (Made const* const found = holdExisting(text)) return found;
    std::unique_ptr<Made> made = make();
    if (!made) return nullptr;
    std::lock_guard const locked(mutex_);
    auto const [place, isNew] = made_.try_emplace(std::string_view(made->text_), made.get());
    if (isNew) static_cast<void>(made.release());
    ++place->second->holders_;
    return place->second;
  }

  /// The object of the text, if there is one, for the caller to drop().
  Made const* holdExisting(std::string_view text) {
    std::lock_guard const locked(mutex_);
    auto const found = made_.find(text);
    if (found == made_.end()) return nullptr;
    ++found->second->holders_;
    return found->second;
  }

  /// Takes a null too.
  void drop(Made const* made) noexcept {
    if (!made) return;
    std::unique_ptr<Made const> last;  // destroyed with no lock held
    std::lock_guard const locked(mutex_);
    if (--made->holders_ != 0) return;
    made_.erase(std::string_view(made->text_));
    last.reset(made);
  }

  std::size_t size() const {
    std::lock_guard const locked(mutex_);
    return made_.size();
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<std::string_view, Made*> made_;  // by their own texts
};

}  // namespace Keel
