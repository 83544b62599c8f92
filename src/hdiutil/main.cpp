#include <csignal>
#include <filesystem>
#include <iostream>
#include <iterator>

#include "devices/hdiutil_command.h"
#include "devices/image_mounter.h"
#include "helper_image_mounter.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "platform/real_file_calls.h"

int main(int count, char** arguments) {
  std::signal(SIGPIPE, SIG_IGN);
  std::error_code error;
  lumisk::RootImageMounter ownRights(lumisk::realFileCalls());
  lumisk::HelperImageMounter helper;
  lumisk::ImageBlocksMounter& mounter = lumisk::process::isRoot() ? static_cast<lumisk::ImageBlocksMounter&>(ownRights)
                                                                  : static_cast<lumisk::ImageBlocksMounter&>(helper);
  lumisk::DiskImages images(lumisk::realFileCalls(), lumisk::systemClock(), mounter);
  lumisk::HdiutilIo io{std::cout, std::cerr, [] { return std::string(std::istreambuf_iterator<char>(std::cin), {}); },
                       std::filesystem::current_path(error).string()};
  return static_cast<int>(lumisk::runHdiutil({arguments + 1, arguments + count}, images, io));
}
