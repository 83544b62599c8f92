#pragma once

#include <QString>
#include <string>

#include "platform/byte_text.h"
#include "platform/translation.h"

namespace lumisk {

// Paths, names and our own texts, for showing; what cannot be shown is escaped. Never for opening a file: use the bytes
// that the presenter has. Lines stay lines.
[[nodiscard]] QString shownText(const std::string& bytes);
// What a person typed, as we keep it.
[[nodiscard]] inline std::string typedText(const QString& text) {
  return text.toStdString();
}
// File names as Qt's dialogs and drops give them, as the system's bytes.
[[nodiscard]] std::string pathBytes(const QString& path);

// A fixed text in the user's language. scripts/update_translations knows these names, too.
[[nodiscard]] inline QString tr_(const char* english) {
  return QString::fromStdString(translated(english));
}
[[nodiscard]] inline QString trCount_(const char* one, const char* many, unsigned long count) {
  return QString::fromStdString(translatedCount(one, many, count));
}

}  // namespace lumisk
