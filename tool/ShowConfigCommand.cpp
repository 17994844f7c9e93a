#include <functional>
#include <set>

#include "config_text/TreeJson.h"
#include "config_text/TreeText.h"
#include "config_text/TreeWalk.h"
#include "list_import/CliHelper.h"
#include "tool/Commands.h"
#include "tool/Workspace.h"

namespace Tool {

namespace {

using ConfigText::JsonObject;
using ConfigText::OwnedEntity;
using Orb::AttributeRef;

/// Shows what has one of the names that were asked for; everything when there were none.
class Show {
 public:
  Show(ConfigTree const& tree, std::vector<std::string> const& names, Console& console)
      : tree_(tree), names_(names.begin(), names.end()), console_(console) {}

  void text() {
    eachAttribute([&](Orb::Entity const& root, AttributeRef a) {
      if (a.kind() == Orb::AttributeKind::children) {
        for (OwnedEntity const& owned : wanted(a)) ownedText(a.name(), owned);
      } else if (names_.empty()) {
        Orb::Ptr<Orb::Entity const> const blank = root.type().make({});
        ConfigText::writeAttributeText(a, {a.info(), blank.get()}, console_);
      }
    });
  }

  /// One object. With names, only what holds something of them is in it.
  void json() {
    {
      JsonObject object(console_);
      eachAttribute([&](Orb::Entity const&, AttributeRef a) { jsonOf(object, a); });
    }
    console_.text() += '\n';
  }

  void reportUnknown() {
    for (std::string const& name : names_) {
      if (!found_.contains(name)) {
        console_.finding(
            {}, "no list, route map or peer filter has the name " + Orb::quotedForMessage(name));
      }
    }
  }

 private:
  template <class Do>
  void eachAttribute(Do const& act) const {
    for (auto const& root : tree_.roots()) {
      for (AttributeRef const a : attributesOf(std::as_const(*root))) act(*root, a);
    }
  }

  std::vector<OwnedEntity> wanted(AttributeRef a) {
    auto owned = ConfigText::ownedEntities(a);
    if (names_.empty()) return owned;
    std::erase_if(owned, [&](OwnedEntity const& one) { return !names_.contains(one.key); });
    for (OwnedEntity const& one : owned) found_.insert(one.key);
    return owned;
  }

  void ownedText(std::string_view attribute, OwnedEntity const& owned) {
    // Prefix lists have a form of their own, which routers show and imports read.
    Orb::Entity const& entity = *owned.entity;
    if (entity.type().name == Acl::PrefixList::typeName) {
      console_.text() += Acl::prefixListText(static_cast<Acl::PrefixList const&>(entity));
    } else if (entity.type().name == Acl::Ipv6PrefixList::typeName) {
      console_.text() += Acl::prefixListText(static_cast<Acl::Ipv6PrefixList const&>(entity));
    } else {
      ConfigText::writeTreeText(attribute, owned.key, entity, console_);
    }
    console_.lineDone();
  }

  void jsonOf(JsonObject& object, AttributeRef a) {
    if (names_.empty()) {
      object.member(a.name());
      return ConfigText::writeJson(a, console_);
    }
    if (a.kind() != Orb::AttributeKind::children) return;
    auto const owned = wanted(a);
    if (owned.empty()) return;
    object.member(a.name());
    JsonObject members(console_);
    for (OwnedEntity const& one : owned) {
      members.member(one.key);
      ConfigText::writeJson(*one.entity, console_);
    }
  }

  ConfigTree const& tree_;
  std::set<std::string, std::less<>> const names_;
  std::set<std::string, std::less<>> found_;
  Console& console_;
};

}  // namespace

void showConfig(Options const& options, Console& console) {
  auto const tree = readConfig(options, console);
  if (!tree) return;
  Show show(*tree, options.words, console);
  options.json ? show.json() : show.text();
  show.reportUnknown();
}

}  // namespace Tool
