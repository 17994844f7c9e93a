#include "policy_config/AsPathList.h"

namespace Acl {

ORB_ENTITY_TYPE(AsPathList);
ORB_ENTITY_TYPE(AsPathUrlLoadReturnStatus);

AsPathList::AsPathList(Orb::Name name) : NamedEntity(std::move(name)) {}

Orb::String AsPathEntry::toStrep() const {
  std::string out = "< seqno=";
  Orb::writeText(out, seqno());
  (out += "; userRegex=") += userRegex().view();
  out += "; permit=";
  writeText(out, permit());
  out += "; origin=";
  writeText(out, origin());
  // The POSIX flag comes first here, the reverse of the fields' order, on purpose.
  (out += "; validPosixRegex=") += validPosixRegex() ? "yes" : "no";
  (out += "; validDfaRegex=") += validDfaRegex() ? "yes" : "no";
  return Orb::String(out += " >");
}

Orb::String AsPathList::toStrep() const {
  std::string out = name().str() + ":";
  for (AsPathEntry const& entry : pathEntry()) (out += ' ') += entry.toStrep().view();
  return Orb::String(out);
}

}  // namespace Acl
