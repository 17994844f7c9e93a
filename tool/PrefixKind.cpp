#include "tool/PrefixKind.h"

#include <nlohmann/json.hpp>

namespace Tool {

namespace RouteMap = Routing::RouteMap;
using Json = nlohmann::ordered_json;

namespace {

ListFault faultOf(Acl::PrefixSourceResult const& result, bool isIpv6) {
  std::string message = result.message.str();
  if (result.fault == Acl::PrefixSourceFault::otherFamily) {
    message += isIpv6 ? " (not an IPv6 prefix)" : " (IPv6 needs --ipv6)";
  }
  return {message, result.line, result.isFileError()};
}

/// Whether there is a length that the entry matches, as the machine reads its bounds.
template <class Family>
bool canMatch(typename Family::Entry const& entry) {
  Orb::U32 const length = entry.prefix().length();
  if (entry.eq() != 0) return length <= entry.eq() && entry.eq() <= Family::kMaxLength;
  Orb::U32 const least = std::max(entry.ge(), length);
  Orb::U32 const most = entry.le() != 0   ? std::min(entry.le(), Family::kMaxLength)
                        : entry.ge() != 0 ? Family::kMaxLength
                                          : length;
  return least <= most;
}

}  // namespace

template <class Family>
ListFindings PrefixKind<Family>::import(std::FILE& source,
                                        Acl::UrlImportDuplicateOperation onDuplicate,
                                        List& list) const {
  ListFindings findings;
  Acl::PfxEntries<Family> entries;
  Acl::PrefixEntryParser<Family> parser(entries, onDuplicate);
  try {
    auto const result = Acl::readPrefixSource(source, parser);
    if (result.isError()) {
      findings.fault = faultOf(result, Family::kFamily == Ipa::ipv6);
    } else if (entries.size() == 0) {
      findings.fault = ListFault{"the list is empty: no line has an entry"};
    } else {
      Family::entryIsEach(list, entries);
    }
  } catch (Acl::PrefixSourceException const& error) {
    findings.fault = ListFault{
        std::string(error.what()) + " (the address has bits beyond its length)", error.line()};
  }
  return findings;
}

template <class Family>
void PrefixKind<Family>::copyEntries(List const& from, List& to) {
  if constexpr (kIsIpv4) {
    to.prefixEntryCopy(from);
  } else {
    to.ipv6PrefixEntryCopy(from);
  }
}

template <class Family>
ListFindings PrefixKind<Family>::findings(List const& list) const {
  ListFindings findings;
  for (Entry const& entry : entries(list)) {
    if (canMatch<Family>(entry)) continue;
    ++findings.withoutEffect;
    findings.warn({.message = "its lengths leave no prefix, so the entry matches nothing",
                   .seqno = entry.seqno()});
  }
  return findings;
}

template <class Family>
void PrefixKind<Family>::describe(List const& list, Json& json) const {
  json["name"] = list.name().str();
  json["family"] = kIsIpv4 ? "ipv4" : "ipv6";
}

template <class Family>
Json PrefixKind<Family>::jsonOf(Entry const& entry) {
  Json json = {{"seqno", entry.seqno()},
               {"action", entry.permit() == Acl::permitMatch ? "permit" : "deny"},
               {"prefix", entry.prefix().toString()}};
  if (entry.eq() != 0) {
    json["eq"] = entry.eq();
  } else {
    if (entry.ge() != 0) json["ge"] = entry.ge();
    if (entry.le() != 0) json["le"] = entry.le();
  }
  return json;
}

template <class Family>
void PrefixKind<Family>::Extent::appendTo(std::string& text) const {
  text.append(", prefixes /").append(std::to_string(shortest_));
  text.append(" to /").append(std::to_string(longest_));
}

template <class Family>
void PrefixKind<Family>::Extent::addTo(Json& json) const {
  json["shortestLength"] = shortest_;
  json["longestLength"] = longest_;
}

template <class Family>
auto PrefixKind<Family>::machineOn(Orb::Ptr<Acl::AclListConfig const> const& config) const
    -> Orb::Ptr<Machine> {
  return Orb::make<Machine>(config, RouteMap::allPrefixListSymbolFactory(),
                            RouteMap::prefixListSymbolDedupTableFactory());
}

template <class Family>
std::optional<std::size_t> PrefixKind<Family>::bytesHeld(Status const& status,
                                                         std::size_t entries) {
  return status->trie()->memory() + entries * sizeof(RouteMap::PrefixListEntryData);
}

template <class Family>
void PrefixKind<Family>::Matcher::read(std::string_view text) {
  using Prefix = typename Family::Prefix;
  using Address = std::decay_t<decltype(Prefix().address())>;
  prefix_ = text.find('/') != text.npos ? Prefix::parse(text)
                                        : Prefix(Address::parse(text), Prefix::kMaxLength);
}

template <class Family>
MatchAnswer PrefixKind<Family>::Matcher::answer() {
  auto const match = Routing::PolicyEval::matchPrefixList(status_, prefix_);
  if (!match.entry) return {};
  return {match.isPermit, match.seqno, entries_.of(match.seqno)};
}

template class PrefixKind<Acl::Ipv4Family>;
template class PrefixKind<Acl::Ipv6Family>;

}  // namespace Tool
