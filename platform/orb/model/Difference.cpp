#include "platform/orb/model/Difference.h"

#include "platform/orb/base/Error.h"

namespace Orb {

namespace {

using Kind = Difference::Kind;
using VisitDifference = FunctionRef<void(Difference const&)>;

/// Walks two trees side by side; the path grows and shrinks with the place.
class Walk {
 public:
  Walk(VisitDifference visit, std::string_view path) : visit_(visit), path_(path) {}

  void entities(Entity const& before, Entity const& after) {
    attributes(after.type().attributes, &before, &after);
  }

  void attributes(std::span<AttributeInfo const> rows, void const* before, void const* after) {
    for (AttributeInfo const& a : rows) {
      if (!a.ops->differ) continue;
      std::size_t const here = path_.size();
      if (here > 0) path_ += '.';
      path_ += a.name;
      a.ops->differ(a.object(before), a.object(after),
                    [&](MemberDifference const& member) { difference(a, member); });
      path_.resize(here);
    }
  }

  void owned(AttributeKind kind, Entity const* before, Entity const* after) {
    if (before && after) return entities(*before, *after);
    if (!before && !after) return;
    if (!after) return tell({Kind::removed, {}, {}, {}, false, kind});
    tell({Kind::added, {}, {}, {}, false, kind});
    Ptr<Entity const> const blank = after->type().make({});
    ORB_ASSERT(blank && "an entity type that a new tree can hold can be made alone");
    entities(*blank, *after);
  }

 private:
  void difference(AttributeInfo const& a, MemberDifference const& member) {
    std::size_t const here = path_.size();
    if (member.key) {
      path_ += '[';
      a.ops->key->write(path_, member.key);
      path_ += ']';
    }
    if (a.ops->child) {
      owned(a.ops->kind, static_cast<Entity const*>(member.before),
            static_cast<Entity const*>(member.after));
    } else {
      value(a, member);
    }
    path_.resize(here);
  }

  void value(AttributeInfo const& a, MemberDifference const& member) {
    ValueType const& type = *a.ops->value;
    Kind const kind =
        !member.before ? Kind::added : (!member.after ? Kind::removed : Kind::changed);
    if (!type.isToldByField) {
      Difference told{kind, {}, {}, {}, true, a.ops->kind};
      if (member.before) type.write(told.before, member.before);
      if (member.after) type.write(told.after, member.after);
      return tell(std::move(told));
    }
    if (kind != Kind::changed) tell({kind, {}, {}, {}, false, a.ops->kind});
    if (!member.after) return;
    if (member.before) return attributes(type.fields, member.before, member.after);
    a.ops->freshMember(member.key,
                       [&](void const* fresh) { attributes(type.fields, fresh, member.after); });
  }

  void tell(Difference told) {
    told.path = path_;
    visit_(told);
  }

  VisitDifference visit_;
  std::string path_;
};

}  // namespace

void differences(Entity const& before, Entity const& after, VisitDifference visit,
                 std::string_view prefix) {
  ORB_ASSERT(&before.type() == &after.type());
  Walk(visit, prefix).entities(before, after);
}

void attributeDifferences(AttributeInfo const& attribute, Entity const& before, Entity const& after,
                          VisitDifference visit) {
  ORB_ASSERT(&before.type() == &after.type());
  Walk(visit, {}).attributes({&attribute, 1}, &before, &after);
}

void ownedDifferences(AttributeKind attribute, Entity const* before, Entity const* after,
                      VisitDifference visit, std::string_view path) {
  Walk(visit, path).owned(attribute, before, after);
}

void assignments(Entity const& entity, FunctionRef<void(std::string const&)> visit) {
  Ptr<Entity const> const blank = entity.type().make({});
  ORB_ASSERT(blank && "a root can be made alone");
  differences(*blank, entity,
              [&](Difference const& d) { visit(d.hasText ? d.path + '=' + d.after : d.path); });
}

}  // namespace Orb
