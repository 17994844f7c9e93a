#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "platform/orb/Attribute.h"
#include "platform/orb/Path.h"
#include "platform/orb/Reactor.h"

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

class Parent : public Orb::NamedEntity {
 public:
  ORB_ENTITY(Parent, "Sample::Parent", version, text, checked, rule, note, child, kid, shared,
             total);
  explicit Parent(Orb::Name name) : NamedEntity(std::move(name)) {}

  ORB_COUNTER(version);
  ORB_ATTRIBUTE(text, Orb::String, "none");
  static void check(Orb::U8 v) {
    if (v > 15) throw Orb::RangeException("Parent::checked > 15 not allowed");
  }
  using checkedObject = Orb::Scalar<Orb::U8, &Parent::check>;
  ORB_SCALAR_(checked, Orb::U8)
  ORB_COLLECTION(rule, Orb::OrderedValues<Rule, &Rule::seqno>);
  ORB_MAP(note, Orb::U8, Orb::String);
  ORB_COLLECTION(child, Orb::OrderedChildren<Child, &Child::name>);
  ORB_COLLECTION(kid, Orb::HashChildren<Child, &Child::name>);
  ORB_COLLECTION(shared, Orb::HashShared<Child, &Child::name>);
  ORB_DERIVED(total, Orb::U32);
};

ORB_ENTITY_TYPE(Child);
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
  void onGone() { add("gone"); }
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
                            +[](Parent& x) { x.childDel("a"); }}) {
    auto p = Orb::make<Parent>("p");
    for (Orb::U32 i = 0; i < 3; ++i) p->ruleIs(Rule::of(i, i));
    for (auto const* name : {"a", "b"}) p->childIs(name);
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

TEST(Entity, ShowsItsAttributesByName) {
  auto const p = Orb::make<Parent>("p");
  p->ruleIs(Rule::of(7U, 2U));
  p->noteIs(1, "it's");
  p->childIs("c");
  EXPECT_EQ(Orb::inspect(*p),
            "Sample::Parent\n  version = 0\n  text = 'none'\n  checked = 0\n"
            "  rule = { Value('Sample::Rule', ** {'seqno': 7, 'weight': 2}) }\n"
            "  note = { 1: 'it\\'s' }\n  child = { 'c' }\n  kid = {}\n  shared = {}\n  total = 2");
  EXPECT_EQ(Orb::attributeText(*p, "total"), "2");
  EXPECT_THROW(Orb::attributeText(*p, "totals"), Orb::RangeException);
  EXPECT_EQ(p->type().attribute("version").ops->kind, Orb::AttributeKind::counter);
  EXPECT_EQ(Orb::entityType("Sample::Parent"), &p->type());
}

}  // namespace
