#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

#include "platform/orb/model/Attribute.h"
#include "platform/orb/model/Path.h"
#include "platform/orb/model/Reactor.h"
#include "tests/support/Observer.h"
#include "tests/support/ScarceMemory.h"
#include "tests/support/Thrown.h"

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
using TestSupport::Observer;

constexpr auto kIgnore = [](Orb::AttrId, void const*) {};

/// Writes down each notification, and then does what the test wants.
class Watcher final : public Orb::Reactor<Watcher, Parent> {
 public:
  explicit Watcher(Orb::Ptr<Parent const> const& p) : Reactor(p) {}
  std::vector<std::string> seen;
  std::function<void()> then = [] {};

 private:
  friend Reactor;
  static constexpr auto reactions() {
    return std::tuple{on<Attr::version, &Watcher::onVersion>, on<Attr::text, &Watcher::onText>,
                      on<Attr::checked, &Watcher::onText>,    on<Attr::rule, &Watcher::onRule>,
                      on<Attr::note, &Watcher::onNote>,       on<Attr::child, &Watcher::onName>,
                      on<Attr::kid, &Watcher::onName>,        on<Attr::shared, &Watcher::onName>,
                      on<Attr::ratio, &Watcher::onRatio>,     on<Attr::single, &Watcher::onSingle>,
                      on<Attr::chosen, &Watcher::onChosen>,   on<Attr::other, &Watcher::onOther>};
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
};

using Seen = std::vector<std::string>;

TEST(Entity, NotifiesOfRealChangesOnly) {
  auto const p = Orb::make<Parent>("p");
  auto const w = Orb::make<Watcher>(p);
  auto const seen = [&] { return std::exchange(w->seen, {}); };

  p->textIs("none");
  p->ruleDel(1);
  p->ruleDelAll();
  p->childDel("x");
  p->noteDel(1);
  p->ruleIs(Rule::of(7U, 1U));
  EXPECT_EQ(seen(), Seen{"rule 7"});
  p->ruleIs(Rule::of(7U, 1U));
  EXPECT_EQ(seen(), Seen{});
  p->ruleIs(Rule::of(7U, 2U));
  p->ruleIs(Rule::of(3U, 2U));
  p->noteIs(255, "a");
  p->noteIs(255, "a");
  p->noteIs(255, "b");
  EXPECT_EQ(seen(), (Seen{"rule 7", "rule 3", "note 255", "note 255"}));
  EXPECT_EQ(p->rule(7).weight(), 2U);
  EXPECT_EQ(p->rule(8), Rule()) << "the default value stands for what is not there";
  p->ruleDelAll();
  p->noteDelAll();
  EXPECT_EQ(seen(), (Seen{"rule 3", "rule 7", "note 255"}));

  auto const c = p->childIs("c");
  EXPECT_EQ(p->childIs("c"), c);
  p->kidIs("k");
  p->sharedIs(c);
  p->sharedIs(c);
  p->sharedIs(Orb::make<Child>("c"));
  EXPECT_EQ(seen(), (Seen{"c", "k", "c", "c"}));
  p->childDelAll();
  p->kidDelAll();
  p->sharedDelAll();
  EXPECT_EQ(seen(), (Seen{"c", "k", "c"}));

  p->otherIs(c);
  p->otherIs(c);
  EXPECT_EQ(p->other(), c) << "which no collection holds any more";
  p->otherIs(nullptr);
  EXPECT_EQ(seen(), (Seen{"other", "other"}));
  EXPECT_EQ(TestSupport::thrown<Orb::RangeException>([&] { p->sharedIs(nullptr); }),
            "null _shared parameter to mutator for Sample::Parent::shared not allowed\"");
  EXPECT_TRUE(p->shared().empty());

  EXPECT_EQ(p->versionInc(0), 0U);
  EXPECT_EQ(p->versionInc(4294967295U), 4294967295U);
  EXPECT_EQ(p->versionInc(2), 1U) << "wraps around";
  EXPECT_EQ(seen(), (Seen{"version", "version"}));

  float const nan = std::numeric_limits<float>::quiet_NaN();
  for (float const value : {0.0F, -0.0F, -0.0F, nan, nan, -nan, 0.0F}) p->ratioIs(value);
  EXPECT_EQ(seen(), (Seen{"ratio", "ratio", "ratio", "ratio"})) << "other bits";
}

TEST(Entity, StoresBeforeItChecksAndNotifiesNobody) {
  auto const p = Orb::make<Parent>("p");
  auto const w = Orb::make<Watcher>(p);
  EXPECT_THROW(p->checkedIs(16), Orb::RangeException);
  EXPECT_EQ(p->checked(), 16);
  EXPECT_NO_THROW(p->checkedIs(16)) << "nothing changes, so nothing is checked";
  EXPECT_TRUE(w->seen.empty());
}

TEST(Entity, OwnsOneOrNone) {
  auto const p = Orb::make<Parent>("p");
  auto const w = Orb::make<Watcher>(p);
  auto const seen = [&] { return std::exchange(w->seen, {}); };
  p->singleDel();
  auto const single = p->singleIs();
  EXPECT_EQ(p->singleIs(), single);
  p->singleDel();
  p->singleDel();
  EXPECT_EQ(seen(), (Seen{"single", "no single"}));

  auto const a = p->chosenIs("a");
  a->weightIs(7);
  EXPECT_EQ(p->chosenIs("a"), a);
  EXPECT_EQ(seen(), Seen{"a"});
  // Another name takes its place: its observers are notified first, with the new one there already.
  int gone = 0;
  Observer const ofA(*a, kIgnore, [&] {
    ++gone;
    EXPECT_EQ(p->chosen()->name(), "b");
    EXPECT_EQ(seen(), Seen{});
  });
  auto const b = p->chosenIs("b");
  EXPECT_EQ(p->chosen(), b);
  EXPECT_EQ(b->weight(), 0U);
  EXPECT_EQ(seen(), Seen{"b"});
  p->chosenDel();
  EXPECT_EQ(seen(), Seen{"none"});
  EXPECT_EQ(gone, 1);
  w->then = [&] { p->chosenDel(); };
  EXPECT_TRUE(p->chosenIs("c")) << "a valid object, though nobody owns it any more";
  EXPECT_FALSE(p->chosen());
}

TEST(Entity, SurvivesWhatItsReactorsDo) {
  auto const p = Orb::make<Parent>("p");
  auto const w = Orb::make<Watcher>(p);
  auto const other = Orb::make<Watcher>(p);

  w->then = [&] { p->ruleDel(7); };  // the very member that changed
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
}

// The last reference to the owner goes while it notifies of what it removes: first the observers of
// the child (c), then its own (p).
TEST(Entity, OutlivesTheNotificationsOfARemoval) {
  struct Case {
    void (*remove)(Parent&);
    char const* notified;
  };
  for (Case const& c : {Case{[](Parent& x) { x.ruleDelAll(); }, "ppp"},
                        {[](Parent& x) { x.childDelAll(); }, "cpp"},
                        {[](Parent& x) { x.childDel("a"); }, "cp"},
                        {[](Parent& x) { x.chosenDel(); }, "cp"},
                        {[](Parent& x) { x.chosenIs("b"); }, "cp"}}) {
    auto p = Orb::make<Parent>("p");
    for (Orb::U32 i = 0; i < 3; ++i) p->ruleIs(Rule::of(i, i));
    for (auto const* name : {"a", "b"}) p->childIs(name);
    std::string notified;
    auto const drop = [&](char who) {
      notified += who;
      p = nullptr;
    };
    Observer const ofChosen(*p->chosenIs("a"), kIgnore, [&] { drop('c'); });
    Observer const ofChild(*p->child("a"), kIgnore, [&] { drop('c'); });
    Observer const ofParent(*p, [&](Orb::AttrId, void const*) { drop('p'); });
    c.remove(*p);
    EXPECT_FALSE(p);
    EXPECT_EQ(notified, c.notified);
  }
}

TEST(Entity, NotifiesAllBeforeItThrowsWhatOneThrew) {
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

TEST(Entity, TakesAllThatItOwnsAlongWhenItLeaves) {
  auto const p = Orb::make<Parent>("p");
  Seen seen;
  auto const leaves = [&](char const* name) { return [&seen, name] { seen.emplace_back(name); }; };
  Observer const outer(*p, kIgnore, [&] {
    seen.emplace_back("p");
    throw std::runtime_error("first");
  });
  Observer const child(*p->childIs("c"), kIgnore, [&] {
    seen.emplace_back("c");
    p->kidDelAll();  // an observer may remove the rest, which is notified once all the same
    throw std::runtime_error("second");
  });
  Observer const kid(*p->kidIs("k"), kIgnore, leaves("k"));
  Observer const single(*p->singleIs(), kIgnore, leaves("single"));
  Observer const shared(*p->childIs("s"), kIgnore, leaves("s"));
  p->sharedIs(p->child("s"));
  EXPECT_EQ(TestSupport::thrown([&] { p->deleted(); }), "first");
  EXPECT_EQ(seen, (Seen{"p", "c", "k", "s", "single"}));
  p->childDelAll();
  EXPECT_EQ(seen.size(), 5U) << "once";
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
}

/// What no configuration has: an entity without a name, references and what is worked out.
TEST(Entity, IsChangedByName) {
  auto const p = Orb::make<Parent>("p");
  Orb::attributeTextIs(*p, "single.weight", "3");
  ASSERT_TRUE(p->single());
  EXPECT_EQ(p->single()->weight(), 3U);
  EXPECT_THROW(Orb::attributeTextIs(*p, "single['x'].weight", "4"), Orb::RangeException);
  EXPECT_TRUE(Orb::attributeDel(*p, "single"));
  EXPECT_FALSE(p->single());
  p->otherIs(p->childIs("c"));
  p->sharedIs(p->child("c"));
  for (auto const* path : {"other", "other.weight", "shared", "shared['c']", "total"}) {
    EXPECT_THROW(Orb::attributeTextIs(*p, path, "1"), Orb::RangeException) << path;
    EXPECT_THROW(Orb::attributeDel(*p, path), Orb::RangeException) << path;
  }
}

TEST(Entity, KeepsTheChildThatIsThereWhenAnEditByNameFails) {
  auto const p = Orb::make<Parent>("p");
  p->chosenIs("old");
  auto const replace = [&] { Orb::attributeTextIs(*p, "chosen['new'].weight", "3"); };
  EXPECT_GT(TestSupport::withEverMoreMemory(
                replace, [&] { EXPECT_TRUE(p->chosen() && p->chosen()->name() == "old"); }),
            0);
  p->chosenIs("old");
  Observer const thrower(*p, [](Orb::AttrId, void const*) { throw std::runtime_error("no"); });
  EXPECT_THROW(replace(), std::runtime_error);
  EXPECT_EQ(p->chosen()->name(), "new") << "a change that was made stands";
  EXPECT_EQ(p->chosen()->weight(), 3U);
  EXPECT_THROW(Orb::attributeIs(*p, "child['c']"), std::runtime_error);
  EXPECT_TRUE(p->childHas("c"));
}

TEST(Entity, ReadsTheBinaryFormOfACollectionWholeOrNotAtAll) {
  auto const p = Orb::make<Parent>("p");
  auto const rules = [&](std::string_view bytes) {  // their number; of each its key and its fields
    Orb::BinaryReader in(bytes);
    attributeOf(*p, static_cast<Orb::AttrId>(Parent::Attr::rule)).readBinary(in);
    return p->rule().size();
  };
  EXPECT_THROW(rules("\3\1\1\1\2\2\1\1\1\2"), Orb::ParseException) << "a key stands twice";
  EXPECT_TRUE(p->rule().empty());
  EXPECT_FALSE(p->isModified());
  EXPECT_EQ(rules("\2\1\1\1\2\2\1"), 2U);
  EXPECT_TRUE(p->isModified());
}

TEST(Entity, LivesUntilAllAreNotifiedWhoeverReleasesIt) {
  auto p = Orb::make<Parent>("p");
  int seen = 0;
  auto const see = [&](Orb::AttrId, void const*) { ++seen; };
  Observer const before(*p, see);
  Observer after(see);
  auto first = Orb::make<Watcher>(p);
  auto second = Orb::make<Watcher>(p);
  first->then = second->then = [&] { p = nullptr, first = nullptr, second = nullptr; };
  p->notifieeIs(after);
  EXPECT_EQ(p.get()->versionInc(5), 5U);
  EXPECT_EQ(seen, 2);
  EXPECT_FALSE(p || first || second || after.isLinked());

  // With observers alone that do not hold it, also after one that did.
  p = Orb::make<Parent>("p");
  Orb::make<Watcher>(p);
  Observer const dropper(*p, [&](Orb::AttrId, void const*) { p = nullptr; });
  Observer const last(*p, see);
  p.get()->textIs("some");
  EXPECT_EQ(seen, 3);
}

}  // namespace
