#include "list_import/CliHelper.h"

namespace Acl {

ORB_ENTITY_TYPE(AsPathCliHelper);

Orb::String AsPathCliHelper::getBgpOriginCliStr(BGPOrigin origin) {
  switch (origin) {
    case bgpIGP:
      return "igp";
    case bgpEGP:
      return "egp";
    case bgpIncomplete:
      return "incomplete";
    case bgpAny:
      return "any";
    case notSet:
      break;
  }
  return stringValue(origin);
}

void AsPathCliHelper::delAsPathListEntries(AsPathList& list) { list.pathEntryDelAll(); }

}  // namespace Acl
