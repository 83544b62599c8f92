#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace lumisk::test {

// What a tree is made of, and what it is compared with. Times are seconds (and nanoseconds) since 1970; what is left
// out is neither set nor compared.
struct File {
  std::string text;
  std::optional<std::uint32_t> mode{};
  std::optional<std::int64_t> modified{};
  std::int64_t nanoseconds = 0;
  std::map<std::string, std::string> attributes{};  // must all be there; others are not looked at
};
struct Link {
  std::string text;
};
struct Fifo {};
struct Dir;
using Node = std::variant<File, Link, Fifo, Dir>;
struct Dir {
  std::vector<std::pair<std::string, Node>> entries;
  std::optional<std::uint32_t> mode{};
  std::optional<std::int64_t> modified{};
  Dir() = default;
  Dir(std::initializer_list<std::pair<std::string, Node>> list) : entries(list) {}
};

// A folder below the system's temporary folder (or $LUMISK_TEST_DIR) that is removed with all it holds.
//   TempTree tree{{"a.txt", File{"text", 0644, 1000}}, {"d", Dir{{"l", Link{"../a.txt"}}}}};
class TempTree {
 public:
  TempTree() : TempTree(std::initializer_list<std::pair<std::string, Node>>{}) {}
  TempTree(std::initializer_list<std::pair<std::string, Node>> entries);
  ~TempTree();
  TempTree(const TempTree&) = delete;
  TempTree& operator=(const TempTree&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Makes the entries below an existing folder; what stands there is replaced.
void makeTree(const std::string& folder, const std::vector<std::pair<std::string, Node>>& entries);
[[nodiscard]] std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& text);
[[nodiscard]] bool exists(const std::string& path);                       // links are not followed
[[nodiscard]] std::vector<std::string> listing(const std::string& path);  // sorted names
[[nodiscard]] std::vector<std::string> treeListing(
    const std::string& path);  // sorted relative paths, folders end in "/"
// What files hold and links say, in a folder and all that it holds, or in the one entry that the path names.
[[nodiscard]] std::set<std::string> textsBelow(const std::string& path);
void setModified(const std::string& path, std::int64_t seconds, std::int64_t nanoseconds = 0);

// Until the clock of the folder's file system has moved on, so that what comes next is later than what was. Leaves
// "tick".
void waitForTick(const std::string& folder);

// Nothing more and nothing less than `expected` below the folder: types, bytes, link texts, and what modes, times and
// attributes are given.
::testing::AssertionResult expectTreeExactly(const std::string& folder, const Dir& expected);
// Both folders hold the same: types, bytes, link texts, modes, modification times in nanoseconds, attributes.
::testing::AssertionResult expectSameTrees(const std::string& a, const std::string& b);

}  // namespace lumisk::test

#define ExpectTreeExactly(folder, ...) EXPECT_TRUE(::lumisk::test::expectTreeExactly(folder, __VA_ARGS__))
#define ExpectSameTrees(a, b) EXPECT_TRUE(::lumisk::test::expectSameTrees(a, b))
