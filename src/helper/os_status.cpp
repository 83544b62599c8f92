#include "helper/os_status.h"

#include <cerrno>
#include <system_error>

#include "platform/framed_dictionary.h"

namespace lumisk {

OSStatus BASErrnoToOSStatus(int code) {
  return code == ECANCELED ? kUserCancelled : code;
}

int BASOSStatusToErrno(OSStatus status) {
  if (status >= 0) return status;
  switch (status) {
    case kUserCancelled:
    case kAuthorizationCancelled:
      return ECANCELED;
    case kAuthorizationDenied:
      return EPERM;
    case kNotADictionary:
      return EBADMSG;
    default:
      return EIO;
  }
}

std::string statusText(OSStatus status) {
  if (status == kAuthorizationCancelled) return "nobody authenticated";
  if (status == kAuthorizationDenied) return "an administrator's authentication was refused";
  return std::generic_category().message(BASOSStatusToErrno(status));
}

}  // namespace lumisk
