#include <rapidcheck.h>

#include "engine/old_copies.h"
#include "engine/revision_numbering.h"
#include "engine/tagged_name.h"
#include "platform/byte_text.h"

namespace lumisk::test {
namespace {

TEST(TaggedName, Extension_StaysBehindTheTag) {
  EXPECT_EQ(revisionName("a.txt", 3), "a(Qel Lumisk 3).txt");
  EXPECT_EQ(revisionName("README", 1), "README(Qel Lumisk 1)");
  EXPECT_EQ(revisionName(".profile", 1), ".profile(Qel Lumisk 1)");
  EXPECT_EQ(revisionName("a.", 1), "a.(Qel Lumisk 1)");
  EXPECT_EQ(revisionName("a.tar.gz", 12), "a.tar(Qel Lumisk 12).gz");
  EXPECT_EQ(stringByAppendOLDTag("/x/report.pdf"), "/x/report(OLD).pdf");
  EXPECT_EQ(stringByAppendOLDTag("/x.d/Makefile"), "/x.d/Makefile(OLD)");
}

TEST(TaggedName, NameWithoutRoom_GetsAShorterBaseCutBetweenCharacters) {
  const std::string fits(237, 'a');
  EXPECT_EQ(revisionName(fits + ".txt", 1), fits + "(Qel Lumisk 1).txt");
  std::string wide;
  while (wide.size() < 251) wide += "\xE2\x82\xAC";  // the euro sign, three bytes
  for (int shift = 0; shift < 3; ++shift) {
    const std::string name =
        revisionName(std::string(static_cast<std::size_t>(shift), 'x') + wide.substr(6) + ".pdf", 7);
    EXPECT_LE(name.size(), 255u);
    EXPECT_TRUE(isValidUtf8(name)) << name;
    EXPECT_TRUE(name.ends_with("(Qel Lumisk 7).pdf")) << name;
  }
  EXPECT_LE(revisionName("a." + std::string(253, 'e'), 2147483647).size(), 255u);
  EXPECT_LE(revisionName(std::string(255, '\xBF'), 1).size(), 255u);
}

TEST(TaggedName, TwoNames_NeverShareARevision) {
  EXPECT_TRUE(rc::check([] {
    const auto byte = rc::gen::elementOf(std::string("ab.(~\xE2\x82\xAC"));
    const auto tail = rc::gen::container<std::string>(byte);
    const std::string front(*rc::gen::elementOf(std::vector<std::size_t>{1, 200, 236, 250}), 'n');
    const std::string a = (front + *tail).substr(0, 255);
    const std::string b = (front + *tail).substr(0, 255);
    const int number = *rc::gen::inRange(1, 1000);
    RC_ASSERT(taggedName(a, "(OLD)").size() <= 255u);
    RC_ASSERT((a == b) == (revisionName(a, number) == revisionName(b, number)));
  }));
}

TEST(RevisionNumbering, FreeNumber_IsTheFirstGap) {
  EXPECT_EQ(firstFreeNumber({}, "a.txt"), 1);
  EXPECT_EQ(firstFreeNumber({"a(Qel Lumisk 1).txt", "a(Qel Lumisk 3).txt"}, "a.txt"), 2);
  EXPECT_EQ(firstFreeNumber({"a(Qel Lumisk 1).txt", "a(Qel Lumisk 01).txt"}, "a"), 1);
}

TEST(RevisionNumbering, GapBelowTheLimit_IsAnInterruptionOnlyWithOneBeyondIt) {
  const auto named = [](std::initializer_list<int> numbers) {
    ListedNames names;
    for (const int number : numbers) names.insert(revisionName("a", number));
    return names;
  };
  EXPECT_EQ(interruptedNumber(named({2, 3, 4}), "a", 3), 1);
  EXPECT_EQ(interruptedNumber(named({1, 2, 4}), "a", 3), 3);
  EXPECT_EQ(interruptedNumber(named({1, 3}), "a", 3), 0);
  EXPECT_EQ(interruptedNumber(named({1, 2, 3, 4}), "a", 3), 0);
}

TEST(RevisionFolders, PlaceOfAFile_IsRebuiltBelowTheFirstTarget) {
  const PlaceNames names{"desk", "Root"};
  using Folders = std::vector<std::string>;
  EXPECT_EQ(revisionFolders("/t/a/b/f.txt", "/t", names), (Folders{"Revision", "a", "b"}));
  EXPECT_EQ(revisionFolders("/t/f.txt", "/t/", names), Folders{"Revision"});
  EXPECT_EQ(revisionFolders("/target/f.txt", "/t", names), (Folders{"Revision", "desk", "Volumes", "Root", "target"}));
}

}  // namespace
}  // namespace lumisk::test
