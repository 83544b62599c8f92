#pragma once

#include <optional>
#include <string>

#include "platform/property_list.h"

namespace lumisk {

inline constexpr const char* kImagePasswordItem = "Lumisk DMG password";
inline constexpr const char* kPasswordKey = "PASSWORD";

// The passwords of encrypted images, as generic items in the user's keeper of secrets. The item's name is kept as its
// description ("desc"), the kind as its label ("labl": the volume's name), the user as its account ("acct"), the
// service as "svce" (the image's path); of several items that fit the first is taken, and an empty service fits all.
//
// What the service refuses, or that there is none (a server without a session), is told in one line on standard error,
// and the item counts as missing. Any thread.
class AGKeychain {
 public:
  AGKeychain() = delete;

  static bool checkForExistanceOfKeychainItem(const std::string& keychainItemName, const std::string& withItemKind,
                                              const std::string& forUsername, const std::string& withServiceItemName);
  static bool addKeychainItem(const std::string& keychainItemName, const std::string& withItemKind,
                              const std::string& forUsername, const std::string& withPassword,
                              const std::string& withServiceItemName);
  static bool modifyKeychainItem(const std::string& keychainItemName, const std::string& withItemKind,
                                 const std::string& forUsername, const std::string& withNewPassword,
                                 const std::string& withServiceItemName = {});
  static bool deleteKeychainItem(const std::string& keychainItemName, const std::string& withItemKind,
                                 const std::string& forUsername, const std::string& withServiceItemName = {});
  // {"PASSWORD": string}, without that key when there is no item.
  static PropertyList::Dictionary getPasswordFromKeychainItem(const std::string& keychainItemName,
                                                              const std::string& withItemKind,
                                                              const std::string& forUsername,
                                                              const std::string& withServiceItemName);
};

}  // namespace lumisk
