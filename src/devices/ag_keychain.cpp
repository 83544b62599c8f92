#include "devices/ag_keychain.h"

#include <cerrno>
#include <cstdio>

#include "platform/byte_text.h"
#include "platform/secret_service.h"

namespace lumisk {
namespace {

using secret_service::Attributes;

// The status is an errno value, or -1 where there is none.
template <class T>
bool succeeded(const Result<T>& result, const char* format) {
  if (result) return true;
  const Error& error = result.error();
  std::fprintf(stderr, format, error.code != 0 ? error.code : -1);
  std::fprintf(stderr, "lumisk: keychain: %s\n", displayText(error.text()).c_str());
  return false;
}

constexpr const char* kSearchFailed = "status %d from SecKeychainSearchCreateFromAttributes\n";

}  // namespace

bool AGKeychain::checkForExistanceOfKeychainItem(const std::string& keychainItemName, const std::string& withItemKind,
                                                 const std::string& forUsername,
                                                 const std::string& withServiceItemName) {
  const auto found = secret_service::has({forUsername, keychainItemName, withItemKind, withServiceItemName});
  return succeeded(found, kSearchFailed) && *found;
}

bool AGKeychain::addKeychainItem(const std::string& keychainItemName, const std::string& withItemKind,
                                 const std::string& forUsername, const std::string& withPassword,
                                 const std::string& withServiceItemName) {
  const Attributes attributes{forUsername, keychainItemName, withItemKind, withServiceItemName};
  return succeeded(secret_service::store(attributes, withItemKind, withPassword), "Error creating new item: %d\n");
}

bool AGKeychain::modifyKeychainItem(const std::string& keychainItemName, const std::string& withItemKind,
                                    const std::string& forUsername, const std::string& withNewPassword,
                                    const std::string& withServiceItemName) {
  const Attributes attributes{forUsername, keychainItemName, withItemKind, withServiceItemName};
  return succeeded(secret_service::change(attributes, withNewPassword), "Error modifying item: %d\n");
}

bool AGKeychain::deleteKeychainItem(const std::string& keychainItemName, const std::string& withItemKind,
                                    const std::string& forUsername, const std::string& withServiceItemName) {
  const Attributes attributes{forUsername, keychainItemName, withItemKind, withServiceItemName};
  return succeeded(secret_service::remove(attributes), "Error deleting item: %d\n");
}

PropertyList::Dictionary AGKeychain::getPasswordFromKeychainItem(const std::string& keychainItemName,
                                                                 const std::string& withItemKind,
                                                                 const std::string& forUsername,
                                                                 const std::string& withServiceItemName) {
  const auto found = secret_service::find({forUsername, keychainItemName, withItemKind, withServiceItemName});
  if (!succeeded(found, kSearchFailed) || !*found) return {};
  return {{kPasswordKey, **found}};
}

}  // namespace lumisk
