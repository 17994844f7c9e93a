#include "list_import/CliHelper.h"
#include "list_import/detail/ListText.h"

namespace Acl {

std::string asPathListText(AsPathList const& list, bool isPosixMode) {
  auto const appendEntry = [&](std::string& text, AsPathEntry const& entry) {
    bool const isValid = isPosixMode ? entry.validPosixRegex() : entry.validDfaRegex();
    text += isValid ? ' ' : '#';
    text += entry.permit() == permitMatch ? " permit " : " deny ";
    text += entry.userRegex().view();
    text += ' ';
    text += AsPathCliHelper::getBgpOriginCliStr(entry.origin()).view();
    text += '\n';
  };
  return detail::listText("ip as-path access-list", list, list.pathEntry(), appendEntry);
}

}  // namespace Acl
