#include "platform/paths.h"

#include <algorithm>

namespace lumisk::paths {

namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.ends_with('/')) path.remove_suffix(1);
  return path;
}

// Where the "." of the extension stands, npos without one. A name's leading dots belong to the name.
std::size_t extensionDot(std::string_view name) {
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || dot + 1 == name.size()) return std::string_view::npos;
  const auto slash = name.rfind('/');
  const auto begin = slash == std::string_view::npos ? 0 : slash + 1;
  const auto firstOther = name.find_first_not_of('.', begin);
  return firstOther < dot ? dot : std::string_view::npos;
}

// Takes the next component off the front; an empty view at the end.
std::string_view nextComponent(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
  const auto component = rest.substr(0, rest.find('/'));
  rest.remove_prefix(component.size());
  return component;
}

void appendNormalised(std::vector<std::string>& kept, std::string_view path) {
  while (true) {
    const auto component = nextComponent(path);
    if (component.empty()) return;
    if (component == ".") continue;
    if (component != "..") {
      kept.emplace_back(component);
    } else if (!kept.empty()) {
      kept.pop_back();
    }
  }
}

}  // namespace

std::string lastComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  return std::string(path.substr(path.rfind('/') + 1));  // npos + 1 is 0
}

std::string parent(std::string_view path) {
  const bool absolute = path.starts_with('/');
  path = withoutTrailingSlashes(path);
  const auto slash = path.rfind('/');
  const auto folder = slash == std::string_view::npos ? "" : withoutTrailingSlashes(path.substr(0, slash));
  return folder.empty() && absolute ? "/" : std::string(folder);
}

std::string join(std::string_view folder, std::string_view name) {
  while (!folder.empty() && name.starts_with('/')) name.remove_prefix(1);
  std::string result(folder);
  if (!result.empty() && !name.empty() && !result.ends_with('/')) result += '/';
  return result += name;
}

std::vector<std::string> components(std::string_view path) {
  std::vector<std::string> result;
  for (auto component = nextComponent(path); !component.empty(); component = nextComponent(path)) {
    result.emplace_back(component);
  }
  return result;
}

std::string extension(std::string_view name) {
  const auto dot = extensionDot(name);
  return dot == std::string_view::npos ? "" : std::string(name.substr(dot + 1));
}

std::string withoutExtension(std::string_view name) {
  return std::string(name.substr(0, extensionDot(name)));
}

bool isInside(std::string_view path, std::string_view folder) {
  if (path.empty() || folder.empty() || path.starts_with('/') != folder.starts_with('/')) return false;
  while (true) {
    const auto wanted = nextComponent(folder);
    if (wanted.empty()) return true;
    if (nextComponent(path) != wanted) return false;
  }
}

std::string normalised(std::string_view path, std::string_view workingFolder) {
  std::vector<std::string> kept;
  if (!path.starts_with('/')) appendNormalised(kept, workingFolder);
  appendNormalised(kept, path);
  std::string result;
  for (const auto& component : kept) result.append("/").append(component);
  return result.empty() ? "/" : result;
}

}  // namespace lumisk::paths
