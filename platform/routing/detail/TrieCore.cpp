#include "platform/routing/detail/TrieCore.h"

#include <limits>
#include <new>
#include <utility>

#include "platform/orb/base/Error.h"
#include "platform/routing/detail/TreeBitmap.h"
#include "platform/routing/detail/TreeBitmapChange.h"
#include "platform/routing/detail/TreeBitmapMatch.h"
#include "platform/routing/detail/TreeBitmapRoot.h"
#include "platform/routing/detail/TreeBitmapWalk.h"
#include "platform/routing/detail/TrieScan.h"

// The reading of a node counts bits, for which x86 has an instruction that its oldest processors
// lack. What counts is therefore compiled twice, and which one is taken is asked at run time.
#if defined(__x86_64__) && !defined(__POPCNT__)
#define ROUTING_POPCOUNT __attribute__((target("popcnt")))
#else
#define ROUTING_POPCOUNT
#endif

namespace Routing::detail {

namespace {

bool popcountIsThere() {
#if defined(__x86_64__) && !defined(__POPCNT__)
  __builtin_cpu_init();
  return __builtin_cpu_supports("popcnt") != 0;
#else
  return true;
#endif
}

// A trie that is made before this is set counts the slow way until then.
bool const hasPopcount = popcountIsThere();

/// The forms of a trie by size: a scan, then the tree with a root that Traits says. On the way
/// back each form is kept down to a half or a quarter, so that nothing flutters.
template <class Traits>
class FamilyCore final : public TrieCore {
 public:
  ~FamilyCore() override {
    while (FamilyCore::freeSome(std::numeric_limits<std::size_t>::max())) {
    }
  }

  Ipa::AddressFamily family() const noexcept override { return Traits::kFamily; }

  std::size_t memory() const noexcept override {
    return sizeof *this + (tree_ ? tree_->memory() : scan_.memory());
  }

  void add(Ipa::IpGenPrefix const& prefix, PrefixData::Ptr const& data) override {
    Key const key = Traits::key(prefix);
    ++added_;
    bool added = false;
    U64* words = nullptr;
    if (!tree_ && size_ == kMaxScan && !wordsOf(prefix)) toTree();
    if (!tree_) {
      words = scan_.place(key, lengthOf(prefix), added);
    } else if (hasPopcount) {
      words = placeFast(*tree_, key, lengthOf(prefix), added);
    } else {
      words = tree_->template place<SoftCount>(key, lengthOf(prefix), added);
    }
    if (added) {
      Result::set(words, data->summary(), PrefixData::Ptr(data).release());
      ++size_;
      grow();
    } else {
      headIs(words, Result::head(words)->insertData(data));
    }
  }

  void expectFar(Ipa::IpGenPrefix const& prefix) const noexcept override {
    if (tree_) tree_->expectFar(Traits::key(prefix));
  }
  void expectNear(Ipa::IpGenPrefix const& prefix) const noexcept override {
    if (tree_ && hasPopcount) expectNearFast(*tree_, Traits::key(prefix));
  }

  bool remove(Ipa::IpGenPrefix const& prefix, PrefixData::Ptr const& data) override {
    U64* const words = wordsOf(prefix);
    if (!words) return false;
    PrefixData::Ptr const head(Result::head(words));
    if (PrefixData::Ptr left = head->removeData(data)) {
      headIs(words, std::move(left));
    } else {
      drop(prefix, words);
    }
    (data ? data : head)->onDeletion();
    return true;
  }

  bool removeAll(Ipa::IpGenPrefix const& prefix) override {
    U64* const words = wordsOf(prefix);
    if (!words) return false;
    PrefixData::Ptr const head(Result::head(words));
    drop(prefix, words);
    head->onDeletion();
    return true;
  }

  PrefixData const* find(Ipa::IpGenPrefix const& prefix) const noexcept override {
    U64 const* const words = const_cast<FamilyCore*>(this)->wordsOf(prefix);
    return words ? Result::head(words) : nullptr;
  }

  std::size_t covering(Ipa::IpGenPrefix const& prefix, Cover* out) const noexcept override {
    Key const key = Traits::key(prefix);
    if (!tree_) return scan_.covering(key, lengthOf(prefix), out);
    if (hasPopcount) return coveringFast(*tree_, key, lengthOf(prefix), out);
    return tree_->template covering<SoftCount>(key, lengthOf(prefix), out);
  }

  PrefixData const* first(Ipa::IpGenPrefix& prefix) const override {
    Key key{0};
    unsigned length = 0;
    U64 const* const words = tree_ ? tree_->first(key, length) : scan_.first(key, length);
    return found(words, key, length, prefix);
  }

  PrefixData const* next(Ipa::IpGenPrefix& prefix) const override {
    Key key = Traits::key(prefix);
    unsigned length = lengthOf(prefix);
    U64 const* const words = tree_ ? tree_->next(key, length) : scan_.next(key, length);
    return found(words, key, length, prefix);
  }

  bool freeSome(std::size_t count) override {
    if (tree_) return tree_->freeSome(count);
    std::exchange(scan_, Scan()).release();
    return false;
  }

