#include "platform/orb/model/Difference.h"

namespace Orb {

namespace {

using Kind = Difference::Kind;
using VisitDifference = FunctionRef<void(Difference const&)>;

/// Walks two trees side by side; the path grows and shrinks with the place.
class Walk {
 public:
  Walk(VisitDifference visit, std::string_view path) : visit_(visit), path_(path) {}

  void entities(Entity const& before, Entity const& after) {
    ORB_ASSERT(&before.type() == &after.type());
    for (AttrId const id : after.type().stored) {
      attribute(attributeOf(before, id), attributeOf(after, id));
    }
  }

  void attribute(AttributeRef before, AttributeRef after) {
    std::size_t const here = path_.size();
    if (here > 0) path_ += '.';
    path_ += after.name();
    if (after.ownsEntities()) {
      after.ownedDifferencesFrom(before, [&](OwnedDifference const& d) {
        withKey(d.key, [&] { owned(after.kind(), d.before, d.after); });
      });
    } else {
      after.differencesFrom(
          before, [&](MemberDifference const& d) { withKey(d.key, [&] { value(after, d); }); });
    }
    path_.resize(here);
  }

  void owned(AttributeKind kind, Entity const* before, Entity const* after) {
    if (before && after) return entities(*before, *after);
    if (!before && !after) return;
    report({after ? Kind::added : Kind::removed, {}, {}, {}, false, kind});
    if (!after) return;
    Ptr<Entity const> const blank = after->type().make({});
    ORB_ASSERT(blank && "an entity type that a new tree can hold can be made alone");
    entities(*blank, *after);
  }

 private:
  using Attributes = AttributeRange<AttributeRef>;

  void fields(Attributes const& before, Attributes const& after) {
    for (std::size_t i = 0; i < after.size(); ++i) attribute(before[i], after[i]);
  }

  template <class Do>
  void withKey(ValueRef key, Do const& act) {
    std::size_t const here = path_.size();
    if (key) {
      path_ += '[';
      key.writeText(path_);
      path_ += ']';
    }
    act();
    path_.resize(here);
  }

  void value(AttributeRef a, MemberDifference const& d) {
    Kind const kind = !d.before ? Kind::added : (!d.after ? Kind::removed : Kind::changed);
    if (!a.info().valueType()->differsByField) {
      return report({kind,
                     {},
                     d.before ? d.before.text() : std::string(),
                     d.after ? d.after.text() : std::string(),
                     true,
                     a.kind()});
    }
    if (kind != Kind::changed) report({kind, {}, {}, {}, false, a.kind()});
    if (!d.after) return;
    if (d.before) return fields(d.before.fields(), d.after.fields());
    a.visitNewMember(d.key, [&](ValueRef fresh) { fields(fresh.fields(), d.after.fields()); });
  }

  void report(Difference difference) {
    difference.path = path_;
    visit_(difference);
  }

  VisitDifference visit_;
  std::string path_;
};

}  // namespace

void differences(Entity const& before, Entity const& after, VisitDifference visit,
                 std::string_view prefix) {
  Walk(visit, prefix).entities(before, after);
}

void attributeDifferences(AttributeRef before, AttributeRef after, VisitDifference visit) {
  ORB_ASSERT(&before.info() == &after.info());
  Walk(visit, {}).attribute(before, after);
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
