#pragma once

#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/orb/base/Error.h"
#include "platform/orb/model/TypeInfo.h"

/// Reactors: objects that watch one entity and answer its changes.
///
///   class ListSm final : public Orb::Reactor<ListSm, Acl::PrefixList> {
///     friend Reactor;
///     static constexpr auto reactions() {
///       return std::tuple{on<Attr::version, &ListSm::handleVersion>,
///                         onDeleted<&ListSm::handleDeleted>};
///     }
///
/// names the attributes that it watches and the member function that answers each: the handler
/// of a collection is given the key of the changed member, the handler of any other attribute
/// takes nothing. This is checked at compile time and costs nothing for each instance. The
/// initial handler is what the final class calls at the end of its own constructor.
namespace Orb {

template <class Self, class E>
class Reactor : public RefCounted, private Notifiee {
 public:
  /// The watched entity; held as long as the reactor lives.
  Ptr<E const> const& notifier() const noexcept { return notifier_; }

 protected:
  using Attr = typename E::Attr;
  template <auto attribute, auto handler>
  struct On {};
  template <auto handler>
  struct OnDeleted {};

  template <auto attribute, auto handler>
  static constexpr On<attribute, handler> on{};
  template <auto handler>
  static constexpr OnDeleted<handler> onDeleted{};

  /// REQUIRES: `entity` is not null.
  explicit Reactor(Ptr<E const> entity) : Notifiee(true), notifier_(std::move(entity)) {
    notifier_->notifieeIs(*this);
  }
  ~Reactor() override { this->leave(); }  // before it lets go of the entity

  /// Answers no further change.
  void stopReacting() noexcept { this->leave(); }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }

  template <auto attribute, auto handler>
  bool answer(On<attribute, handler>, AttrId id, void const* key) {
    using Key = typename decltype(E::row(Id<attribute>()))::Attribute::Key;
    if (id != static_cast<AttrId>(attribute)) return false;
    if constexpr (std::is_void_v<Key>) {
      static_assert(std::is_invocable_v<decltype(handler), Self&>,
                    "the handler of a single attribute takes no argument");
      (self().*handler)();
    } else {
      static_assert(std::is_invocable_v<decltype(handler), Self&, Key const&>,
                    "the handler of a collection takes the key of the changed member");
      (self().*handler)(*static_cast<Key const*>(key));
    }
    return true;
  }
  template <auto handler>
  bool answer(OnDeleted<handler>, AttrId, void const*) {
    return false;
  }

  template <auto attribute, auto handler>
  bool answerDeleted(On<attribute, handler>) {
    return false;
  }
  template <auto handler>
  bool answerDeleted(OnDeleted<handler>) {
    (self().*handler)();
    return true;
  }

  // At most one reaction answers, so a handler may destroy the reactor. The pointer is null: it
  // hands over the list of the reactions, with few frames between a change and its handler.
  template <class... Reaction>
  void answerOne(std::tuple<Reaction...> const*, AttrId id, void const* key) {
    (answer(Reaction(), id, key) || ...);
  }
  template <class... Reaction>
  void answerOneDeleted(std::tuple<Reaction...> const*) {
    (answerDeleted(Reaction()) || ...);
  }
  void onAttribute(Entity const&, AttrId id, void const* key) final {
    answerOne(static_cast<decltype(Self::reactions())*>(nullptr), id, key);
  }
  void onDelete(Entity const&) final {
    answerOneDeleted(static_cast<decltype(Self::reactions())*>(nullptr));
  }

  Ptr<E const> const notifier_;
};

/// Leads the changes of one attribute to a member function of another object, which holds this and
/// outlives it: for objects that watch more than one entity.
template <class E, auto attribute, auto handler>
class Relay;

template <class E, auto attribute, class Target, class... Key, void (Target::*handler)(Key...)>
class Relay<E, attribute, handler> final : public Reactor<Relay<E, attribute, handler>, E> {
 public:
  Relay(Ptr<E const> entity, Target& target) : Base(std::move(entity)), target_(target) {}

 private:
  using Base = Reactor<Relay, E>;
  friend Base;
  static constexpr auto reactions() {
    return std::tuple{Base::template on<attribute, &Relay::onChange>};
  }
  void onChange(Key... key) { (target_.*handler)(key...); }

  Target& target_;
};

}  // namespace Orb
