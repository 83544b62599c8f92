#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/job_setup.h"
#include "cli/job_table.h"
#include "cli/json_text.h"
#include "cli/options.h"
#include "cli/store_access.h"
#include "devices/ag_keychain.h"
#include "devices/create_dmg_controller.h"
#include "devices/data_list_object.h"
#include "devices/image_commands.h"
#include "devices/mounted_images.h"
#include "platform/byte_text.h"
#include "platform/paths.h"
#include "platform/process.h"

namespace lumisk {
namespace {

constexpr const char* kExtension = ".sparseimage";

struct ImageOptions {
  std::string place;
  std::string size = "4g";
  bool keep = false;
  bool json = false;
};

std::string nameOf(const std::string& imagePath) {
  return paths::withoutExtension(paths::lastComponent(imagePath));
}

Checked<std::string> absolute(const std::string& path, CommandIo& io) {
  LUMISK_TRY(auto found, absolutePaths({path}, io));
  return found.front();
}

Checked<std::string> password(CommandIo& io, const std::string& question) {
  auto typed = io.readPassword ? io.readPassword(question) : std::nullopt;
  if (!typed) return refuse("password", "give it on standard input");
  return *typed;
}

void keepPassword(const std::string& imagePath, const std::string& secret, CommandIo& io) {
  UserDefaults defaults(UserDefaults::standardPath());
  const std::string user = process::userName(), name = nameOf(imagePath);
  AGKeychain::deleteKeychainItem(kImagePasswordItem, name, user, imagePath);
  if (!AGKeychain::addKeychainItem(kImagePasswordItem, name, user, secret, imagePath)) return;
  io.out << "The password is kept; jobs mount the image by themselves\n";
}

// Making and mounting.

Checked<Ending> create(const ImageOptions& options, CommandIo& io) {
  LUMISK_TRY(std::string path, absolute(options.place, io));
  if (!path.ends_with(kExtension)) path += kExtension;
  const auto bytes = image_commands::sizeOf(options.size);
  if (!bytes) return refuse("--size " + options.size, bytes.error().detail);
  LUMISK_TRY(const std::string secret, password(io, "Password of the new image"));
  const bool isAsked = static_cast<bool>(io.readLine);
  if (isAsked) {
    LUMISK_TRY(const std::string again, password(io, "Once more"));
    if (again != secret) return refuse("password", "the two differ");
  }
  const std::string base = paths::join(paths::parent(path), nameOf(path));
  LUMISK_CHECK(
      checked(runImageTool(image_commands::create(imageToolPath(), nameOf(path), base, options.size), secret)));
  io.out << "Made " << displayText(path) << "; mounted, it is " << displayText("/Volumes/" + nameOf(path)) << '\n';
  if (options.keep) keepPassword(path, secret, io);
  return Ending::kDone;
}

Checked<Ending> mount(const ImageOptions& options, CommandIo& io) {
  LUMISK_TRY(const std::string path, absolute(options.place, io));
  if (!options.keep && mountTheLumiskDMGFileAtPath(path)) {
    io.out << displayText("/Volumes/" + nameOf(path)) << '\n';
    return Ending::kDone;
  }
  LUMISK_TRY(const std::string secret, password(io, "Password of " + displayText(path)));
  LUMISK_TRY(const std::string mountPoint, checked(runImageTool(image_commands::mount(imageToolPath(), path), secret)));
  io.out << mountPoint;
  if (options.keep) keepPassword(path, secret, io);
  return Ending::kDone;
}

Checked<Ending> detach(const ImageOptions& options, CommandIo& io) {
  LUMISK_TRY(const std::string place, absolute(options.place, io));
  LUMISK_CHECK(checked(runImageTool(image_commands::detach(imageToolPath(), place))));
  io.out << "Detached " << displayText(place) << '\n';
  return Ending::kDone;
}

// Showing.

Checked<Ending> list(const ImageOptions& options, CommandIo& io) {
  const auto pairs = dataListObject::mountedDmgList();
  auto json = nlohmann::ordered_json::array();
  std::vector<std::vector<std::string>> rows{{"IMAGE", "MOUNTED AT"}};
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
    rows.push_back({displayText(pairs[i]), displayText(pairs[i + 1])});
    json.push_back({{"image", jsonOfText(pairs[i])}, {"mountPoint", jsonOfText(pairs[i + 1])}});
  }
  if (options.json) {
    io.out << printedJson(json);
  } else {
    io.out << (pairs.empty() ? "No image is mounted.\n" : columnsText(rows));
  }
  return Ending::kDone;
}

// Changing and deleting.

Checked<Ending> changePassword(const ImageOptions& options, CommandIo& io) {
  LUMISK_TRY(const std::string path, absolute(options.place, io));
  LUMISK_TRY(const std::string before, password(io, "Old password"));
  LUMISK_TRY(const std::string after, password(io, "New password"));
  LUMISK_CHECK(checked(runImageTool({imageToolPath(), "chpass", "-stdinpass", path}, before + "\n" + after)));
  io.out << "Changed the password of " << displayText(path) << '\n';
  // A password that is kept and no longer fits would make every run of the job fail.
  const bool isKept = isAKeychainDMGAtPath(path);
  if (isKept || options.keep) keepPassword(path, after, io);
  return Ending::kDone;
}

Checked<Ending> deleteImage(const ImageOptions& options, CommandIo& io) {
  LUMISK_TRY(const std::string path, absolute(options.place, io));
  StoreAccess access(io);
  LUMISK_TRY(JobStore* const store, access.read());
  if (isImageOfAJob(path, store->jobs())) return refuse(path, "a job uses this image");
  LUMISK_CHECK(checked(deleteImageFile(io.files, path)));
  if (isAKeychainDMGAtPath(path)) {
    AGKeychain::deleteKeychainItem(kImagePasswordItem, nameOf(path), process::userName(), path);
  }
  io.out << "Deleted " << displayText(path) << '\n';
  return Ending::kDone;
}

struct Word {
  const char* word;
  const char* help;
  const char* place;  // what it is given; nothing for none
  Checked<Ending> (*run)(const ImageOptions&, CommandIo&);
};

constexpr Word kWords[] = {
    {"create", "Make an encrypted image; PATH gets the ending .sparseimage", "PATH", &create},
    {"list", "Show the mounted images", nullptr, &list},
    {"mount", "Mount an image, with the password that is kept or one that is asked for", "PATH", &mount},
    {"detach", "Close an image, by its file or where it is mounted", "PLACE", &detach},
    {"delete", "Delete an image that no job uses, and its kept password", "PATH", &deleteImage},
    {"password", "Change an image's password", "PATH", &changePassword},
};

}  // namespace

void addImageCommand(CLI::App& parent, CommandRun& chosen) {
  auto* group = parent.add_subcommand("image", "Encrypted images as targets");
  group->require_subcommand(1);
  for (const Word& word : kWords) {
    auto* command = group->add_subcommand(word.word, word.help);
    auto options = std::make_shared<ImageOptions>();
    if (word.place) addText(*command, word.place, options->place, "The image")->required();
    if (word.run == &create) addText(*command, "--size", options->size, "The most it may hold, like 500m or 4g");
    if (word.run == &create || word.run == &mount || word.run == &changePassword) {
      addSwitch(*command, "--keep-password", options->keep, "Keep the password, so that jobs mount the image");
    }
    if (word.run == &list) addSwitch(*command, "--json", options->json, "Print an array of JSON objects");
    chooseWhenNamed(*command, chosen, options, word.run);
  }
}

}  // namespace lumisk
