#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "platform/orb/containers/HashMap.h"
#include "platform/orb/loop/Reaper.h"

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
  // The rest is under the table's lock.
  mutable std::size_t holders_ = 0;
  mutable bool isLeft_ = false;                   // it is in a batch
  mutable MadeOfText const* nextLeft_ = nullptr;  // in the batch
};

/// Shares what is made from texts: one object for a text. Made derives from MadeOfText. Any thread;
/// what is made is made with no lock held, so that two threads that ask for a new text at once may
/// both make it, and one result is dropped.
///
/// What nobody holds any more may be slow to free: it is left to the reaper, in batches. Whoever
/// asks for its text before the reaper comes to it gets it back.
///
/// A table lives as long as the process: whatever it made may be dropped at the very end.
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
    Made const* const* const other = made_.find(made->text());
    if (!other) made_.insertOrAssign(made.get());
    Made const* const held = other ? *other : made.release();
    ++held->holders_;
    return held;
  }

  /// The object of the text, if there is one, for the caller to drop().
  Made const* holdExisting(std::string_view text) {
    std::lock_guard const locked(mutex_);
    Made const* const* const found = made_.find(text);
    if (!found) return nullptr;
    ++(*found)->holders_;
    return *found;
  }

  /// Takes a null too. Without memory for a batch, what nobody holds any more is freed at once.
  void drop(Made const* made) noexcept {
    if (!made) return;
    std::unique_ptr<Batch> batch;      // a new one
    std::unique_ptr<Made const> last;  // destroyed with no lock held
    {
      std::lock_guard const locked(mutex_);
      if (--made->holders_ != 0 || made->isLeft_) return;
      if (!open_) {
        batch.reset(new (std::nothrow) Batch(*this));
        open_ = batch.get();
      }
      if (open_) {
        open_->add(*made);
        if (open_->isFull()) open_ = nullptr;
      } else {
        made_.erase(made->text());
        last.reset(made);
      }
    }
    try {
      Orb::reap(std::move(batch));
    } catch (std::bad_alloc const&) {
      // No memory for the reaper itself: the batch has been freed at once.
    }
  }

  /// How many there are, what waits for the reaper included.
  std::size_t size() const {
    std::lock_guard const locked(mutex_);
    return made_.size();
  }

 private:
  /// What is left to the reaper together. It is added to until it is full or freed.
  class Batch final : public Orb::Garbage {
   public:
    explicit Batch(SharedByText& table) noexcept : table_(table) {}
    ~Batch() override {
      while (Batch::freeSome(kWeight * kMaxLeft)) {
      }
    }

    // These two under the table's lock.
    void add(Made const& made) noexcept {
      made.isLeft_ = true;
      made.nextLeft_ = std::exchange(first_, &made);
      ++added_;
    }
    bool isFull() const noexcept { return added_ == kMaxLeft; }

    bool freeSome(std::size_t count) override {
      MadeOfText const* taken = nullptr;
      {
        std::lock_guard const locked(table_.mutex_);
        if (!first_) {
          if (table_.open_ == this) table_.open_ = nullptr;
          return false;
        }
        for (std::size_t left = count / kWeight + 1; first_ && left > 0; --left) {
          MadeOfText const* const made = std::exchange(first_, first_->nextLeft_);
          made->isLeft_ = false;
          if (made->holders_ != 0) continue;
          table_.made_.erase(made->text());
          made->nextLeft_ = std::exchange(taken, made);
        }
      }
      while (taken) delete static_cast<Made const*>(std::exchange(taken, taken->nextLeft_));
      return true;
    }

   private:
    static constexpr std::size_t kMaxLeft = 1024;
    static constexpr std::size_t kWeight = 16;  // one is as slow to free as so many objects

    SharedByText& table_;
    MadeOfText const* first_ = nullptr;
    std::size_t added_ = 0;
  };

  struct TextOf {
    std::string_view operator()(Made const* made) const noexcept { return made->text(); }
  };
  struct Hash {
    Orb::U32 operator()(std::string_view text) const noexcept {
      return static_cast<Orb::U32>(std::hash<std::string_view>()(text));
    }
  };

  mutable std::mutex mutex_;
  Orb::HashMap<Made const*, TextOf, Hash> made_;  // by their own texts
  Batch* open_ = nullptr;                         // belongs to the reaper
};

}  // namespace Keel
