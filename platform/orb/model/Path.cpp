#include "platform/orb/model/Path.h"

// A path is taken off the front of a reader, step by step; every step is a name and, perhaps, a key
// in brackets. Four functions go along a path, one for each thing that is done with it: visitIn()
// reads, changeIn() changes, followTypes() asks the types alone, and ownedIn() finds the entity at
// its end. A key is only good while it is being visited, so each of them goes on from inside the
// visit of a key.

namespace Orb {

namespace {

/// What is to be done at the end of a path.
struct Change {
  enum class Kind { set, make, remove };
  Kind kind;
  std::string_view text = {};
  Ptr<Entity>* made = nullptr;   ///< receives the owned entity at the end
  Ptr<Entity>* owner = nullptr;  ///< receives the entity whose value or member it is
  bool* removed = nullptr;       ///< receives whether anything was
  CounterAccess counters = CounterAccess::set;

  bool isRemoval() const { return kind == Kind::remove; }
  void found(bool isThere) const {
    if (removed) *removed = isThere;
  }
};

constexpr std::string_view kReadOnly = "is read-only: a change is not allowed";
constexpr std::string_view kNotThere = "does not hold what the path names";

[[noreturn]] void refuse(std::string_view typeName, AttributeInfo const& a,
                         std::string_view reason) {
  std::string message(typeName);
  message.append("::").append(a.name).append(" ").append(reason);
  throw RangeException(message);
}

// The grammar

bool atEnd(TextReader const& in) { return in.rest().empty(); }
bool atKey(TextReader const& in) { return in.rest().starts_with('['); }

std::string_view nextName(TextReader const& in) {
  return in.rest().substr(0, in.rest().find_first_of(".["));
}

/// The attribute whose name stands at the front, which is taken off.
AttrId takeAttribute(std::string_view typeName, std::span<AttributeInfo const> attributes,
                     TextReader& in) {
  std::string_view const name = nextName(in);
  if (AttributeInfo const* const found = findAttribute(attributes, name)) {
    in.skip(name.size());
    return static_cast<AttrId>(found - attributes.data());
  }
  if (attributes.empty()) throw RangeException(std::string(typeName) + " has no fields");
  throw RangeException(std::string(typeName) + " attribute " + quotedForMessage(name) +
                       " is unknown and not allowed");
}

/// Behind a key: the end of the path, or what leads on.
bool closesAtEnd(TextReader& in) {
  in.literal("]");
  if (atEnd(in)) return true;
  in.literal(".");
  return false;
}

/// Visits the key in brackets at the front, which is taken off with the opening bracket.
template <class Do>
void takeKey(std::string_view typeName, AttributeRef const& a, TextReader& in, Do const& act) {
  if (!a.info().keyType()) refuse(typeName, a.info(), "has no key");
  in.literal("[");
  a.withKey(in, act);
}

// Reading

using VisitTarget = FunctionRef<void(PathTarget const&)>;
using Attributes = AttributeRange<AttributeRef>;

void visitIn(std::string_view typeName, std::span<AttributeInfo const> infos,
             Attributes const& attributes, TextReader& in, VisitTarget visit);

void visitValue(ValueRef value, TextReader& in, VisitTarget visit) {
  visitIn(value.type().name, value.type().fields, value.fields(), in, visit);
}

void visitOwned(std::string_view typeName, AttributeRef a, TextReader& in, VisitTarget visit) {
  auto const goOn = [&](ValueRef key) {
    Ptr<Entity const> const child(a.owned(key));
    bool const isEnd = key ? closesAtEnd(in) : (in.literal("."), false);
    if (!child) refuse(typeName, a.info(), kNotThere);
    if (isEnd) return visit({.entity = child.get()});
    TypeInfo const& type = child->type();
    visitIn(type.name, type.attributes, attributesOf(*child), in, visit);
  };
  if (atKey(in)) return takeKey(typeName, a, in, goOn);
  if (a.kind() == AttributeKind::children) refuse(typeName, a.info(), "needs a key");
  goOn({});
}

void visitMember(std::string_view typeName, AttributeRef a, TextReader& in, VisitTarget visit) {
  if (!atKey(in)) in.literal("[");
  takeKey(typeName, a, in, [&](ValueRef key) {
    bool const isThere = a.visitMember(key, [&](ValueRef member) {
      if (!closesAtEnd(in)) return visitValue(member, in, visit);
      visit({.member = member});
    });
    if (!isThere) refuse(typeName, a.info(), kNotThere);
  });
}

void visitIn(std::string_view typeName, std::span<AttributeInfo const> infos,
             Attributes const& attributes, TextReader& in, VisitTarget visit) {
  AttributeRef const a = attributes[takeAttribute(typeName, infos, in)];
  if (atEnd(in)) return visit({.attribute = &a});
  if (a.ownsEntities()) return visitOwned(typeName, a, in, visit);
  if (a.hasMembers()) return visitMember(typeName, a, in, visit);
  if (!a.isValue() || atKey(in)) refuse(typeName, a.info(), "has no members");
  in.literal(".");
  a.visitValue([&](ValueRef value) { visitValue(value, in, visit); });
}

// The types alone

/// When something is to be changed, what is read-only is refused. Returns the type of the owned
/// entity at the end; notes in `found` the owned entities on the way.
std::string_view followTypes(std::string_view typeName, std::span<AttributeInfo const> attributes,
                             TextReader& in, bool isChange, PathType& found) {
  AttributeInfo const& a = attributes[takeAttribute(typeName, attributes, in)];
  if (isChange && !a.isWritable) refuse(typeName, a, kReadOnly);
  bool const isSingle = a.kind == AttributeKind::child;
  bool isMember = isSingle;
  if (a.ownsEntities) found.place.append(found.place.empty() ? "" : ".").append(a.name);
  if (atKey(in)) {
    if (!a.keyType()) refuse(typeName, a, "has no members");
    std::string_view const bracket = in.rest();
    in.skip(1);
    a.keyType()->readTyped(in, [](void const*) {});
    in.literal("]");
    isMember = true;
    std::string_view const key = bracket.substr(0, bracket.size() - in.rest().size());
    if (a.kind == AttributeKind::children) found.place += key;
    if (isSingle) found.singles.push_back({found.place.size(), key.substr(1, key.size() - 2)});
  } else if (!atEnd(in) && a.keyType() && !isSingle) {
    refuse(typeName, a, "needs a key");
  }
  if (atEnd(in)) return a.ownsEntities && isMember ? a.typeName() : std::string_view();
  in.literal(".");
  if (a.ownsEntities) {
    TypeInfo const* const type = entityType(a.typeName());
    ORB_ASSERT(type && "every type of owned entities is registered");
    return followTypes(type->name, type->attributes, in, isChange, found);
  }
  if (!a.valueType()) refuse(typeName, a, "has no members");
  return followTypes(a.valueType()->name, a.valueType()->fields, in, isChange, found);
}

// Changing

/// Reads a whole value.
void readValue(ValueType const& type, std::string_view text, FunctionRef<void(ValueRef)> store) {
  if (!type.readTyped) {
    throw RangeException(std::string(type.name) +
                         " holds a collection and has no text to be set from; set its fields");
  }
  TextReader in(text);
  type.readTyped(in, [&](void const* value) {
    in.end();
    store({type, value});
  });
}

void changeAttribute(std::string_view typeName, MutableAttributeRef a, Entity* owner,
                     TextReader& in, Change const& change);

/// Changes something in a copy of a value, and stores that.
void changeField(ValueRef now, TextReader& in, Change const& change,
                 FunctionRef<void(ValueRef)> store) {
  ValueType const& type = now.type();
  type.edited(
      now.get(),
      [&](void* copy) {
        AttrId const id = takeAttribute(type.name, type.fields, in);
        changeAttribute(type.name, {type.fields[id], copy}, nullptr, in, change);
      },
      [&](void const* changed) {
        store({type, changed});
      });
}

void changeIn(Entity& entity, TextReader& in, Change const& change) {
  TypeInfo const& type = entity.type();
  AttrId const id = takeAttribute(type.name, type.attributes, in);
  changeAttribute(type.name, {entity, id}, &entity, in, change);
}

/// Goes on into an owned entity, which is made when something is set in it. It comes into its place
/// with all that is set in it: what fails before changes nothing, and costs no other entity that is
/// there.
void changeOwned(std::string_view typeName, MutableAttributeRef a, TextReader& in,
                 Change const& change, ValueRef key) {
  bool const isEnd = key ? closesAtEnd(in) : atEnd(in);
  if (!key && !isEnd) in.literal(".");
  if (isEnd && change.isRemoval()) return change.found(a.eraseOwned(key));
  if (isEnd && change.kind == Change::Kind::set) {
    refuse(typeName, a.info(), "owns entities: name an attribute of one");
  }
  Ptr<Entity> child = a.owned(key);
  if (!child && change.isRemoval()) return change.found(false);
  bool const isNew = !child;
  if (isNew && !key && a.info().keyType()) {
    refuse(typeName, a.info(), "needs a key in brackets for what is not there yet");
  }
  if (isNew) child = a.createOwned(key);
  if (!isEnd) changeIn(*child, in, change);
  if (isEnd && change.made) *change.made = child;
  if (isNew) a.insertOwned(*child);
}

void changeMember(MutableAttributeRef a, TextReader& in, Change const& change, ValueRef key) {
  bool const isEnd = closesAtEnd(in);
  bool const isThere = a.visitMember(key, [](ValueRef) {});
  if (change.isRemoval()) {
    if (!isThere) return change.found(false);
    if (isEnd) return change.found(a.eraseMember(key));
  }
  auto const store = [&](ValueRef member) { a.setMember(key, member); };
  if (isEnd && change.kind == Change::Kind::set) {
    return readValue(*a.info().valueType(), change.text, store);
  }
  if (isEnd && isThere) return;
  auto const edit = [&](ValueRef member) {
    isEnd ? store(member) : changeField(member, in, change, store);
  };
  if (!a.visitMember(key, edit)) a.visitNewMember(key, edit);
}

void changeValue(std::string_view typeName, MutableAttributeRef a, Entity* owner, TextReader& in,
                 Change const& change) {
  if (a.kind() == AttributeKind::counter && change.counters == CounterAccess::refuse) {
    refuse(typeName, a.info(), "is raised by commits alone: a change is not allowed");
  }
  auto const store = [&](ValueRef value) { a.set(value); };
  if (!atEnd(in)) {
    if (atKey(in)) refuse(typeName, a.info(), "has no members");
    in.literal(".");
    return a.visitValue([&](ValueRef now) { changeField(now, in, change, store); });
  }
  if (change.kind == Change::Kind::make) {
    refuse(typeName, a.info(), "is a single value: it is set, not added");
  }
  if (!change.isRemoval()) return readValue(*a.info().valueType(), change.text, store);
  if (a.kind() == AttributeKind::counter) {
    refuse(typeName, a.info(), "cannot be removed: it is a counter");
  }
  // Back to the default, as a new entity has it.
  Ptr<Entity> const blank = owner ? owner->type().make({}) : nullptr;
  if (!blank) refuse(typeName, a.info(), "cannot be removed: it can be set");
  change.found(a.copy(attributeOf(std::as_const(*blank), a.id())));
}

void changeAttribute(std::string_view typeName, MutableAttributeRef a, Entity* owner,
                     TextReader& in, Change const& change) {
  if (!a.info().isWritable) refuse(typeName, a.info(), kReadOnly);
  if (a.ownsEntities()) {
    if (!atKey(in)) {
      if (a.kind() == AttributeKind::children && !atEnd(in)) {
        refuse(typeName, a.info(), "needs a key");
      }
      return changeOwned(typeName, a, in, change, {});
    }
    return takeKey(typeName, a, in,
                   [&](ValueRef key) { changeOwned(typeName, a, in, change, key); });
  }
  if (change.owner && owner) *change.owner = Ptr<Entity>(owner);
  if (!a.hasMembers()) return changeValue(typeName, a, owner, in, change);
  if (!atEnd(in)) {
    if (!atKey(in)) in.literal("[");
    return takeKey(typeName, a, in, [&](ValueRef key) { changeMember(a, in, change, key); });
  }
  if (!change.isRemoval()) refuse(typeName, a.info(), "is a collection: name a member");
  change.found(!a.hasNoMember());
  a.clear();
}

/// The owned entity at the end of a path, or null.
Ptr<Entity> ownedIn(Entity& entity, TextReader& in) {
  TypeInfo const& type = entity.type();
  MutableAttributeRef const a(entity, takeAttribute(type.name, type.attributes, in));
  if (!a.ownsEntities()) return nullptr;
  bool const isSingle = a.kind() == AttributeKind::child;
  if (atEnd(in)) return isSingle ? a.owned() : nullptr;
  Ptr<Entity> owned;
  auto const goOn = [&](ValueRef key) {
    bool const isEnd = key ? closesAtEnd(in) : (in.literal("."), false);
    owned = a.owned(key);
    if (!isEnd && owned) owned = ownedIn(*owned, in);
  };
  atKey(in) ? takeKey(type.name, a, in, goOn) : goOn({});
  return owned;
}

/// Does something with a path; what goes wrong names it.
template <class Do>
void withPath(std::string_view path, Do const& act) {
  try {
    TextReader in(path);
    act(in);
  } catch (ParseException const& error) {
    throw ParseException(messageText(path), error.what());
  } catch (RangeException const& error) {
    throw RangeException(messageText(path) + ": " + error.what());
  }
}

void changePath(Entity& root, std::string_view path, Change const& change) {
  withPath(path, [&](TextReader& in) { changeIn(root, in, change); });
}

}  // namespace

void visitPath(Entity const& root, std::string_view path, VisitTarget visit) {
  TypeInfo const& type = root.type();
  withPath(path, [&](TextReader& in) {
    visitIn(type.name, type.attributes, attributesOf(root), in, visit);
  });
}

PathType pathType(TypeInfo const& root, std::string_view path) {
  PathType found;
  withPath(path, [&](TextReader& in) {
    found.ownedType = followTypes(root.name, root.attributes, in, false, found);
  });
  return found;
}

FirstStep firstStep(TypeInfo const& root, std::string_view path) {
  FirstStep step{};
  withPath(path, [&](TextReader& in) {
    step.attribute = takeAttribute(root.name, root.attributes, in);
    if (!atKey(in)) return;
    ValueType const* const keyType = root.attributes[step.attribute].keyType();
    if (!keyType) refuse(root.name, root.attributes[step.attribute], "has no members");
    in.skip(1);
    std::string_view const key = in.rest();
    keyType->readTyped(in, [](void const*) {});
    step.key = key.substr(0, key.size() - in.rest().size());
    in.literal("]");
  });
  return step;
}

std::size_t rootOf(std::span<Ptr<Entity> const> roots, std::string_view path) {
  std::string_view const name = nextName(TextReader(path));
  for (std::size_t i = 0; i < roots.size(); ++i) {
    if (findAttribute(roots[i]->type().attributes, name)) return i;
  }
  throw RangeException(messageText(path) + ": no root has an attribute " + quotedForMessage(name));
}

std::string attributeText(Entity const& root, std::string_view path) {
  std::string out;
  visitPath(root, path, [&](PathTarget const& target) {
    if (target.entity) {
      out = inspect(*target.entity);
    } else if (target.attribute) {
      target.attribute->writeText(out);
    } else {
      target.member.writeText(out);
    }
  });
  return out;
}

void attributeTextIs(Entity& root, std::string_view path, std::string_view text,
                     CounterAccess counters, Ptr<Entity>* owner) {
  changePath(root, path,
             {.kind = Change::Kind::set, .text = text, .owner = owner, .counters = counters});
}

Ptr<Entity> attributeIs(Entity& root, std::string_view path, Ptr<Entity>* owner) {
  Ptr<Entity> made;
  changePath(root, path, {.kind = Change::Kind::make, .text = {}, .made = &made, .owner = owner});
  return made;
}

bool attributeDel(Entity& root, std::string_view path) {
  bool removed = false;
  withPath(path, [&](TextReader& in) {
    PathType found;
    followTypes(root.type().name, root.type().attributes, in, true, found);
  });
  changePath(root, path, {.kind = Change::Kind::remove, .text = {}, .removed = &removed});
  return removed;
}

Ptr<Entity> ownedAt(Entity& root, std::string_view place) {
  Ptr<Entity> owned;
  withPath(place, [&](TextReader& in) { owned = ownedIn(root, in); });
  return owned;
}

Assignment splitAssignment(std::string_view line) noexcept {
  bool isQuoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    char const c = line[i];
    if (c == '\'') isQuoted = !isQuoted;
    if (c == '\\' && isQuoted) ++i;
    if (c == '=' && !isQuoted) return {line.substr(0, i), line.substr(i + 1), true};
  }
  return {line, {}, false};
}

}  // namespace Orb
