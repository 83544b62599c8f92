#pragma once

#include <string>
#include <string_view>

#include "platform/result.h"

namespace lumisk {

struct XmlTag {
  enum class Kind { kOpening, kClosing, kEmpty };  // <a>, </a>, <a/>
  Kind kind = Kind::kOpening;
  std::string_view name;
};

// Takes one XML document apart, tag by tag, as far as property lists need it: UTF-8, no document type of its own, no
// entities but the five of XML itself and character references, attributes on the root only. Whatever else it meets is
// an error with its line. Views point into the text, which must outlive the scanner.
class XmlScanner {
 public:
  explicit XmlScanner(std::string_view text) : text_(text) {}

  Result<void> prolog();       // byte order mark, declaration, document type; first of all
  Result<XmlTag> nextTag();    // past white space, comments and processing instructions; other text is an error
  Result<std::string> text();  // the characters up to the next tag, with references and CDATA resolved
  Result<void> end();          // nothing may follow but white space, comments and processing instructions
  [[nodiscard]] tl::unexpected<Error> failHere(std::string_view why) const;

 private:
  [[nodiscard]] std::string_view rest() const { return text_.substr(position_); }
  [[nodiscard]] bool isAt(std::string_view token) const { return rest().starts_with(token); }
  bool skip(std::string_view token);
  void skipBlanks();
  Result<std::string_view> takeUntil(std::string_view token);  // and goes behind it
  std::string_view takeName();
  Result<void> skipCommentsAndBlanks();
  Result<void> declaration();
  Result<void> documentType();
  Result<void> attributes();
  Result<void> reference(std::string& into);

  std::string_view text_;
  std::size_t position_ = 0;
};

}  // namespace lumisk
