#include "platform/orb/model/NotifieeList.h"

namespace Orb::detail {

NotifieeChain::~NotifieeChain() {
  for (Round* round = rounds_; round; round = round->outer_) {
    round->chain_ = nullptr;
    round->next_ = nullptr;
  }
  for (NotifieeHook* hook = first_; hook;) {
    hook->chain_ = nullptr;
    hook = std::exchange(hook->next_, nullptr);
  }
}

void NotifieeChain::add(NotifieeHook& hook) noexcept {
  hook.leave();
  hook.chain_ = this;
  hook.previous_ = last_;
  hook.next_ = nullptr;
  hook.joined_ = roundNumber_;
  (last_ ? last_->next_ : first_) = &hook;
  last_ = &hook;
  if (hook.holdsOwner_) ++holders_;
  // A round that had come to its end stays there: null never turns into the newcomer.
}

void NotifieeChain::remove(NotifieeHook& hook) noexcept {
  for (Round* round = rounds_; round; round = round->outer_) {
    if (round->next_ == &hook) round->next_ = hook.next_;
    if (hook.holdsOwner_ && round->owner_ && !round->holds_) round->hold();
  }
  if (hook.holdsOwner_) --holders_;
  (hook.previous_ ? hook.previous_->next_ : first_) = hook.next_;
  (hook.next_ ? hook.next_->previous_ : last_) = hook.previous_;
  hook.chain_ = nullptr;
}

}  // namespace Orb::detail
