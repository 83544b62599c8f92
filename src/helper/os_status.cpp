#include "helper/os_status.h"

#include <cerrno>

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

}  // namespace lumisk
