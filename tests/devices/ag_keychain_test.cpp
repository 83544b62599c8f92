#include "devices/ag_keychain.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace lumisk {
namespace {

constexpr const char* kItem = kImagePasswordItem;

PropertyList passwordOf(const std::string& kind, const std::string& path) {
  const auto found = AGKeychain::getPasswordFromKeychainItem(kItem, kind, "anna", path);
  const auto password = found.find(kPasswordKey);
  return password == found.end() ? PropertyList() : password->second;
}

// Needs a secret service of its own, with an unlocked collection; tests/system/keychain_test.sh starts one.
class AGKeychainInASession : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("LUMISK_TEST_SECRET_SERVICE")) GTEST_SKIP() << "no secret service to test with";
  }
};

TEST_F(AGKeychainInASession, Items_AreToldApartByAllTheirAttributes) {
  const std::string odd = "/a b/\xff'\"$(x)\n.sparseimage";
  const std::string password = "p w'\"$`\n\xC3\xBC" + std::string(500, 'x');
  EXPECT_FALSE(AGKeychain::checkForExistanceOfKeychainItem(kItem, "one", "anna", odd));
  ASSERT_TRUE(AGKeychain::addKeychainItem(kItem, "one", "anna", password, odd));
  ASSERT_TRUE(AGKeychain::addKeychainItem(kItem, "one", "anna", "second", "/other/one.sparseimage"));
  EXPECT_TRUE(AGKeychain::checkForExistanceOfKeychainItem(kItem, "one", "anna", odd));
  EXPECT_FALSE(AGKeychain::checkForExistanceOfKeychainItem(kItem, "one", "otto", odd));
  EXPECT_EQ(passwordOf("one", odd), PropertyList(password));
  EXPECT_EQ(passwordOf("one", "/other/one.sparseimage"), PropertyList("second"));
  EXPECT_TRUE(passwordOf("two", odd).isNone());

  EXPECT_TRUE(AGKeychain::modifyKeychainItem(kItem, "one", "anna", "changed", odd));
  EXPECT_EQ(passwordOf("one", odd), PropertyList("changed"));
  EXPECT_EQ(passwordOf("one", "/other/one.sparseimage"), PropertyList("second"));

  EXPECT_TRUE(AGKeychain::deleteKeychainItem(kItem, "one", "anna", odd));
  EXPECT_TRUE(passwordOf("one", odd).isNone());
  EXPECT_EQ(passwordOf("one", "/other/one.sparseimage"), PropertyList("second"));
  EXPECT_TRUE(AGKeychain::deleteKeychainItem(kItem, "one", "anna"));
  EXPECT_FALSE(AGKeychain::deleteKeychainItem(kItem, "one", "anna"));
}

TEST(AGKeychain, WithoutAService_EveryCallFailsSoftly) {
  if (std::getenv("LUMISK_TEST_SECRET_SERVICE")) GTEST_SKIP() << "there is a service";
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
  EXPECT_FALSE(AGKeychain::checkForExistanceOfKeychainItem(kItem, "one", "anna", "/x"));
  EXPECT_FALSE(AGKeychain::addKeychainItem(kItem, "one", "anna", "secret", "/x"));
  EXPECT_FALSE(AGKeychain::modifyKeychainItem(kItem, "one", "anna", "secret"));
  EXPECT_FALSE(AGKeychain::deleteKeychainItem(kItem, "one", "anna"));
  EXPECT_TRUE(passwordOf("one", "/x").isNone());
}

}  // namespace
}  // namespace lumisk