 private:
  using Key = typename Traits::Key;
  using Tree = TreeBitmap<Traits>;
  using Scan = TrieScan<Traits>;

  static constexpr std::size_t kMaxScan = 16;

  ROUTING_POPCOUNT static U64* placeFast(Tree& tree, Key key, unsigned length, bool& added) {
    return tree.template place<HardCount>(key, length, added);
  }
  ROUTING_POPCOUNT static void expectNearFast(Tree const& tree, Key key) noexcept {
    tree.template expectNear<HardCount>(key);
  }
  ROUTING_POPCOUNT static std::size_t coveringFast(Tree const& tree, Key key, unsigned length,
                                                   Cover* out) noexcept {
    return tree.template covering<HardCount>(key, length, out);
  }

  static unsigned lengthOf(Ipa::IpGenPrefix const& prefix) {
    return prefix.length() + Traits::kPad;
  }

  U64* wordsOf(Ipa::IpGenPrefix const& prefix) noexcept {
    Key const key = Traits::key(prefix);
    return tree_ ? tree_->template find<SoftCount>(key, lengthOf(prefix))
                 : scan_.find(key, lengthOf(prefix));
  }

  /// Stores the head that took the place of the one in `words`, or is still the same.
  static void headIs(U64* words, PrefixData::Ptr head) {
    ORB_ASSERT(head);
    PrefixData const* const old = Result::head(words);
    Result::set(words, head->summary(), head.get());
    static_cast<void>(head.release());
    old->unref();
  }

  void drop(Ipa::IpGenPrefix const& prefix, U64 const* words) {
    PrefixData const* const head = Result::head(words);
    if (tree_) {
      tree_->remove(Traits::key(prefix), lengthOf(prefix));
    } else {
      scan_.remove(Traits::key(prefix), lengthOf(prefix));
    }
    head->unref();
    --size_;
    shrink();
  }

  // Where there is no memory for a larger root, or for the copy that a smaller form is, the trie
  // stays in its form, which holds any number of prefixes; the next change tries again.

  void grow() noexcept {
    if (!tree_) return;
    for (unsigned i = 0; i < std::size(Traits::kRootSize); ++i) {
      if (size_ < Traits::kRootSize[i]) return;
      if (tree_->rootDepth() < Traits::kRootDepth[i]) {
        tryTo([&] { expandTo(*tree_, Traits::kRootDepth[i]); });
      }
    }
  }

  void shrink() noexcept {
    if (!tree_) return;
    unsigned depth = 0;
    for (unsigned i = 0; i < std::size(Traits::kRootSize); ++i) {
      if (size_ >= Traits::kRootSize[i] / 4) depth = Traits::kRootDepth[i];
    }
    if (size_ <= kMaxScan / 2) {
      tryTo([&] { toScan(); });
    } else if (tree_->rootDepth() > depth) {
      tryTo([&] { tree_ = treeOf(*tree_, depth); });
    }
  }

  template <class Change>
  static void tryTo(Change const& change) noexcept {
    try {
      change();
    } catch (std::bad_alloc const&) {  // it has changed nothing
    }
  }

  static void expandTo(Tree& tree, unsigned depth) {
    while (tree.rootDepth() < depth) tree.expandRoot();
  }

  void toTree() {
    tree_ = treeOf(scan_, 0);
    scan_ = Scan();
  }

  template <class From>
  static std::unique_ptr<Tree> treeOf(From const& from, unsigned depth) {
    auto tree = std::make_unique<Tree>();
    expandTo(*tree, depth);
    moveAll(from, [&](Key key, unsigned length) {
      bool added = false;
      return tree->template place<SoftCount>(key, length, added);
    });
    return tree;
  }

  void toScan() {
    Scan scan;
    moveAll(*tree_, [&](Key key, unsigned length) {
      bool added = false;
      return scan.place(key, length, added);
    });
    tree_ = nullptr;
    scan_ = std::move(scan);
  }

  /// Copies the words of every prefix, and the references to their heads with them.
  template <class From, class PlaceOf>
  static void moveAll(From const& from, PlaceOf const& placeOf) {
    Key key{0};
    unsigned length = 0;
    for (auto* words = from.first(key, length); words; words = from.next(key, length)) {
      Result::set(placeOf(key, length), Result::summary(words), Result::head(words));
    }
  }

  static PrefixData const* found(U64 const* words, Key key, unsigned length,
                                 Ipa::IpGenPrefix& prefix) {
    if (!words) return nullptr;
    prefix = Traits::prefix(key, length);
    return Result::head(words);
  }

  Scan scan_;                   // empty once there is a tree
  std::unique_ptr<Tree> tree_;  // null while the trie is small
};

}  // namespace

std::unique_ptr<TrieCore> TrieCore::make(Ipa::AddressFamily family) {
  if (family == Ipa::ipv6) return std::make_unique<FamilyCore<Ip6Key>>();
  return std::make_unique<FamilyCore<Ip4Key>>();
}

}  // namespace Routing::detail
