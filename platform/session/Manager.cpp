#include "platform/session/Manager.h"

#include <set>

#include "platform/session/Session.h"

namespace Cli::Session {

using Orb::Entity;
using Orb::Ptr;

Manager::Manager(std::vector<Ptr<Entity>> roots, Ptr<Entity> handlerDir)
    : roots_(std::move(roots)), handlerDir_(std::move(handlerDir)) {
  std::set<std::string_view> names;
  for (Ptr<Entity> const& root : roots_) {
    if (!root) {
      throw Orb::RangeException(Orb::nullParameterMessage("Cli::Session::Manager", "roots"));
    }
    Orb::TypeInfo const& type = root->type();
    for (Orb::AttributeInfo const& a : type.attributes) {
      if (names.insert(a.name).second) continue;
      throw Orb::RangeException("two roots with an attribute " + Orb::toText(Orb::String(a.name)) +
                                " are not allowed");
    }
    if (!type.make({})) {
      throw Orb::RangeException(std::string(type.name) +
                                " cannot be made alone: it is not allowed as a root");
    }
  }
  if (handlerDir_) HandlerTable::fillDirectory(*handlerDir_);
}

Manager::~Manager() = default;

Ptr<Session> Manager::open(Orb::Name name) {
  return Orb::make<Session>(Ptr<Manager>(this), std::move(name));
}

}  // namespace Cli::Session
