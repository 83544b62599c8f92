#include "platform/byte_text.h"
#include "platform/result.h"

#include <cerrno>

namespace lumisk {
namespace {

TEST(ErrorText, CodeAndDetail_AreBothSaid) {
  EXPECT_EQ((Error{"open", "/a/b", EACCES, ""}).text(), "open /a/b: Permission denied");
  EXPECT_EQ((Error{"parse", "", 0, "junk"}).text(), "parse: junk");
  EXPECT_EQ((Error{"read", "/a\nb", EINVAL, "line 3"}).text(), "read /a\\x0Ab: Invalid argument (line 3)");
}

TEST(IsValidUtf8, EdgesOfTheEncoding_AreTold) {
  for (const char* good : {"", "plain", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
                           "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(isValidUtf8(good)) << displayText(good);
    EXPECT_TRUE(isValidUtf8(std::string("a long plain begin") + good + "and end")) << displayText(good);
  }
  for (const char* bad : {"\x80", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xE2\x82", "\xED\xA0\x80",
                          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "a\xE2\x82\xACz\xA0"}) {
    EXPECT_FALSE(isValidUtf8(bad)) << displayText(bad);
    EXPECT_FALSE(isValidUtf8(std::string("a long plain begin") + bad + "and end")) << displayText(bad);
  }
}

TEST(DisplayText, ControlsAndStrayBytes_AreEscaped) {
  EXPECT_EQ(displayText("gr\xC3\xBC\xC3\x9F\\"), "gr\xC3\xBC\xC3\x9F\\");
  EXPECT_EQ(displayText("a\n\x7F\xFF\xC2\x85\xE2\x82"), "a\\x0A\\x7F\\xFF\\xC2\\x85\\xE2\\x82");
  EXPECT_EQ(displayText(std::string_view("\0", 1)), "\\x00");
}

TEST(FoldedName, SpellingsOfOneName_AreEqual) {
  EXPECT_EQ(foldedName("README"), foldedName("ReadMe"));
  EXPECT_EQ(foldedName("\xC3\x84rger"), foldedName("a\xCC\x88RGER"));  // composed and decomposed
  EXPECT_NE(foldedName("a"), foldedName("\xC3\xA4"));
  EXPECT_EQ(foldedName("A\xFF"), foldedName("a\xFF"));
  EXPECT_NE(foldedName("\xFE"), foldedName("\xFF"));
}

}  // namespace
}  // namespace lumisk
