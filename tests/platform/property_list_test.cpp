#include "platform/property_list.h"

#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "support/temp_tree.h"

namespace lumisk {
namespace {

using test::TempTree;
using Kind = PropertyList::Kind;

std::string inDocument(const std::string& value) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + value + "\n</plist>\n";
}

PropertyList fromXml(const std::string& value) {
  const auto list = parsePropertyList(inDocument(value));
  EXPECT_TRUE(list) << value << ": " << (list ? "" : list.error().text());
  return list ? *list : PropertyList();
}

// The error's detail; empty when it was read after all.
std::string whyNot(const std::string& bytes) {
  const auto list = parsePropertyList(bytes);
  if (list) return "";
  EXPECT_EQ(list.error().code, EINVAL);
  return list.error().detail;
}

// Bytes that make trouble are as likely as plain ones.
rc::Gen<std::string> anyBytes() {
  const auto piece = rc::gen::element<std::string>("a", "B", " ", "<", "&", ">", "]]>", "\"", "\n", "\t", "\r", "\x01",
                                                   "\x7F", "\xFF", "\xC3\xA4", "\xC3", "\xE2\x82\xAC", "\xEF\xBF\xBF",
                                                   "\xF0\x9F\x98\x80", std::string(1, '\0'));
  return rc::gen::map(rc::gen::container<std::vector<std::string>>(piece), [](const std::vector<std::string>& pieces) {
    std::string all;
    for (const auto& each : pieces) all += each;
    return all;
  });
}

rc::Gen<PropertyList> anyScalar() {
  return rc::gen::oneOf(
      rc::gen::map(rc::gen::arbitrary<bool>(), [](bool v) { return PropertyList(v); }),
      rc::gen::map(rc::gen::arbitrary<std::int64_t>(), [](std::int64_t v) { return PropertyList(v); }),
      rc::gen::map(rc::gen::arbitrary<std::uint64_t>(), [](std::uint64_t v) { return PropertyList(v << 32 | v); }),
      rc::gen::map(rc::gen::arbitrary<double>(), [](double v) { return PropertyList(v); }),
      rc::gen::map(anyBytes(), [](const std::string& v) { return PropertyList(v); }),
      rc::gen::map(anyBytes(), [](const std::string& v) { return PropertyList(PropertyList::Data{v}); }),
      rc::gen::map(rc::gen::inRange<std::int64_t>(-9'000'000'000, 9'000'000'000),
                   [](std::int64_t v) { return PropertyList(PropertyList::Date{WallTime(std::chrono::seconds(v))}); }));
}

rc::Gen<PropertyList> anyList(int depth = 0) {
  if (depth == 3) return anyScalar();
  const auto key = rc::gen::element<std::string>("", "a", "NSObjectName", "<&>", " \n", "\xC3\xA4");
  const auto element = rc::gen::resize(5, rc::gen::lazy([depth] { return anyList(depth + 1); }));
  return rc::gen::oneOf(
      anyScalar(),
      rc::gen::map(rc::gen::container<PropertyList::Array>(element), [](auto v) { return PropertyList(std::move(v)); }),
      rc::gen::map(rc::gen::container<PropertyList::Dictionary>(key, element),
                   [](auto v) { return PropertyList(std::move(v)); }));
}

RC_GTEST_PROP(PropertyList, AnyValue_SurvivesXml, ()) {
  const auto list = *anyList();
  const auto xml = propertyListToXml(list);
  RC_ASSERT(xml.has_value());
  const auto again = parsePropertyList(*xml);
  RC_ASSERT(again.has_value());
  RC_ASSERT(*again == list);
}

// Another program's reader takes what we write, and what it writes, in both forms, reads back as the same.
TEST(PropertyList, PythonsReader_AgreesInBothDirections) {
  if (std::system("python3 -c 'import plistlib' 2>/dev/null") != 0) GTEST_SKIP() << "needs python3";
  const TempTree tree;
  std::vector<PropertyList> lists;
  rc::check([&] {
    lists.push_back(*anyList());
    test::writeFile(tree / std::to_string(lists.size() - 1), propertyListToXml(lists.back()).value());
  });
  lists.emplace_back(PropertyList::Array{std::numeric_limits<double>::infinity(), -1e-300, 0.1, "\xF0\x9F\x98\x80",
                                         std::string(70000, 'x'), PropertyList::Array(300, PropertyList(7))});
  test::writeFile(tree / std::to_string(lists.size() - 1), propertyListToXml(lists.back()).value());
  test::writeFile(tree / "convert.py",
                  "import plistlib, sys, glob\n"
                  "for name in glob.glob(sys.argv[1] + '/[0-9]*'):\n"
                  "  value = plistlib.load(open(name, 'rb'), fmt=plistlib.FMT_XML)\n"
                  "  plistlib.dump(value, open(name + '.xml', 'wb'))\n"
                  "  plistlib.dump(value, open(name + '.bin', 'wb'), fmt=plistlib.FMT_BINARY)\n");
  ASSERT_EQ(std::system(("python3 '" + tree / "convert.py" + "' '" + tree.path() + "'").c_str()), 0);
  for (std::size_t i = 0; i < lists.size(); ++i) {
    for (const char* form : {".xml", ".bin"}) {
      const auto again = readPropertyListFile(tree / std::to_string(i) + form);
      ASSERT_TRUE(again) << again.error().text();
      EXPECT_EQ(*again == lists[i], true) << form << ": " << propertyListToXml(lists[i]).value();
    }
  }
}

TEST(PropertyList, FormsThatOtherProgramsWrite_AreRead) {
  EXPECT_EQ(parsePropertyList(
                "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?><!-- a --><!DOCTYPE plist SYSTEM \"x>y\">\r\n"
                "<plist version='1.0'><?pi?><string>a\r\nb\rc</string><!-- b --></plist>\n<!-- c -->"),
            PropertyList("a\nb\nc"));
  EXPECT_EQ(fromXml("<string>&lt;&#65;&#x1F600;<![CDATA[<&]]>&apos; </string>"), "<A\xF0\x9F\x98\x80<&' ");
  EXPECT_EQ(fromXml("<string>a&#13;</string>"), PropertyList(PropertyList::Data{"a\r"}));
  EXPECT_EQ(fromXml("<array><string/><true></true><data/><dict/><array/></array>"),
            PropertyList(PropertyList::Array{"", true, PropertyList::Data{}, PropertyList::Dictionary{},
                                             PropertyList::Array{}}));
  EXPECT_EQ(fromXml("<integer> -0x10\n</integer>"), -16);
  EXPECT_EQ(fromXml("<integer>-9223372036854775808</integer>"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(fromXml("<integer>9223372036854775808</integer>").kind(), Kind::kUnsigned);
  EXPECT_EQ(fromXml("<real>+Infinity</real>"), std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(fromXml("<real>nan</real>").real()));
  EXPECT_EQ(fromXml("<date>2009-03-03T13:30:05Z</date>").date(), WallTime(std::chrono::seconds(1236087005)));
  EXPECT_GT(fromXml("<date>4001-01-01T00:00:00Z</date>").date(), WallTime(std::chrono::seconds(9'000'000'000)));
  EXPECT_EQ(fromXml("<data>\n\tAP/+\n\tYQ==\n</data>").text(), std::string("\0\xFF\xFE"
                                                                           "a",
                                                                           4));
}

TEST(PropertyList, ValuesThatAreNotQuiteOne_AreErrors) {
  // clang-format off
  for (const char* value : {
           "<integer>12x</integer>", "<integer></integer>", "<integer>18446744073709551616</integer>",
           "<integer>1 2</integer>", "<integer>-9223372036854775809</integer>", "<integer>--1</integer>",
           "<integer>+-1</integer>", "<integer/>", "<real>1.5e</real>", "<real>1e999</real>", "<real>+-1</real>",
           "<real/>", "<date>2009-02-30T00:00:00Z</date>", "<date>2009-02-03 00:00:00 +0000</date>", "<date/>",
           "<data>YQ=</data>", "<data>YQ==YQ==</data>", "<data>Y</data>", "<data>YR==</data>", "<data>Y-==</data>",
           "<true>1</true>", "<null/>", "", "text", "<string>", "<string>a", "<string>a</key>",
           "<string>a<b/></string>", "<string x=\"1\">a</string>", "<string>&#1;</string>", "<string>&nbsp;</string>",
           "<string>&amp</string>", "<string>&#xD800;</string>", "<string>&#x110000;</string>", "<string>&#;</string>",
           "<string>\x01</string>", "<string>\xFF</string>", "<array><true/>", "<array></dict>",
           "<dict><true/></dict>", "<dict><key>a</key></dict>", "<dict><key>a</key><key>b</key></dict>",
           "<dict><key>a</key><true/><key>a</key><true/></dict>", "<dict><key>&#13;</key><true/></dict>",
           "<true/><true/>", "</plist><plist>", "< true/>", "<true/", "<!-- <true/>", "<true/>\xEF\xBF\xBF"
       })
    // clang-format on
    EXPECT_NE(whyNot(inDocument(value)), "") << value;
}

TEST(PropertyList, DocumentsThatAreNotQuiteOne_AreErrors) {
  const std::string good = inDocument("<true/>");
  ASSERT_EQ(whyNot(good), "");
  for (const std::string& bytes : {std::string(), good + "x", good + std::string(1, '\0'), good + good,
                                   std::string("<true/>"), std::string("<plist/>"), "x" + good,
                                   std::string("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><plist><true/></plist>"),
                                   std::string("<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><true/></plist>"),
                                   std::string("<plist a><true/></plist>"), std::string("<plist a=\"b><true/></plist>"),
                                   std::string("bplist00"), std::string("<?xml "), std::string("<!DOCTYPE")}) {
    EXPECT_NE(whyNot(bytes), "") << bytes;
  }
  for (std::size_t size = 0; size + 1 < good.size(); ++size) EXPECT_NE(whyNot(good.substr(0, size)), "") << size;
}

TEST(PropertyList, NestingTooDeep_IsRefusedBothWays) {
  PropertyList list(PropertyList::Array{});
  for (int i = 1; i < 200; ++i) list = PropertyList::Array{std::move(list)};
  const auto xml = propertyListToXml(list);
  ASSERT_TRUE(xml);
  EXPECT_EQ(parsePropertyList(*xml), list);
  EXPECT_FALSE(propertyListToXml(PropertyList::Array{list}));
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<array>";
  EXPECT_THAT(whyNot(inDocument(deep)), ::testing::HasSubstr("deep"));
}

// One object of a binary list, numbered by its place; the table and the trailer are made around them.
std::string binaryList(const std::vector<std::string>& objects) {
  std::string bytes = "bplist00", table;
  for (const auto& object : objects) {
    table += static_cast<char>(bytes.size());
    bytes += object;
  }
  const auto number = [](std::size_t value) { return std::string(7, '\0') + static_cast<char>(value); };
  const auto begin = bytes.size();
  return bytes + table + std::string(6, '\0') + "\x01\x01" + number(objects.size()) + number(0) + number(begin);
}

TEST(PropertyListBinary, OddObjects_AreReadOrRefusedExactly) {
  const auto read = [](const std::string& object) {
    const auto list = parsePropertyList(binaryList({object}));
    return list ? *list : PropertyList();
  };
  using std::string_literals::operator""s;
  EXPECT_EQ(read("\x10\xFF"), 255);
  EXPECT_EQ(read("\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE"), -2);
  EXPECT_EQ(read("\x14\0\0\0\0\0\0\0\0\xFF\0\0\0\0\0\0\0"s).unsignedInteger(), 0xFF00000000000000U);
  EXPECT_TRUE(read("\x14\0\0\0\0\0\0\0\1\xFF\0\0\0\0\0\0\0"s).isNone());
  EXPECT_EQ(read("\x22\x3F\xC0\0\0"s), 1.5);
  EXPECT_EQ(read("\x33\0\0\0\0\0\0\0\0"s).date(), WallTime(std::chrono::seconds(978307200)));
  EXPECT_TRUE(read("\x33\x7F\xF8\0\0\0\0\0\0"s).isNone());
  EXPECT_EQ(read("\x63\0a\xD8\x3D\xDE\0"s), "a\xF0\x9F\x98\x80");
  EXPECT_TRUE(read("\x62\0a\xD8\x3D"s).isNone());
  EXPECT_TRUE(read("\x51\xE4").isNone());
  EXPECT_EQ(read("\x51\1"), PropertyList(PropertyList::Data{"\1"}));
  EXPECT_TRUE(read("\x5F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF").isNone());
  EXPECT_TRUE(read("\xA1\1"s).isNone());
  EXPECT_TRUE(read("\xA1\0"s).isNone());  // holds itself
  EXPECT_TRUE(read("\0"s).isNone());
  EXPECT_TRUE(read("\x80\1"s).isNone());
  EXPECT_EQ(whyNot(binaryList({"\xD1\1\2", "\x51k", "\x09"})), "");
  EXPECT_NE(whyNot(binaryList({"\xD2\1\1\2\2", "\x51k", "\x09"})), "");
  EXPECT_NE(whyNot(binaryList({"\xD1\2\2", "\x51k", "\x09"})), "");
  EXPECT_NE(whyNot(binaryList({"\x09"}) + "\n"), "");
  EXPECT_NE(whyNot(binaryList({"\x09"}).insert(9, "x")), "");
}

TEST(PropertyListBinary, FewObjectsThatStandForBillions_AreRefused) {
  std::vector<std::string> objects;
  for (char next = 1; next <= 9; ++next) objects.push_back("\xAE" + std::string(14, next));
  objects.emplace_back("\x09");
  EXPECT_THAT(whyNot(binaryList(objects)), ::testing::HasSubstr("more than its size"));
}

TEST(PropertyListReads, OtherKinds_GiveNothingAndNumbersSaturate) {
  EXPECT_EQ(PropertyList("5").integer(), 0);
  EXPECT_EQ(PropertyList(5).text(), "");
  EXPECT_TRUE(PropertyList(0.5).boolean());
  EXPECT_EQ(PropertyList(0.5).integer(), 0);
  EXPECT_EQ(PropertyList(true).integer32(), 1);
  EXPECT_EQ(PropertyList(std::uint64_t{7}), PropertyList(7));
  EXPECT_EQ(PropertyList(~std::uint64_t{0}).integer(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(PropertyList(std::int64_t{1} << 40).integer32(), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(PropertyList(-1e300).integer(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(PropertyList(std::nan("")).integer(), 0);
  EXPECT_TRUE(PropertyList(5)["a"]["b"].at(3).isNone());
  PropertyList list(5);
  list.mutableDictionary()["a"].mutableArray().emplace_back("x");
  EXPECT_EQ(list["a"].at(0).text(), "x");
}

TEST(PropertyListWriting, DatesFarAway_BecomeTheNearestThatCanBeHeld) {
  for (const char* date : {"<date>0001-01-01T00:00:00Z</date>", "<date>4001-01-01T00:00:00Z</date>"}) {
    const auto nearest = fromXml(date);
    EXPECT_EQ(parsePropertyList(propertyListToXml(nearest).value()), nearest);
  }
}

TEST(PropertyListWriting, WhatCannotBeStored_IsRefusedOrLeftOut) {
  EXPECT_FALSE(propertyListToXml(PropertyList()));
  EXPECT_FALSE(propertyListToXml(PropertyList::Array{PropertyList()}));
  EXPECT_FALSE(propertyListToXml(PropertyList::Dictionary{{"\xFF", true}}));
  const auto xml = propertyListToXml(PropertyList::Dictionary{{"a", PropertyList()}, {"b", true}});
  EXPECT_EQ(parsePropertyList(xml.value()), PropertyList(PropertyList::Dictionary{{"b", true}}));
}

TEST(PropertyListFile, ReadingFailures_AreToldApart) {
  const TempTree tree{{"bad", test::File{"<plist>"}}, {"folder", test::Dir{}}, {"fifo", test::Fifo{}}};
  EXPECT_EQ(readPropertyListFile(tree / "none").error().code, ENOENT);
  const auto bad = readPropertyListFile(tree / "bad").error();
  EXPECT_EQ(bad.code, EINVAL);
  EXPECT_NE(bad.detail, "");
  EXPECT_EQ(bad.path, tree / "bad");
  EXPECT_EQ(readPropertyListFile(tree / "folder").error().code, EISDIR);
  EXPECT_EQ(readPropertyListFile(tree / "fifo").error().code, ENOTSUP);
}

TEST(PropertyListFile, Writing_KeepsLinksAndPermissionsAndLeavesNothingBeside) {
  const TempTree tree{{"a", test::File{"old", 0640}},
                      {"d", test::Dir{{"l", test::Link{"../a"}}, {"new", test::Link{"x"}}}}};
  ASSERT_TRUE(writePropertyListFile(tree / "d/l", "text"));
  ASSERT_TRUE(writePropertyListFile(tree / "d/new", 5));
  const auto text = propertyListToXml("text").value(), five = propertyListToXml(5).value();
  ExpectTreeExactly(
      tree.path(),
      test::Dir{{"a", test::File{text, 0640}},
                {"d", test::Dir{{"l", test::Link{"../a"}}, {"new", test::Link{"x"}}, {"x", test::File{five}}}}});
}

TEST(PropertyListFile, WritingFailures_LeaveWhatWasThere) {
  const TempTree tree{{"a", test::File{"old"}}, {"d", test::Dir{}}, {"l", test::Link{"l"}}};
  EXPECT_EQ(writePropertyListFile(tree / "a", PropertyList()).error().code, EINVAL);
  EXPECT_EQ(writePropertyListFile(tree / "d", 5).error().code, EISDIR);
  EXPECT_EQ(writePropertyListFile(tree / "l", 5).error().code, ELOOP);
  EXPECT_EQ(writePropertyListFile(tree / "none/a", 5).error().code, ENOENT);
  ExpectTreeExactly(tree.path(), test::Dir{{"a", test::File{"old"}}, {"d", test::Dir{}}, {"l", test::Link{"l"}}});
}

}  // namespace
}  // namespace lumisk
