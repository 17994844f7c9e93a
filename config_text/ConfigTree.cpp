#include "config_text/ConfigTree.h"

#include <map>

#include "platform/orb/base/Error.h"
#include "policy_config/RouteMap.h"

namespace ConfigText {

namespace {

constexpr char kBlanks[] = " \t\r\v\f";
constexpr std::string_view kRemoval = "no ";

std::string_view trimmed(std::string_view text) {
  std::size_t const begin = text.find_first_not_of(kBlanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

/// Which name each single child has in a text. A later line with another name would replace the
/// child of the earlier one: of a text that says how things are, one is wrong.
class NamesOfSingles {
 public:
  void check(Orb::TypeInfo const& root, std::string_view path, std::size_t line) {
    Orb::PathType const type = Orb::pathType(root, path);
    for (Orb::PathType::Single const& single : type.singles) {
      std::string_view const place = std::string_view(type.place).substr(0, single.placeSize);
      auto const& first =
          first_.try_emplace(std::string(place), Named{single.name, line}).first->second;
      if (first.name == single.name) continue;
      throw Orb::RangeException(Orb::messageText(path) + ": there is only one " +
                                std::string(place.substr(place.rfind('.') + 1)) + ", and line " +
                                std::to_string(first.line) + " has " +
                                Orb::messageText(first.name) + " for it");
    }
  }

 private:
  struct Named {
    std::string_view name;  // in the text that is loaded
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

ConfigTree::ConfigTree()
    : roots_{Orb::make<Acl::AclListConfig>("route-policy"), Orb::make<Routing::RouteMap::Config>(),
             Orb::make<Routing::RouteMap::PeerFilterConfig>(),
             Orb::make<Routing::DynamicPrefixList::Config>(), Orb::make<Routing::AsnConfig>()} {}

Orb::Entity& ConfigTree::rootOf(std::string_view path) const {
  return *roots_[Orb::rootOf(roots_, path)];
}

std::vector<LineFault> ConfigTree::load(std::string_view text) {
  NamesOfSingles names;
  return withEachLine(text, [&](std::size_t number, std::string_view line) {
    Orb::Assignment const said = Orb::splitAssignment(line);
    Orb::Entity& root = rootOf(said.path);
    names.check(root.type(), said.path, number);
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
    if (session.attributeDel(text)) return;
    throw Orb::RangeException(Orb::messageText(text) + ": it is not set, so it cannot be removed");
  }
  Orb::Assignment const said = Orb::splitAssignment(text);
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

}  // namespace ConfigText
