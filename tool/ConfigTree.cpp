#include "tool/ConfigTree.h"

#include <iterator>
#include <map>

#include "platform/orb/base/Error.h"
#include "policy_config/RouteMap.h"

namespace Tool {

namespace {

constexpr char kBlanks[] = " \t\r\v\f";
constexpr std::string_view kRemoval = "no ";

std::string_view trimmed(std::string_view text) {
  std::size_t const begin = text.find_first_not_of(kBlanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

constexpr char const* kRootTypes[] = {Acl::AclListConfig::typeName,
                                      Routing::RouteMap::Config::typeName,
                                      Routing::RouteMap::PeerFilterConfig::typeName};

/// The number of the root that owns the attribute with which a path begins.
std::size_t rootNumberOf(std::string_view path) {
  std::string_view const name = path.substr(0, path.find_first_of(".["));
  for (std::size_t i = 0; i < std::size(kRootTypes); ++i) {
    if (Orb::findAttribute(Orb::entityType(kRootTypes[i])->attributes, name)) return i;
  }
  throw Orb::RangeException(Orb::messageText(path) + ": no root has an attribute " +
                            Orb::quotedForMessage(name));
}

/// Which key each attribute that owns a single entity has in a text. A later line with another key
/// would replace the entity of the earlier one: of a text that says how things are, one is wrong.
class KeysOfSingles {
 public:
  void check(Orb::TypeInfo const& root, std::string_view path, std::size_t line) {
    Orb::visitKeysOfSingles(root, path, [&](std::string_view attribute, std::string_view key) {
      auto const& first =
          first_.try_emplace(std::string(attribute), Named{key, line}).first->second;
      if (first.key == key) return;
      throw Orb::RangeException("there is only one " +
                                std::string(attribute.substr(attribute.rfind('.') + 1)) +
                                ", and line " + std::to_string(first.line) + " has " +
                                Orb::messageText(first.key) + " for it");
    });
  }

 private:
  struct Named {
    std::string_view key;  // in the text that is loaded
    std::size_t line;
  };
  std::map<std::string, Named, std::less<>> first_;
};

constexpr std::size_t kMostFaults = 100;

/// Does something with each line; collects what is refused, and counts the rest of what is: the
/// wrong file may be named.
template <class Do>
std::vector<LineFault> withEachLine(std::string_view text, Do const& act) {
  std::vector<LineFault> faults;
  std::size_t more = 0;
  eachLine(text, [&](std::size_t number, std::string_view line) {
    try {
      act(number, line);
    } catch (Orb::RangeException const& error) {
      if (faults.size() < kMostFaults) {
        faults.push_back({number, error.what()});
      } else {
        ++more;
      }
    }
  });
  if (more > 0) faults.push_back({0, std::to_string(more) + " more lines are refused"});
  return faults;
}

}  // namespace

void eachLine(std::string_view text, Orb::FunctionRef<void(std::size_t, std::string_view)> visit) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    std::size_t const end = text.find('\n');
    std::string_view const line = trimmed(text.substr(0, end));
    if (!line.empty() && line.front() != '#') visit(number, line);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
  }
}

ConfigTree::ConfigTree() {
  for (char const* const type : kRootTypes) {
    roots_.push_back(Orb::entityType(type)->make("route-policy"));
  }
}

Orb::Entity& ConfigTree::rootOf(std::string_view path) const { return *roots_[rootNumberOf(path)]; }

std::vector<LineFault> ConfigTree::load(std::string_view text) {
  KeysOfSingles keys;
  return withEachLine(text, [&](std::size_t number, std::string_view line) {
    Orb::Assignment const said = Orb::splitAssignment(line);
    Orb::Entity& root = rootOf(said.path);
    keys.check(root.type(), said.path, number);
    if (said.hasText) {
      Orb::attributeTextIs(root, said.path, said.text);
    } else {
      Orb::attributeIs(root, said.path);
    }
  });
}

void ConfigTree::eachAssignment(Orb::FunctionRef<void(std::string const&)> visit) const {
  for (auto const& root : roots_) Orb::assignments(*root, visit);
}

ConfigEdit ConfigEdit::ofLine(std::string_view line) {
  if (!line.starts_with(kRemoval)) return {false, line};
  return {true, trimmed(line.substr(kRemoval.size()))};
}

std::string ConfigEdit::line() const {
  return std::string(isRemoval ? kRemoval : std::string_view()).append(text);
}

void ConfigEdit::apply(Cli::Session::Session& session) const {
  if (isRemoval) {
    rootNumberOf(text);
    if (session.attributeDel(text)) return;
    throw Orb::RangeException(Orb::messageText(text) + ": it is not set, so it cannot be removed");
  }
  Orb::Assignment const said = Orb::splitAssignment(text);
  rootNumberOf(said.path);  // says which name is unknown in a message of bounded length
  if (said.hasText) {
    session.attributeTextIs(said.path, said.text);
  } else {
    session.attributeIs(said.path);
  }
}

std::vector<LineFault> applyEdits(Cli::Session::Session& session, std::string_view text) {
  return withEachLine(
      text, [&](std::size_t, std::string_view line) { ConfigEdit::ofLine(line).apply(session); });
}

}  // namespace Tool
