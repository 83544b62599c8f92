#include "platform/home_folder.h"

#include <cstdlib>
#include <set>

namespace lumisk {
namespace {

class HomeFolder : public ::testing::Test {
 protected:
  HomeFolder() : ours_(value("LUMISK_HOME")), usual_(value("HOME")) {}
  ~HomeFolder() override {
    set("LUMISK_HOME", ours_);
    set("HOME", usual_);
  }
  static std::string value(const char* name) {
    const char* text = std::getenv(name);
    return text ? text : "";
  }
  static void set(const char* name, const std::string& text) {
    text.empty() ? ::unsetenv(name) : ::setenv(name, text.c_str(), 1);
  }

 private:
  std::string ours_;
  std::string usual_;
};

TEST_F(HomeFolder, Variables_AreTakenInOrder) {
  set("HOME", "/home/anna/");
  set("LUMISK_HOME", "");
  EXPECT_EQ(homeFolder(), "/home/anna");
  set("LUMISK_HOME", "/srv/own//");
  EXPECT_EQ(homeFolder(), "/srv/own");
  set("LUMISK_HOME", "/");
  EXPECT_EQ(homeFolder(), "/");
}

TEST_F(HomeFolder, NoVariables_GivesTheAccountsFolder) {
  set("LUMISK_HOME", "");
  set("HOME", "");
  EXPECT_TRUE(homeFolder().starts_with('/'));
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
