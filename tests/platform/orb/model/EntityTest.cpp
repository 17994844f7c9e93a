#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

#include "platform/orb/model/Attribute.h"
#include "platform/orb/model/Path.h"
#include "platform/orb/model/Reactor.h"

namespace Sample {

class Rule : public Orb::Value<Rule> {
 public:
  ORB_VALUE(Rule, "Sample::Rule", seqno, weight);
  ORB_FIELD(seqno, Orb::U32);
  ORB_FIELD(weight, Orb::U32);
};

class Child : public Orb::NamedEntity {
 public:
  ORB_ENTITY(Child, "Sample::Child", weight);
  explicit Child(Orb::Name name) : NamedEntity(std::move(name)) {}
  ORB_ATTRIBUTE(weight, Orb::U32);
};

class Nameless : public Orb::Entity {
 public:
  ORB_ENTITY(Nameless, "Sample::Nameless", weight);
  ORB_ATTRIBUTE(weight, Orb::U32);
};

class Parent : public Orb::NamedEntity {
 public:
  ORB_ENTITY(Parent, "Sample::Parent", version, text, checked, rule, note, child, kid, shared,
             total, ratio, single, chosen, other);
  explicit Parent(Orb::Name name) : NamedEntity(std::move(name)) {}

  ORB_COUNTER(version);
  ORB_ATTRIBUTE(text, Orb::String, "none");
  static void check(Orb::U8 v) {
    if (v > 15) throw Orb::RangeException("Parent::checked > 15 not allowed");
  }
  ORB_CHECKED_ATTRIBUTE(checked, Orb::U8, &check);
  ORB_COLLECTION(rule, Orb::OrderedValues<Rule, &Rule::seqno>);
  ORB_MAP(note, Orb::U8, Orb::String);
  ORB_COLLECTION(child, Orb::OrderedChildren<Child>);
  ORB_COLLECTION(kid, Orb::HashChildren<Child>);
  ORB_COLLECTION(shared, Orb::HashShared<Child, &Child::name>);
  ORB_DERIVED(total, Orb::U32);
  ORB_ATTRIBUTE(ratio, float);
  ORB_CHILD(single, Nameless);
  ORB_NAMED_CHILD(chosen, Child);
  ORB_REFERENCE(other, Child);
};

class Top : public Orb::Entity {
 public:
  ORB_ENTITY(Top, "Sample::Top", parent);
  ORB_COLLECTION(parent, Orb::OrderedChildren<Parent>);
};

ORB_ENTITY_TYPE(Top);
ORB_ENTITY_TYPE(Child);
ORB_ENTITY_TYPE(Nameless);
ORB_ENTITY_TYPE(Parent);

Orb::U32 Parent::total() const {
  Orb::U32 sum = 0;
  for (Rule const& r : rule()) sum += r.weight();
  return sum;
}

}  // namespace Sample

namespace {

using Sample::Child;
using Sample::Parent;
using Sample::Rule;

/// Writes down all that it is told, and then does what the test wants.
class Watcher final : public Orb::Reactor<Watcher, Parent> {
 public:
  explicit Watcher(Orb::Ptr<Parent const> const& p) : Reactor(p) {}
  std::vector<std::string> seen;
  std::function<void()> then = [] {};

 private:
  friend Reactor;
  static constexpr auto reactions() {
    return std::tuple{on<Attr::version, &Watcher::onVersion>,
                      on<Attr::text, &Watcher::onText>,
                      on<Attr::checked, &Watcher::onText>,
                      on<Attr::rule, &Watcher::onRule>,
                      on<Attr::note, &Watcher::onNote>,
                      on<Attr::child, &Watcher::onName>,
                      on<Attr::kid, &Watcher::onName>,
                      on<Attr::shared, &Watcher::onName>,
                      on<Attr::ratio, &Watcher::onRatio>,
                      on<Attr::single, &Watcher::onSingle>,
                      on<Attr::chosen, &Watcher::onChosen>,
                      on<Attr::other, &Watcher::onOther>,
                      onDeleted<&Watcher::onGone>};
  }
  void add(std::string what) {
    seen.push_back(std::move(what));
    auto const act = then;  // it may destroy this
    act();
  }
  void onVersion() { add("version"); }
  void onText() { add("text"); }
  void onRule(Orb::U32 key) { add("rule " + std::to_string(key)); }
  void onNote(Orb::U8 key) { add("note " + std::to_string(key)); }
  void onName(Orb::Name const& key) { add(key.str()); }
  void onRatio() { add("ratio"); }
  void onSingle() { add(notifier()->single() ? "single" : "no single"); }
  void onChosen() { add(notifier()->chosen() ? notifier()->chosen()->name().str() : "none"); }
  void onOther() { add("other"); }
  void onGone() { add("gone"); }
};

/// Does what the test wants when a child leaves its owner.
class ChildWatcher final : public Orb::Reactor<ChildWatcher, Child> {
 public:
  ChildWatcher(Orb::Ptr<Child const> const& c, std::function<void()> what)
      : Reactor(c), gone(std::move(what)) {}
  std::function<void()> gone;

