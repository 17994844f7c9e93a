#pragma once

#include <vector>

#include "platform/orb/model/Entity.h"

namespace Cli::Session {

class Session;
namespace detail {
class Commit;
struct UnitName;
}  // namespace detail

/// The running roots, the handlers that commits use, and the sessions that are open over them.
class ROUTEPOLICY_EXPORT Manager : public Orb::RefCounted {
 public:
  /// The names of the roots' attributes must differ, since paths begin with them. The handlers are
  /// those of `handlerDir`: the ones that it does not hold yet are made, and each commit takes what
  /// it holds then (see HandlerTable). Without a directory no version is raised. RangeException
  /// for a null root, one that cannot be made alone, and an ambiguous attribute.
  explicit Manager(std::vector<Orb::Ptr<Orb::Entity>> roots,
                   Orb::Ptr<Orb::Entity> handlerDir = nullptr);
  ~Manager() override;

  /// A new session; it stays open until it is committed, aborted or dropped.
  Orb::Ptr<Session> open(Orb::Name name);

  std::vector<Orb::Ptr<Orb::Entity>> const& roots() const noexcept { return roots_; }

 private:
  friend Session;
  friend detail::Commit;

  std::vector<Orb::Ptr<Orb::Entity>> const roots_;
  Orb::Ptr<Orb::Entity> const handlerDir_;
  std::vector<Session*> open_;
  bool isCommitting_ = false;
};

}  // namespace Cli::Session
