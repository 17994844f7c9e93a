#pragma once

#include "platform/orb/model/Attribute.h"

namespace Cli::Session {

/// Where a session stands.
ORB_ENUM(SessionState, "Cli::Session::SessionState", sessionOpen = 0, sessionCommitting = 1,
         sessionCommitted = 2, sessionAborted = 3);

/// What others may know of a session.
class ROUTEPOLICY_EXPORT SessionStatus : public Orb::NamedEntity {
 public:
  ORB_ENTITY(SessionStatus, "Cli::Session::SessionStatus", name, state);
  explicit SessionStatus(Orb::Name name) : NamedEntity(std::move(name)) {}

  ORB_GETTER_ROW(name, key);
  ORB_ATTRIBUTE(state, SessionState, sessionOpen);
};

}  // namespace Cli::Session