 private:
  friend Reactor;
  static constexpr auto reactions() { return std::tuple{onDeleted<&ChildWatcher::onGone>}; }
  void onGone() { gone(); }
};

using Seen = std::vector<std::string>;

TEST(Entity, TellsOfRealChangesOnly) {
  auto const p = Orb::make<Parent>("p");
  auto const w = Orb::make<Watcher>(p);
  auto const told = [&] { return std::exchange(w->seen, {}); };

  p->textIs("none");
  p->ruleDel(1);
  p->ruleDelAll();
  p->childDel("x");
  p->noteDel(1);
  p->ruleIs(Rule::of(7U, 1U));
  EXPECT_EQ(told(), Seen{"rule 7"});
  p->ruleIs(Rule::of(7U, 1U));
  EXPECT_EQ(told(), Seen{});
  p->ruleIs(Rule::of(7U, 2U));
  p->ruleIs(Rule::of(3U, 2U));
  p->noteIs(255, "a");
  p->noteIs(255, "a");
  p->noteIs(255, "b");
  EXPECT_EQ(told(), (Seen{"rule 7", "rule 3", "note 255", "note 255"}));
  EXPECT_EQ(p->rule(7).weight(), 2U);
  EXPECT_EQ(p->rule(8), Rule()) << "the default value stands for what is not there";
  p->ruleDelAll();
  p->noteDelAll();
  EXPECT_EQ(told(), (Seen{"rule 3", "rule 7", "note 255"}));

  auto const c = p->childIs("c");
  EXPECT_EQ(p->childIs("c"), c);
  p->kidIs("k");
  p->sharedIs(c);
  p->sharedIs(c);
  p->sharedIs(Orb::make<Child>("c"));
  EXPECT_EQ(told(), (Seen{"c", "k", "c", "c"}));
  p->childDelAll();
  p->kidDelAll();
  p->sharedDelAll();
  EXPECT_EQ(told(), (Seen{"c", "k", "c"}));

  EXPECT_EQ(p->versionInc(0), 0U);
  EXPECT_EQ(p->versionInc(4294967295U), 4294967295U);
  EXPECT_EQ(p->versionInc(2), 1U) << "wraps around";
  EXPECT_EQ(told(), (Seen{"version", "version"}));
}

TEST(Entity, StoresBeforeItChecksAndDoesNotTell) {
  auto const p = Orb::make<Parent>("p");
  auto const w = Orb::make<Watcher>(p);
  EXPECT_THROW(p->checkedIs(16), Orb::RangeException);
  EXPECT_EQ(p->checked(), 16);
  EXPECT_NO_THROW(p->checkedIs(16)) << "nothing changes, so nothing is checked";
  EXPECT_TRUE(w->seen.empty());
}

TEST(Entity, ComparesFloatsByTheirBits) {
  float const nan = std::numeric_limits<float>::quiet_NaN();
  auto const p = Orb::make<Parent>("p");
  auto const w = Orb::make<Watcher>(p);
  for (auto const& [value, tells] : {std::pair{0.0F, false},
                                     {-0.0F, true},
                                     {-0.0F, false},
                                     {nan, true},
                                     {nan, false},
                                     {-nan, true},
                                     {0.0F, true}}) {
    p->ratioIs(value);
    EXPECT_EQ(std::exchange(w->seen, {}), tells ? Seen{"ratio"} : Seen{}) << value;
  }
}

TEST(Entity, OwnsOneOrNone) {
  auto const p = Orb::make<Parent>("p");
  auto const w = Orb::make<Watcher>(p);
  auto const told = [&] { return std::exchange(w->seen, {}); };
  p->singleDel();
  auto const single = p->singleIs();
  EXPECT_EQ(p->singleIs(), single);
  p->singleDel();
  p->singleDel();
  EXPECT_EQ(told(), (Seen{"single", "no single"}));

  auto const a = p->chosenIs("a");
  a->weightIs(7);
  EXPECT_EQ(p->chosenIs("a"), a);
  EXPECT_EQ(told(), Seen{"a"});
  // Another name takes its place: it is told first, with the new one there already.
  int gone = 0;
  auto const aw = Orb::make<ChildWatcher>(a, [&] {
    ++gone;
    EXPECT_EQ(p->chosen()->name(), "b");
    EXPECT_EQ(told(), Seen{});
  });
  auto const b = p->chosenIs("b");
  EXPECT_EQ(p->chosen(), b);
  EXPECT_EQ(b->weight(), 0U);
  EXPECT_EQ(told(), Seen{"b"});
  p->chosenDel();
  EXPECT_EQ(told(), Seen{"none"});
  EXPECT_EQ(gone, 1);
  w->then = [&] { p->chosenDel(); };
  EXPECT_TRUE(p->chosenIs("c")) << "a valid object, though nobody owns it any more";
  EXPECT_FALSE(p->chosen());
}

TEST(Entity, RefersToWhatBelongsToOthers) {
  auto const p = Orb::make<Parent>("p");
  auto const w = Orb::make<Watcher>(p);
  auto const c = p->childIs("c");
  p->otherIs(c);
  p->otherIs(c);
  p->childDel("c");
  EXPECT_EQ(p->other(), c);
  p->otherIs(nullptr);
  EXPECT_EQ(w->seen, (Seen{"c", "other", "c", "other"}));
}

TEST(Entity, RefusesANullSharedObject) {
  auto const p = Orb::make<Parent>("p");
  try {
    p->sharedIs(nullptr);
    FAIL();
  } catch (Orb::RangeException const& e) {
    EXPECT_STREQ(e.what(),
                 "null _shared parameter to mutator for Sample::Parent::shared not allowed\"");
  }
  EXPECT_TRUE(p->shared().empty());
}

TEST(Entity, SurvivesWhatItsReactorsDo) {
  auto p = Orb::make<Parent>("p");
  auto w = Orb::make<Watcher>(p);
  Orb::Ptr<Watcher> other = Orb::make<Watcher>(p);

  w->then = [&] { p->ruleDel(7); };  // the very member that it is told of
  p->ruleIs(Rule::of(7U, 1U));
  EXPECT_FALSE(p->ruleHas(7));
  EXPECT_EQ(other->seen, (Seen{"rule 7", "rule 7"}));

  w->then = [&] { p->ruleIs(Rule::of(9U, 1U)); };  // what is added while all goes, stays
  p->ruleIs(Rule::of(1U, 1U));
  p->ruleIs(Rule::of(2U, 1U));
  p->ruleDelAll();
  EXPECT_EQ(p->rule().size(), 1U);

  w->then = [&] { p->childDel("c"); };
  auto const c = p->childIs("c");
  EXPECT_TRUE(c) << "a valid object, though nobody owns it any more";
  EXPECT_FALSE(p->child("c"));

  w->then = [&] {  // all that is there goes in one handler
    other = nullptr;
    w = nullptr;
    p = nullptr;
  };
  auto const seen = other->seen.size();
  Orb::Ptr<Watcher> const watched = other;
  Parent* const raw = p.get();
  EXPECT_EQ(raw->versionInc(5), 5U);
  EXPECT_EQ(watched->seen.size(), seen + 1) << "it is still held here, so it is still told";
}

// The last reference to the owner goes while it tells of what it removes.
TEST(Entity, OutlivesTheNoticesOfARemoval) {
  for (auto const remove : {+[](Parent& x) { x.ruleDelAll(); }, +[](Parent& x) { x.childDelAll(); },
                            +[](Parent& x) { x.childDel("a"); }, +[](Parent& x) { x.chosenDel(); },
                            +[](Parent& x) { x.chosenIs("b"); }}) {
    auto p = Orb::make<Parent>("p");
    for (Orb::U32 i = 0; i < 3; ++i) p->ruleIs(Rule::of(i, i));
    for (auto const* name : {"a", "b"}) p->childIs(name);
    p->chosenIs("a");
    class Dropper final : public Orb::Notifiee {
     public:
      explicit Dropper(Orb::Ptr<Parent>& last) : last_(last) {}
      ~Dropper() = default;
      int told = 0;
      void onAttribute(Orb::Entity const&, Orb::AttrId, void const*) override { drop(); }
      void onDelete(Orb::Entity const&) override { drop(); }

     private:
      void drop() {
        ++told;
        last_ = nullptr;
      }
      Orb::Ptr<Parent>& last_;
    };
    Dropper ofParent(p);
    Dropper ofChild(p);
    p->notifieeIs(ofParent);
    p->child("a")->notifieeIs(ofChild);
    remove(*p);
    EXPECT_FALSE(p);
    EXPECT_GT(ofParent.told, 0);
  }
}

TEST(Entity, TellsEverybodyBeforeItThrowsWhatOneThrew) {
  auto const p = Orb::make<Parent>("p");
  for (Orb::U32 i = 0; i < 3; ++i) p->ruleIs(Rule::of(i, i));
  auto const thrower = Orb::make<Watcher>(p);
  auto const other = Orb::make<Watcher>(p);
  thrower->then = [] { throw std::runtime_error("first"); };
  EXPECT_THROW(p->ruleDelAll(), std::runtime_error);
  EXPECT_EQ(other->seen, (Seen{"rule 0", "rule 1", "rule 2"}));
  EXPECT_THROW(p->versionIs(9), std::runtime_error);
  EXPECT_EQ(p->version(), 9U);
}

TEST(Entity, AChildThatLeavesTellsBeforeItsOwner) {
  auto const p = Orb::make<Parent>("p");
  for (auto const remove :
       {+[](Parent& x) { x.childDel("c"); }, +[](Parent& x) { x.childDelAll(); }}) {
    auto const c = p->childIs("c");
    auto const w = Orb::make<Watcher>(p);
    auto const cw = Orb::make<ChildWatcher>(c, [&] { EXPECT_TRUE(w->seen.empty()); });
    remove(*p);
    EXPECT_EQ(w->seen, Seen{"c"});
    cw->gone = [] {};
  }
}

TEST(Entity, TakesAllThatItOwnsAlongWhenItLeaves) {
  /// Writes down who has left.
  struct Mourner final : Orb::Notifiee {
    Seen& seen;
    std::string name;
    std::function<void()> then = [] {};
    Mourner(Orb::Entity const& entity, Seen& into, std::string called)
        : seen(into), name(std::move(called)) {
      entity.notifieeIs(*this);
    }
    void onAttribute(Orb::Entity const&, Orb::AttrId, void const*) override {}
    void onDelete(Orb::Entity const&) override {
      seen.push_back(name);
      then();
    }
  };
  for (bool const throws : {false, true}) {
    auto const top = Orb::make<Sample::Top>();
    auto const p = top->parentIs("p");
    Seen seen;
    Mourner outer(*p, seen, "p");
    Mourner child(*p->childIs("c"), seen, "c");
    Mourner kid(*p->kidIs("k"), seen, "k");
    Mourner single(*p->singleIs(), seen, "single");
    Mourner shared(*p->childIs("s"), seen, "s");
    p->sharedIs(p->child("s"));
    if (throws) {
      for (Mourner* const m : {&outer, &child}) m->then = [] { throw std::runtime_error("no"); };
    }
    child.then = [&, then = child.then] {
      p->kidDelAll();  // whoever is notified may remove the rest: it is notified once all the same
      then();
    };
    if (throws) {
      EXPECT_THROW(top->parentDel("p"), std::runtime_error);
    } else {
      top->parentDel("p");
    }
    EXPECT_EQ(seen, (Seen{"p", "c", "k", "s", "single"}));
    p->childDelAll();
    EXPECT_EQ(seen.size(), 5U) << "nobody hears of it twice";
  }
}

TEST(Entity, ShowsItsAttributesByName) {
  auto const p = Orb::make<Parent>("p");
  p->ruleIs(Rule::of(7U, 2U));
  p->noteIs(1, "it's");
  p->childIs("c");
  p->chosenIs("it");
  p->otherIs(p->child("c"));
  EXPECT_EQ(Orb::inspect(*p),
            "Sample::Parent\n  version = 0\n  text = 'none'\n  checked = 0\n"
            "  rule = { Value('Sample::Rule', ** {'seqno': 7, 'weight': 2}) }\n"
            "  note = { 1: 'it\\'s' }\n  child = { 'c' }\n  kid = {}\n  shared = {}\n  total = 2\n"
            "  ratio = 0\n  single = None\n  chosen = 'it'\n  other = Sample::Child");
  EXPECT_EQ(Orb::attributeText(*p, "total"), "2");
  EXPECT_THROW(Orb::attributeText(*p, "totals"), Orb::RangeException);
  EXPECT_EQ(Orb::findAttribute(p->type().attributes, "version")->kind, Orb::AttributeKind::counter);
  EXPECT_EQ(Orb::entityType("Sample::Parent"), &p->type());
}

TEST(Entity, TellsWhatItsAttributesAre) {
  std::string seen;
  for (Orb::AttributeInfo const& a : Orb::make<Parent>("p")->type().attributes) {
    seen += (a.isWritable ? "" : "const ") + std::string(a.name) + ' ';
    seen.append(Orb::kindName(a.kind)).append(" ").append(a.typeName()).append("\n");
  }
  EXPECT_EQ(seen,
            "version counter U32\ntext scalar Orb::String\nchecked scalar U8\n"
            "rule collection Sample::Rule\nnote collection Orb::String\n"
            "child children Sample::Child\nkid children Sample::Child\n"
            "const shared collection Sample::Child\nconst total derived U32\n"
            "ratio scalar float\nsingle child Sample::Nameless\nchosen child Sample::Child\n"
            "const other reference Sample::Child\n");
}

TEST(Entity, IsChangedByName) {
  auto const p = Orb::make<Parent>("p");
  Orb::attributeTextIs(*p, "single.weight", "3");
  ASSERT_TRUE(p->single());
  EXPECT_EQ(p->single()->weight(), 3U);
  EXPECT_EQ(Orb::attributeText(*p, "single"), "Sample::Nameless");
  EXPECT_THROW(Orb::attributeTextIs(*p, "single['x'].weight", "4"), Orb::RangeException);
  EXPECT_TRUE(Orb::attributeDel(*p, "single"));
  EXPECT_FALSE(p->single());
  p->textIs("some");
  EXPECT_TRUE(Orb::attributeDel(*p, "text"));
  EXPECT_EQ(p->text(), "none") << "its default";
  p->otherIs(p->childIs("c"));
  p->sharedIs(p->child("c"));
  for (auto const* path : {"other", "other.weight", "shared", "shared['c']", "total"}) {
    EXPECT_THROW(Orb::attributeTextIs(*p, path, "1"), Orb::RangeException) << path;
    EXPECT_THROW(Orb::attributeDel(*p, path), Orb::RangeException) << path;
  }
  EXPECT_TRUE(p->other());
  EXPECT_EQ(Orb::attributeText(*p, "shared"), "{ 'c' }");
}

/// Lets go of all that holds the watched entity.
class Dropper final : public Orb::Reactor<Dropper, Child> {
 public:
  Dropper(Orb::Ptr<Child const> const& child, std::function<void()> drop)
      : Reactor(child), drop_(std::move(drop)) {}

 private:
  friend Reactor;
  static constexpr auto reactions() { return std::tuple{on<Attr::weight, &Dropper::onWeight>}; }
  void onWeight() {
    auto const drop = drop_;
    drop();
  }
  std::function<void()> drop_;
};
/// Holds nothing.
struct Bystander final : Orb::Notifiee {
  Orb::U32 seen = 0;
  void onAttribute(Orb::Entity const& e, Orb::AttrId, void const*) override {
    seen = static_cast<Child const&>(e).weight();
  }
};

TEST(Entity, LivesUntilEverybodyIsToldWhoeverLetsGoOfIt) {
  Bystander before;
  Bystander after;
  auto child = Orb::make<Child>("c");
  Orb::Ptr<Dropper> first;
  Orb::Ptr<Dropper> second;
  auto const drop = [&] { child = nullptr, first = nullptr, second = nullptr; };
  child->notifieeIs(before);
  first = Orb::make<Dropper>(child, drop);
  second = Orb::make<Dropper>(child, drop);
  child->notifieeIs(after);
  child.get()->weightIs(7);
  EXPECT_EQ(before.seen, 7U);
  EXPECT_EQ(after.seen, 7U);
  EXPECT_FALSE(child || first || second || after.isLinked());
}

}  // namespace
