#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace lumisk {

// The terminal that the program may have been started on.
namespace terminal {

enum class Stream { kInput = 0, kOutput = 1, kError = 2 };
[[nodiscard]] bool isTerminal(Stream stream);
[[nodiscard]] int columns(Stream stream);  // 80 where the terminal does not say

// How many columns a UTF-8 text takes, and as much of its start as fits into so many; wide letters take two. Bytes that
// are not UTF-8 take one each.
[[nodiscard]] int columnsOf(std::string_view text);
[[nodiscard]] std::string cutToColumns(std::string_view text, int limit);

// Waits for a line on a descriptor (standard input is 0) and gives it without its newline. Nothing at the input's end,
// or soon after `mustStop` began to say so.
std::optional<std::string> readLine(int descriptor, const std::function<bool()>& mustStop);

// A line that is typed unseen; nothing at the input's end. What is no terminal is read as it is.
std::optional<std::string> readHiddenLine(int descriptor);

}  // namespace terminal
}  // namespace lumisk
