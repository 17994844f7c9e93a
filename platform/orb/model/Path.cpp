#include "platform/orb/model/Path.h"

#include "platform/orb/base/Error.h"

namespace Orb {

namespace {

/// What is to be done at the end of a path.
struct Change {
  enum class Kind { set, make, remove };
  Kind kind;
  std::string_view text = {};
  Ptr<Entity>* made = nullptr;  ///< the owned entity at the end
  bool* removed = nullptr;      ///< whether anything was
  CounterAccess counters = CounterAccess::set;

  bool isRemoval() const { return kind == Kind::remove; }
  void found(bool isThere) const {
    if (removed) *removed = isThere;
  }
};

/// The attributes of an entity or the fields of a value, and where they are.
struct Holder {
  std::string_view typeName;
  std::span<AttributeInfo const> attributes;
  void const* object;
  Entity* entity = nullptr;  ///< when it is an entity that may be changed

  static Holder of(Entity const& e) { return {e.type().name, e.type().attributes, &e}; }
  static Holder of(Entity& e) { return {e.type().name, e.type().attributes, &e, &e}; }
  static Holder of(ValueType const& type, void const* value) {
    return {type.name, type.fields, value};
  }
};

constexpr std::string_view kReadOnly = "is read-only: a change is not allowed";

[[noreturn]] void refuse(Holder const& holder, AttributeInfo const& a, std::string_view reason) {
  std::string message(holder.typeName);
  message.append("::").append(a.name).append(" ").append(reason);
  throw RangeException(message);
}

/// The attribute whose name stands at the front.
AttributeInfo const& takeAttribute(Holder const& holder, TextReader& in) {
  std::string_view const name = in.rest().substr(0, in.rest().find_first_of(".["));
  if (AttributeInfo const* const found = findAttribute(holder.attributes, name)) {
    in.skip(name.size());
    return *found;
  }
  if (holder.attributes.empty()) {
    throw RangeException(std::string(holder.typeName) + " has no fields");
  }
  throw RangeException(std::string(holder.typeName) + " attribute " + quotedForMessage(name) +
                       " is unknown and not allowed");
}

bool atEnd(TextReader const& in) { return in.rest().empty(); }
bool atKey(TextReader const& in) { return in.rest().starts_with('['); }

/// Behind a key: the end of the path, or what leads on.
bool closesAtEnd(TextReader& in) {
  in.literal("]");
  if (atEnd(in)) return true;
  in.literal(".");
  return false;
}

using VisitTarget = FunctionRef<void(PathTarget const&)>;

void visitIn(Holder const& holder, TextReader& in, VisitTarget visit);

/// The entity that `in` goes on to from an attribute that owns some, or null; `in` stands behind
/// its key then.
Entity* takeChild(Holder const& holder, AttributeInfo const& a, TextReader& in) {
  if (!atKey(in)) {
    if (a.ops->kind == AttributeKind::children && !atEnd(in)) refuse(holder, a, "needs a key");
    return a.ops->child(a.object(holder.object), nullptr);
  }
  if (!a.ops->key) refuse(holder, a, "has no key");
  in.skip(1);
  return a.ops->child(a.object(holder.object), &in);
}

void visitChild(Holder const& holder, AttributeInfo const& a, TextReader& in, VisitTarget visit) {
  bool const hasKey = atKey(in);
  Ptr<Entity> const child(takeChild(holder, a, in));
  bool isEnd = false;
  if (hasKey) {
    isEnd = closesAtEnd(in);
  } else {
    in.literal(".");
  }
  if (!child) refuse(holder, a, "does not hold what the path names");
  if (!isEnd) return visitIn(Holder::of(std::as_const(*child)), in, visit);
  visit({.entity = child.get()});
}

void visitMember(Holder const& holder, AttributeInfo const& a, TextReader& in, VisitTarget visit) {
  in.literal("[");
  ValueType const& type = *a.ops->value;
  bool const isThere = a.ops->visitMember(a.object(holder.object), in, [&](void const* member) {
    if (!closesAtEnd(in)) return visitIn(Holder::of(type, member), in, visit);
    visit({.type = &type, .value = member});
  });
  if (!isThere) refuse(holder, a, "does not hold what the path names");
}

void visitIn(Holder const& holder, TextReader& in, VisitTarget visit) {
  AttributeInfo const& a = takeAttribute(holder, in);
  void const* const object = a.object(holder.object);
  if (atEnd(in)) return visit({.attribute = &a, .object = object});
  if (a.ops->child) return visitChild(holder, a, in, visit);
  if (a.ops->visitMember) return visitMember(holder, a, in, visit);
  if (!a.ops->visit || atKey(in)) refuse(holder, a, "has no members");
  in.literal(".");
  a.ops->visit(object,
               [&](void const* value) { visitIn(Holder::of(*a.ops->value, value), in, visit); });
}

using VisitKey = FunctionRef<void(std::string_view behindAttribute, std::string_view key)>;

/// What follows from the types alone. When something is to be changed, what is read-only is
/// refused. Visits the keys of single owned entities, each with what stands behind its attribute.
std::string_view followTypes(std::string_view typeName, std::span<AttributeInfo const> attributes,
                             TextReader& in, bool isChange, VisitKey visit) {
  Holder const holder{typeName, attributes, nullptr};
  AttributeInfo const& a = takeAttribute(holder, in);
  if (isChange && !a.isWritable()) refuse(holder, a, kReadOnly);
  bool const isSingle = a.ops->kind == AttributeKind::child;
  bool isMember = isSingle;
  if (atKey(in)) {
    if (!a.ops->key) refuse(holder, a, "has no members");
    std::string_view const behind = in.rest();
    in.skip(1);
    a.ops->key->skip(in);
    std::string_view const key = behind.substr(1, behind.size() - in.rest().size() - 1);
    in.literal("]");
    if (isSingle) visit(behind, key);
    isMember = true;
  } else if (!atEnd(in) && a.ops->key && !isSingle) {
    refuse(holder, a, "needs a key");
  }
  if (atEnd(in)) return a.ops->child && isMember ? a.ops->type : std::string_view();
  in.literal(".");
  if (a.ops->child) {
    TypeInfo const* const type = entityType(a.ops->type);
    ORB_ASSERT(type && "every type of owned entities is registered");
    return followTypes(type->name, type->attributes, in, isChange, visit);
  }
  if (!a.ops->value) refuse(holder, a, "has no members");
  return followTypes(a.ops->value->name, a.ops->value->fields, in, isChange, visit);
}

constexpr auto kNoVisit = [](std::string_view, std::string_view) {};

/// Reads a whole value.
void readValue(ValueType const& type, void* value, std::string_view text) {
  if (!type.read) {
    throw RangeException(std::string(type.name) +
                         " holds a collection and has no text to be set from; set its fields");
  }
  TextReader in(text);
  type.read(in, value);
  in.end();
}

void changeIn(Holder const& holder, TextReader& in, Change const& change);

void changeField(ValueType const& type, void* value, TextReader& in, Change const& change) {
  changeIn(Holder::of(type, value), in, change);
  if (type.check) type.check(value);
}

Place placeOf(Holder const& holder, AttributeInfo const& a) {
  return {const_cast<void*>(a.object(holder.object)), holder.entity,
          static_cast<AttrId>(&a - holder.attributes.data())};
}

/// Goes on into an owned entity, which is made when something is set in it. When that fails, what
/// was made is removed again.
void changeChild(Holder const& holder, AttributeInfo const& a, TextReader& in,
                 Change const& change) {
  Place const place = placeOf(holder, a);
  bool const hasKey = atKey(in);
  TextReader key = in;  // to be read again by what is done in the end
  if (hasKey) key.skip(1);
  auto const keyAgain = [&, start = key]() {
    key = start;
    return hasKey ? &key : nullptr;
  };
  Ptr<Entity> child(takeChild(holder, a, in));
  bool const isEnd = hasKey ? closesAtEnd(in) : atEnd(in);
  if (!hasKey && !isEnd) in.literal(".");

  if (isEnd && change.isRemoval()) {
    return change.found(a.ops->delMember(place, keyAgain()));
  }
  if (isEnd && change.kind == Change::Kind::set) {
    refuse(holder, a, "owns entities: name an attribute of one");
  }
  if (!child && change.isRemoval()) return change.found(false);
  bool const isNew = !child;
  Entity* const other = isNew && !isEnd ? a.ops->child(place.attribute, nullptr) : nullptr;
  if (Ptr<Entity> const trial = other ? other->type().make({}) : nullptr) {
    TextReader ahead = in;  // what would fail must not cost the one whose place is taken
    changeIn(Holder::of(*trial), ahead, change);
  }
  try {
    if (isNew) child = a.ops->childIs(place, keyAgain());
    if (!child) refuse(holder, a, "needs a key in brackets for what is not there yet");
    if (!isEnd) return changeIn(Holder::of(*child), in, change);
    if (change.made) *change.made = child;
  } catch (...) {
    if (isNew && (child || hasKey)) a.ops->delMember(place, keyAgain());
    throw;
  }
}

void changeMember(Holder const& holder, AttributeInfo const& a, TextReader& in,
                  Change const& change) {
  Place const place = placeOf(holder, a);
  ValueType const& type = *a.ops->value;
  if (atEnd(in)) {
    if (!change.isRemoval()) refuse(holder, a, "is a collection: name a member");
    return change.found(a.ops->delMember(place, nullptr));
  }
  in.literal("[");
  TextReader key = in;
  bool isEnd = false;
  bool const isThere = [&] {
    TextReader ahead = in;
    bool const found = a.ops->visitMember(place.attribute, ahead, [](void const*) {});
    isEnd = closesAtEnd(ahead);
    in = ahead;
    return found;
  }();
  if (change.isRemoval()) {
    if (!isThere) return change.found(false);
    if (isEnd) return change.found(a.ops->delMember(place, &key));
  }
  if (isEnd && isThere && change.kind == Change::Kind::make) return;
  a.ops->editMember(place, key, [&](void* member) {
    if (!isEnd) return changeField(type, member, in, change);
    if (change.kind == Change::Kind::set) readValue(type, member, change.text);
  });
}

void changeValue(Holder const& holder, AttributeInfo const& a, TextReader& in,
                 Change const& change) {
  Place const place = placeOf(holder, a);
  ValueType const& type = *a.ops->value;
  if (a.ops->kind == AttributeKind::counter && change.counters == CounterAccess::refuse) {
    refuse(holder, a, "is raised by commits alone: a change is not allowed");
  }
  if (!atEnd(in)) {
    if (atKey(in)) refuse(holder, a, "has no members");
    in.literal(".");
    return a.ops->edit(place, [&](void* value) { changeField(type, value, in, change); });
  }
  if (change.kind == Change::Kind::make)
    refuse(holder, a, "is a single value: it is set, not added");
  if (!change.isRemoval()) {
    return a.ops->edit(place, [&](void* value) { readValue(type, value, change.text); });
  }
  // Back to the default, as a new entity has it.
  Ptr<Entity> const blank = holder.entity ? holder.entity->type().make({}) : nullptr;
  if (!blank || !a.ops->copy) refuse(holder, a, "cannot be removed: it can be set");
  change.found(
      a.ops->copy(place, a.object(blank.get()), [](Entity&, Entity const&) { return false; }));
}

void changeIn(Holder const& holder, TextReader& in, Change const& change) {
  AttributeInfo const& a = takeAttribute(holder, in);
  if (!a.isWritable()) refuse(holder, a, kReadOnly);
  if (a.ops->childIs) return changeChild(holder, a, in, change);
  if (a.ops->editMember) return changeMember(holder, a, in, change);
  changeValue(holder, a, in, change);
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
  withPath(path, [&](TextReader& in) { changeIn(Holder::of(root), in, change); });
}

}  // namespace

void visitPath(Entity const& root, std::string_view path, VisitTarget visit) {
  withPath(path, [&](TextReader& in) { visitIn(Holder::of(root), in, visit); });
}

std::string_view ownedTypeAt(TypeInfo const& root, std::string_view path) {
  std::string_view type;
  withPath(path, [&](TextReader& in) {
    type = followTypes(root.name, root.attributes, in, false, kNoVisit);
  });
  return type;
}

void visitKeysOfSingles(TypeInfo const& root, std::string_view path,
                        FunctionRef<void(std::string_view, std::string_view)> visit) {
  withPath(path, [&](TextReader& in) {
    followTypes(root.name, root.attributes, in, false,
                [&](std::string_view behind, std::string_view key) {
                  visit(path.substr(0, path.size() - behind.size()), key);
                });
  });
}

std::string attributeText(Entity const& root, std::string_view path) {
  std::string out;
  visitPath(root, path, [&](PathTarget const& target) {
    if (target.entity) {
      out = inspect(*target.entity);
    } else if (target.attribute) {
      target.attribute->ops->text(target.object, out);
    } else {
      target.type->write(out, target.value);
    }
  });
  return out;
}

void attributeTextIs(Entity& root, std::string_view path, std::string_view text,
                     CounterAccess counters) {
  changePath(root, path, {.kind = Change::Kind::set, .text = text, .counters = counters});
}

Ptr<Entity> attributeIs(Entity& root, std::string_view path) {
  Ptr<Entity> made;
  changePath(root, path, {.kind = Change::Kind::make, .text = {}, .made = &made});
  return made;
}

bool attributeDel(Entity& root, std::string_view path) {
  bool removed = false;
  withPath(path, [&](TextReader& in) {
    followTypes(root.type().name, root.type().attributes, in, true, kNoVisit);
  });
  changePath(root, path, {.kind = Change::Kind::remove, .text = {}, .removed = &removed});
  return removed;
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
