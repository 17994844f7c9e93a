#include "tool/CommunityKind.h"

#include <regex.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/orb/base/Error.h"
#include "platform/orb/base/Text.h"
#include "platform/regex/PosixBounds.h"
#include "platform/session/EntityCopy.h"
#include "policy_config/CommunityText.h"

namespace Tool {

namespace RouteMap = Routing::RouteMap;
using Json = nlohmann::ordered_json;

namespace {

constexpr ByFamily<char const*> kFamilies{{"standard", "extended", "large"}};
constexpr Acl::CommunityType kTypes[] = {Acl::communityTypeStandard, Acl::communityTypeExtended,
                                         Acl::communityTypeLarge};

using Entry = Acl::CommunityListEntry;

bool isExpanded(Entry const& entry) { return Acl::isExpanded(entry.listType()); }
Acl::CommunityType familyOf(Entry const& entry) { return Acl::communityTypeOf(entry.listType()); }

/// As the user typed it, when that is kept.
Orb::String const& expressionOf(Entry const& entry) {
  return entry.commRegexDisplay().empty() ? entry.commRegex() : entry.commRegexDisplay();
}

/// "seq 10 permit 65000:100 65000:200". The family stands before what does not show it, and before
/// an expression, which is in quotes.
void appendEntry(std::string& text, Entry const& entry) {
  text.append("seq ").append(std::to_string(entry.seqno()));
  text += entry.permit() == Acl::permitMatch ? " permit" : " deny";
  auto const family = familyOf(entry);
  if (isExpanded(entry) || family != Acl::communityTypeStandard || entry.community().empty()) {
    text.append(" ").append(kFamilies[family]);
  }
  if (isExpanded(entry)) {
    Orb::writeText(text += " regexp ", expressionOf(entry));
  } else {
    for (auto const& member : entry.community()) {
      Acl::writeCommunity(text += ' ', family, member.key);
    }
  }
}

/// Why an expression does not compile; nothing when it does.
std::optional<std::string> refusalOf(Orb::String const& expression) {
  if (expression.view().find('\0') != std::string_view::npos) return "it has a NUL character";
  if (!Routing::AsPath::isWithinPosixBounds(expression.view())) {
    return "the system's engine would need too much time or memory for it";
  }
  auto const engine = RouteMap::posixRegexFactory(0);
  int const error = engine->compile(expression.c_str());
  if (error == 0) return std::nullopt;
  char reason[128];
  ::regerror(error, engine->compiledRegex(), reason, sizeof reason);
  return reason;
}

std::string communityText(Acl::CommunityType family, Acl::CommunityValue const& value) {
  std::string text;
  Acl::writeCommunity(text, family, value);
  return text;
}
/// A value in the form that its parts have.
std::string plainText(Acl::CommunityValue const& value) {
  std::string text;
  writePlain(text, value);
  return text;
}

/// What is wrong with an entry, each fault with `warn(message, isWithoutEffect)`.
template <class Warn>
void eachFault(Entry const& entry, Warn const& warn) {
  std::string const type = "its listType is " + Orb::toText(entry.listType());
  if (entry.version() == 0) {
    warn(
        "its version is 0, so a router ignores the entry until a commit changes it; in a file "
        "written by hand, a line that ends in .version=1 does the same",
        true);
  }
  if (isExpanded(entry)) {
    if (!entry.community().empty()) warn(type + ", so its communities are ignored", false);
    if (auto const reason = refusalOf(entry.commRegex())) {
      warn("the expression " + Orb::quotedForMessage(entry.commRegex()) +
               " does not compile, so the entry does not match by it: " + *reason,
           true);
    } else if (entry.commRegex().empty()) {
      warn("its expression is empty, so it matches every route", false);
    }
    return;
  }
  if (!entry.commRegex().empty()) warn(type + ", so its commRegex is ignored", false);
  if (entry.community().empty()) {
    warn("it has no community, so it matches every route, or those without one with --exact",
         false);
  }
  // By its parts, a value may be meant for a later family than they show, but for no earlier one:
  // such a one decides, whatever the others are.
  std::string misfit;
  for (auto const& member : entry.community()) {
    auto const family = Acl::communityTypeOf(member.key);
    bool const isWithoutEffect = family > familyOf(entry);
    std::string text = plainText(member.key);
    bool const isMisfit = family < familyOf(entry) && !text.starts_with("raw ");
    if (!isWithoutEffect && !(isMisfit && misfit.empty())) continue;
    text.append(" is of the ").append(kFamilies[family]).append(" family, and ").append(type);
    if (isWithoutEffect) return warn(text + ": the entry matches nothing", true);
    text += ": it stands for " + communityText(familyOf(entry), member.key);
    misfit = std::move(text);
  }
  if (!misfit.empty()) warn(std::move(misfit), false);
}

/// The family of a text that was read: its form shows it.
Acl::CommunityType familyOf(std::string_view text, Acl::CommunityValue const& value) {
  if (text.find(' ') != text.npos) {
    return value.part0() != 0 ? Acl::communityTypeLarge : Acl::communityTypeExtended;
  }
  bool const isLarge = std::count(text.begin(), text.end(), ':') > 1;
  return isLarge ? Acl::communityTypeLarge : Acl::communityTypeStandard;
}

/// Whether a word is a community, and not the first half of one, such as "rt".
bool isCommunity(std::string_view word) {
  try {
    Acl::readCommunity(word);
    return true;
  } catch (Orb::ParseException const&) {
    return false;
  }
}

bool startsWithDigit(std::string_view word) { return word.front() >= '0' && word.front() <= '9'; }

std::string_view takeWord(std::string_view& text) {
  constexpr char kBlanks[] = " \t";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  std::string_view const word = text.substr(0, text.find_first_of(kBlanks));
  text.remove_prefix(word.size());
  return word;
}

}  // namespace

void CommunityKind::copyEntries(List const& from, List& to) {
  Orb::make<Cli::Session::EntityCopy>()->doCopyEntityAttrs(&to, &from, {}, nullptr);
  for (auto const& entry : from.communityListEntry()) {
    to.communityListEntry(entry->seqno())->versionIs(entry->version());
  }
}

ListFindings CommunityKind::findings(List const& list) const {
  ListFindings findings;
  for (auto const& entry : list.communityListEntry()) {
    bool hasEffect = true;
    eachFault(*entry, [&](std::string message, bool isWithoutEffect) {
      hasEffect = hasEffect && !isWithoutEffect;
      findings.warn({.message = std::move(message), .seqno = entry->seqno()});
    });
    findings.withoutEffect += hasEffect ? 0 : 1;
  }
  return findings;
}

std::string CommunityKind::textOf(List const& list) const {
  std::string text = "ip community-list " + list.name().str() + "\n";
  for (auto const& entry : list.communityListEntry()) {
    appendEntry(text += "    ", *entry);
    text += '\n';
  }
  return text;
}

void CommunityKind::describe(List const& list, Json& json) const {
  json["name"] = list.name().str();
  json["family"] = "community";
}

Json CommunityKind::jsonOf(Entry const& entry) {
  Json json = {{"seqno", entry.seqno()},
               {"action", entry.permit() == Acl::permitMatch ? "permit" : "deny"},
               {"family", kFamilies[familyOf(entry)]}};
  if (isExpanded(entry)) {
    json["expression"] = entry.commRegex().str();
    if (!entry.commRegexDisplay().empty()) json["display"] = entry.commRegexDisplay().str();
  } else {
    auto& communities = json["communities"] = Json::array();
    for (auto const& member : entry.community()) {
      communities.push_back(communityText(familyOf(entry), member.key));
    }
  }
  json["version"] = entry.version();
  return json;
}

void CommunityKind::Extent::add(Entry const& entry) { ++counts_[familyOf(entry)]; }

void CommunityKind::Extent::appendTo(std::string& text) const {
  for (Acl::CommunityType const type : kTypes) {
    if (counts_[type] == 0) continue;
    text.append(", ").append(std::to_string(counts_[type])).append(" ").append(kFamilies[type]);
  }
}

void CommunityKind::Extent::addTo(Json& json) const {
  for (Acl::CommunityType const type : kTypes) json[kFamilies[type]] = counts_[type];
}

auto CommunityKind::machineOn(Orb::Ptr<Acl::AclListConfig const> const& config) const
    -> Orb::Ptr<Machine> {
  auto const symbols = [] { return RouteMap::allCommListSymbolFactory(); };
  auto const table = [] { return RouteMap::commListSymbolDedupTableFactory(); };
  return RouteMap::commListConfigSmFactory(config, symbols(), symbols(), symbols(), table(),
                                           table(), table());
}

auto CommunityKind::statusOf(Machine const& machine, Orb::Name const& name) -> Status {
  auto const of = [&](auto const& symbols) {
    auto const symbol = symbols->symbol(name);
    return symbol ? symbol->status() : FamilyStatus();
  };
  return {
      {of(machine.allClSymbol()), of(machine.allExtClSymbol()), of(machine.allLargeClSymbol())}};
}

namespace {

std::size_t indexBytes(CommunityKind::Status const& status) {
  std::size_t bytes = 0;
  for (auto const& family : status.all) {
    if (family && family->index()) bytes += family->index()->bytes();
  }
  return bytes;
}

}  // namespace

void CommunityKind::describe(Status const& status, std::string& text) {
  text.append("bytes of index   ").append(std::to_string(indexBytes(status))).append("\n");
}

void CommunityKind::describe(Status const& status, Json& json) {
  json["indexBytes"] = indexBytes(status);
}

CommunityKind::Matcher::Matcher(CommunityKind const& kind, List const& list, Status status)
    : how_(kind.how_), list_(&list), status_(std::move(status)) {
  for (FamilyStatus const& family : status_.all) {
    if (family) family->prepare();  // for many routes
  }
}

/// Words are communities, but for a first half, which the next word completes.
void CommunityKind::Matcher::read(std::string_view text) {
  for (auto& values : route_.all) values.clear();
  for (auto word = takeWord(text); !word.empty(); word = takeWord(text)) {
    auto rest = text;
    auto const next = takeWord(rest);
    if (next.empty() || startsWithDigit(word) || isCommunity(word)) {
      add(word);
    } else {
      add(std::string(word).append(" ").append(next));
      text = rest;
    }
  }
  for (auto& values : route_.all) {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
  }
}

void CommunityKind::Matcher::add(std::string_view text) {
  auto const value = Acl::readCommunity(text);
  route_[familyOf(text, value)].push_back(value);
}

void CommunityKind::Matcher::appendAsked(std::string& text) const {
  char const* separator = "";
  for (Acl::CommunityType const type : kTypes) {
    for (auto const& value : route_[type]) {
      Acl::writeCommunity(text += separator, type, value);
      separator = " ";
    }
  }
}

MatchAnswer CommunityKind::Matcher::answer() {
  Routing::PolicyEval::CommunityListMatch best;
  for (Acl::CommunityType const type : kTypes) {
    auto const match = matchCommunityList(status_[type], route_[type], how_, buffer_);
    if (match.entry && (!best.entry || match.seqno < best.seqno)) best = match;
  }
  if (!best.entry) return {};
  entry_.clear();
  appendEntry(entry_, *list_->communityListEntry(best.seqno));
  return {best.isPermit, best.seqno, entry_};
}

}  // namespace Tool
