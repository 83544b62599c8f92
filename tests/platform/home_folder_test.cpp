#include "platform/home_folder.h"

#include <set>

#include "support/home_fixture.h"

namespace lumisk {
namespace {

using test::ScopedVariable;

TEST(HomeFolder, Variables_AreTakenInOrder) {
  const ScopedVariable usual("HOME", "/home/anna/");
  const auto with = [](const char* ours) { return ScopedVariable("LUMISK_HOME", ours), homeFolder(); };
  EXPECT_EQ(with(""), "/home/anna");
  EXPECT_EQ(with("/srv/own//"), "/srv/own");
  EXPECT_EQ(with("/"), "/");
  const ScopedVariable none("HOME", "");
  EXPECT_TRUE(with("").starts_with('/')) << "the account's";
  EXPECT_NE(userName(), "");
}

TEST(GenerateUuid, ManyOfThem_HaveTheFormAndDiffer) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const auto uuid = generateUUID();
    EXPECT_THAT(uuid, ::testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    EXPECT_TRUE(seen.insert(uuid).second);
  }
}

}  // namespace
}  // namespace lumisk
