#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumisk {

// Paths are bytes, split at "/" and nowhere else. These are pure functions of text; nothing looks at the disk.
namespace paths {

[[nodiscard]] std::string lastComponent(std::string_view path);  // "" of "/" ; trailing slashes are ignored
[[nodiscard]] std::string parent(std::string_view path);         // "/" of "/a" and of "/"; "" of "a"
[[nodiscard]] std::string join(std::string_view folder, std::string_view name);
[[nodiscard]] std::vector<std::string> components(std::string_view path);  // without empty ones and without the root
[[nodiscard]] std::string extension(std::string_view name);                // "txt"; "" of ".profile", "a." and "a"
[[nodiscard]] std::string withoutExtension(std::string_view name);
[[nodiscard]] bool isInside(std::string_view path, std::string_view folder);  // or equal, by whole components
// Absolute, without "." and "..", doubled and trailing slashes; `..` is resolved as text.
[[nodiscard]] std::string normalised(std::string_view path, std::string_view workingFolder);

}  // namespace paths
}  // namespace lumisk
