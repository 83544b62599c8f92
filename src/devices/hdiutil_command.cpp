#include "devices/hdiutil_command.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>

#include "platform/byte_text.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr const char* kExtension = ".sparseimage";

struct Options {
  std::map<std::string, std::string> values;
  std::vector<std::string> places;
  [[nodiscard]] bool has(const std::string& name) const { return values.contains(name); }
  [[nodiscard]] std::string value(const std::string& name) const {
    const auto found = values.find(name);
    return found == values.end() ? "" : found->second;
  }
};

// What comes after the first place is a place, too: a name may begin with a dash only as a path.
std::optional<Options> optionsOf(const std::vector<std::string>& arguments) {
  static const std::map<std::string, bool> known = {{"-volname", true},     {"-stdinpass", false}, {"-type", true},
                                                    {"-encryption", false}, {"-size", true},       {"-fs", true},
                                                    {"-plist", false}};
  Options options;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const auto option = known.find(arguments[i]);
    if (option == known.end()) {
      if (arguments[i].starts_with("-")) return std::nullopt;
      options.places.push_back(arguments[i]);
      continue;
    }
    if (option->second && ++i == arguments.size()) return std::nullopt;
    options.values[option->first] = option->second ? arguments[i] : "";
  }
  return options;
}

HdiutilStatus statusOf(const Error& error) {
  if (error.code == EACCES && error.detail == "wrong password") return HdiutilStatus::kWrongPassword;
  return error.code == EBUSY ? HdiutilStatus::kBusy : HdiutilStatus::kFailed;
}

HdiutilStatus complain(HdiutilIo& io, const std::string& text, HdiutilStatus status = HdiutilStatus::kUsage) {
  io.err << "hdiutil: " << displayText(text) << '\n';
  return status;
}

template <class T>
HdiutilStatus ended(HdiutilIo& io, const Result<T>& result) {
  return result ? HdiutilStatus::kDone : complain(io, result.error().text(), statusOf(result.error()));
}

HdiutilStatus create(const Options& options, DiskImages& images, HdiutilIo& io) {
  if (options.places.size() != 1) return complain(io, "create: one image is made at a time");
  if (!options.has("-encryption") || !options.has("-stdinpass")) {
    return complain(io, "create: only encrypted images are made, with -encryption and -stdinpass");
  }
  if (options.value("-type") != "SPARSE" || options.value("-fs") != "HFS+") {
    return complain(io, "create: only -type SPARSE and -fs HFS+ are made");
  }
  const auto bytes = image_commands::sizeOf(options.has("-size") ? options.value("-size") : "4g");
  if (!bytes) return complain(io, bytes.error().text());
  DiskImages::NewImage image;
  image.imagePath = paths::normalised(options.places.front(), io.workingFolder);
  if (!image.imagePath.ends_with(kExtension)) image.imagePath += kExtension;
  image.volumeName = options.has("-volname") ? options.value("-volname")
                                             : paths::withoutExtension(paths::lastComponent(image.imagePath));
  image.bytes = *bytes;
  return ended(io, images.create(image, io.readInput()));
}

HdiutilStatus mount(const Options& options, DiskImages& images, HdiutilIo& io) {
  if (options.places.size() != 1 || !options.has("-stdinpass")) {
    return complain(io, "mount: takes -stdinpass and one image");
  }
  const auto mounted = images.mount(paths::normalised(options.places.front(), io.workingFolder), io.readInput());
  if (mounted) io.out << displayText(*mounted) << '\n';
  return ended(io, mounted);
}

HdiutilStatus detach(const Options& options, DiskImages& images, HdiutilIo& io) {
  if (options.places.size() != 1) return complain(io, "detach: takes one mount point or image");
  return ended(io, images.detach(paths::normalised(options.places.front(), io.workingFolder)));
}

HdiutilStatus info(const Options& options, DiskImages& images, HdiutilIo& io) {
  const auto open = images.openImages();
  if (!open) return ended(io, open);
  if (!options.has("-plist")) {
    for (const OpenImage& image : *open) {
      io.out << displayText(image.imagePath) << '\t' << image.device << '\t' << displayText(image.mountPoint) << '\n';
    }
    return HdiutilStatus::kDone;
  }
  const auto xml = propertyListToXml(imageInfo(*open));
  if (xml) io.out << *xml;
  return ended(io, xml);
}

HdiutilStatus changePassword(const Options& options, DiskImages& images, HdiutilIo& io) {
  if (options.places.size() != 1 || !options.has("-stdinpass")) {
    return complain(io, "chpass: takes -stdinpass and one image");
  }
  const std::string input = io.readInput();
  const auto end = input.find('\n');
  if (end == std::string::npos) return complain(io, "chpass: two lines are read, the old and the new password");
  std::string after = input.substr(end + 1);
  if (after.ends_with('\n')) after.pop_back();
  const std::string image = paths::normalised(options.places.front(), io.workingFolder);
  return ended(io, images.changePassword(image, input.substr(0, end), after));
}

using Verb = HdiutilStatus (*)(const Options&, DiskImages&, HdiutilIo&);

Verb verbOf(const std::string& word) {
  static const std::map<std::string, Verb> verbs = {{"create", create}, {"mount", mount},          {"attach", mount},
                                                    {"detach", detach}, {"unmount", detach},       {"eject", detach},
                                                    {"info", info},     {"chpass", changePassword}};
  const auto found = verbs.find(word);
  return found == verbs.end() ? nullptr : found->second;
}

}  // namespace

HdiutilStatus runHdiutil(const std::vector<std::string>& arguments, DiskImages& images, HdiutilIo& io) {
  const Verb verb = arguments.empty() ? nullptr : verbOf(arguments.front());
  if (!verb) return complain(io, "one of create, mount, detach, info, chpass is expected");
  const auto options = optionsOf(arguments);
  if (!options) return complain(io, arguments.front() + ": an option that is not known, or lacks its value");
  return verb(*options, images, io);
}

PropertyList imageInfo(const std::vector<OpenImage>& images) {
  PropertyList::Array list;
  for (const OpenImage& image : images) {
    const PropertyList::Dictionary entity{{"dev-entry", image.device}, {"mount-point", image.mountPoint}};
    list.push_back(
        PropertyList::Dictionary{{"image-path", image.imagePath}, {"system-entities", PropertyList::Array{entity}}});
  }
  return PropertyList::Dictionary{{"images", list}};
}

}  // namespace lumisk
