#pragma once

#include "policy_config/AsPathList.h"
#include "policy_config/CommunityList.h"
#include "policy_config/PrefixList.h"

namespace Acl {

/// The root of all list configuration. It owns its lists, which are made and removed by name:
/// removing a name destroys the list and everything in it. Both notify of the name.
class ROUTEPOLICY_EXPORT AclListConfig : public Orb::NamedEntity {
 public:
  ORB_ENTITY(AclListConfig, "Acl::AclListConfig", regexMode, pathList, prefixList, ipv6PrefixList,
             prefixListModeCount, communityList, useDeprecatedCmd);
  explicit AclListConfig(Orb::Name name);

  /// The engine that AS-path expressions are compiled with. The lists do not change with it: each
  /// of their entries says which engines accept it.
  ORB_ATTRIBUTE(regexMode, RegexMode, regexModeDfa);
  ORB_COLLECTION(pathList, Orb::OrderedChildren<AsPathList>);
  ORB_COLLECTION(prefixList, Orb::OrderedChildren<PrefixList>);
  ORB_COLLECTION(ipv6PrefixList, Orb::OrderedChildren<Ipv6PrefixList>);
  /// Written by the command line together with the lists' inPrefixListMode; stored and replicated
  /// only, as is useDeprecatedCmd.
  ORB_ATTRIBUTE(prefixListModeCount, Orb::U32);
  ORB_COLLECTION(communityList, Orb::OrderedChildren<CommunityList>);
  ORB_ATTRIBUTE(useDeprecatedCmd, bool);
};

}  // namespace Acl
