#include "ui/text.h"

#include <QFile>

namespace lumisk {

QString shownText(const std::string& bytes) {
  std::string text;
  std::size_t begin = 0;
  for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
    end = bytes.find('\n', begin);
    if (begin > 0) text += '\n';
    text += displayText(std::string_view(bytes).substr(begin, end == std::string::npos ? end : end - begin));
  }
  return QString::fromStdString(text);
}

std::string pathBytes(const QString& path) {
  return QFile::encodeName(path).toStdString();
}

}  // namespace lumisk
