#include "platform/xml_scanner.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <utility>

#include "platform/byte_text.h"

namespace lumisk {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
         c == ':' || c == '.';
}

bool isXmlCharacter(char32_t c) {
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c < 0xD800 || (c > 0xDFFF && c < 0xFFFE) || (c > 0xFFFF && c < 0x110000);
}

// A line ends in a line feed, whatever the file says (XML 1.0, 2.11).
void appendCharacters(std::string& text, std::string_view raw) {
  if (raw.find('\r') == std::string_view::npos) {
    text += raw;
    return;
  }
  for (std::size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] != '\r') {
      text += raw[i];
    } else if (i + 1 == raw.size() || raw[i + 1] != '\n') {
      text += '\n';
    }
  }
}

// What stands between "&#" and ";".
char32_t referencedCharacter(std::string_view digits) {
  const bool hexadecimal = digits.starts_with('x');
  if (hexadecimal) digits.remove_prefix(1);
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), value, hexadecimal ? 16 : 10);
  return error == std::errc() && end == digits.end() ? value : 0;
}

bool isKnownEncoding(std::string_view name) {
  const auto folded = foldedName(name);
  return folded == "utf-8" || folded == "us-ascii";
}

}  // namespace

tl::unexpected<Error> XmlScanner::failHere(std::string_view why) const {
  const auto line = 1 + std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(position_), '\n');
  return fail("read the property list", "", EINVAL, fmt::format("line {}: {}", line, why));
}

bool XmlScanner::skip(std::string_view token) {
  if (!isAt(token)) return false;
  position_ += token.size();
  return true;
}

void XmlScanner::skipBlanks() {
  position_ = std::min(text_.find_first_not_of(kBlanks, position_), text_.size());
}

Result<std::string_view> XmlScanner::takeUntil(std::string_view token) {
  const auto found = rest().find(token);
  if (found == std::string_view::npos) return failHere(fmt::format("\"{}\" is missing", token));
  const auto taken = rest().substr(0, found);
  position_ += found + token.size();
  return taken;
}

std::string_view XmlScanner::takeName() {
  const auto all = rest();
  const auto end = std::find_if_not(all.begin(), all.end(), isNameCharacter);
  const auto name = all.substr(0, static_cast<std::size_t>(end - all.begin()));
  position_ += name.size();
  return name;
}

Result<void> XmlScanner::skipCommentsAndBlanks() {
  while (true) {
    skipBlanks();
    if (skip("<!--")) {
      LUMISK_CHECK(takeUntil("-->"));
    } else if (skip("<?")) {
      LUMISK_CHECK(takeUntil("?>"));
    } else {
      return {};
    }
  }
}

Result<void> XmlScanner::prolog() {
  skip("\xEF\xBB\xBF");
  if (isAt("<?xml ")) LUMISK_CHECK(declaration());
  LUMISK_CHECK(skipCommentsAndBlanks());
  if (isAt("<!DOCTYPE")) LUMISK_CHECK(documentType());
  return {};
}

Result<void> XmlScanner::declaration() {
  LUMISK_TRY(const auto content, takeUntil("?>"));
  const auto begin = content.find("encoding");
  if (begin == std::string_view::npos) return {};
  const auto quote = content.find_first_of("\"'", begin);
  if (quote == std::string_view::npos) return failHere("the encoding is not given");
  const auto encoding = content.substr(quote + 1);
  if (!isKnownEncoding(encoding.substr(0, encoding.find(content[quote])))) return failHere("unknown encoding");
  return {};
}

Result<void> XmlScanner::documentType() {
  while (!skip(">")) {
    const auto next = rest().find_first_of("\"'[>");
    if (next == std::string_view::npos) return failHere("the document type does not end");
    position_ += next;
    if (isAt("[")) return failHere("a document type of its own");
    if (isAt(">")) continue;
    const auto quote = rest().substr(0, 1);
    skip(quote);
    LUMISK_CHECK(takeUntil(quote));
  }
  return {};
}

Result<void> XmlScanner::attributes() {
  while (true) {
    skipBlanks();
    if (isAt(">") || isAt("/>")) return {};
    if (takeName().empty()) return failHere("malformed tag");
    skipBlanks();
    if (!skip("=")) return failHere("an attribute without a value");
    skipBlanks();
    const auto quote = rest().substr(0, 1);
    if (!skip("\"") && !skip("'")) return failHere("an attribute without quotes");
    LUMISK_CHECK(takeUntil(quote));
  }
}

Result<XmlTag> XmlScanner::nextTag() {
  LUMISK_CHECK(skipCommentsAndBlanks());
  if (!skip("<")) return failHere(rest().empty() ? "the text ends too early" : "text where a tag should be");
  XmlTag tag;
  if (skip("/")) tag.kind = XmlTag::Kind::kClosing;
  tag.name = takeName();
  if (tag.name == "plist" && tag.kind == XmlTag::Kind::kOpening) LUMISK_CHECK(attributes());
  skipBlanks();
  if (tag.kind == XmlTag::Kind::kOpening && skip("/")) tag.kind = XmlTag::Kind::kEmpty;
  if (tag.name.empty() || !skip(">")) return failHere("malformed tag");
  return tag;
}

Result<void> XmlScanner::reference(std::string& into) {
  constexpr std::size_t kLongest = 32;  // keeps a lone "&" from being searched to the end of the file, again and again
  const auto found = rest().substr(0, kLongest).find(';');
  if (found == std::string_view::npos) return failHere("a reference without an end");
  const auto name = rest().substr(0, found);
  position_ += found + 1;
  static constexpr std::array<std::pair<std::string_view, char>, 5> kEntities{
      {{"&amp", '&'}, {"&lt", '<'}, {"&gt", '>'}, {"&quot", '"'}, {"&apos", '\''}}};
  for (const auto& [entity, character] : kEntities) {
    if (name == entity) return into += character, Result<void>{};
  }
  const auto character = name.starts_with("&#") ? referencedCharacter(name.substr(2)) : U'\0';
  if (!isXmlCharacter(character)) return failHere("an unknown reference");
  appendUtf8(into, character);
  return {};
}

Result<std::string> XmlScanner::text() {
  std::string result;
  while (true) {
    const auto all = rest();
    const auto* const mark = std::find_if(all.begin(), all.end(), [](char c) { return c == '<' || c == '&'; });
    const auto plain = all.substr(0, static_cast<std::size_t>(mark - all.begin()));
    appendCharacters(result, plain);
    position_ += plain.size();
    if (isAt("&")) {
      LUMISK_CHECK(reference(result));
    } else if (skip("<![CDATA[")) {
      LUMISK_TRY(const auto raw, takeUntil("]]>"));
      appendCharacters(result, raw);
    } else {
      return result;
    }
  }
}

Result<void> XmlScanner::end() {
  LUMISK_CHECK(skipCommentsAndBlanks());
  if (!rest().empty()) return failHere("something follows the end");
  return {};
}

}  // namespace lumisk
