// The mount options of qmfs, apart from those that the file system below it knows too.
#include "programs/mount_options.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

namespace testbed {

namespace {

constexpr std::array<std::string_view, 11> onlyQmfs = {"log",         "delaylog",   "tmplog",       "mincache",
                                                       "convosync",   "largefiles", "nolargefiles", "datainlog",
                                                       "nodatainlog", "blkclear",   "ioerror"};

std::string withoutFlag(std::string item) {
  const std::string blanks = " \t";
  const auto trim = [&] {
    item.erase(0, item.find_first_not_of(blanks));
    item.erase(item.find_last_not_of(blanks) + 1);
  };
  trim();
  while (item == "-o" || item.starts_with("-o ")) {
    item.erase(0, 2);
    trim();
  }
  return item;
}

void append(std::string& list, const std::string& item) {
  list += (list.empty() ? "" : ",") + item;
}

}  // namespace

MountOptions sortMountOptions(const std::string& text) {
  MountOptions options;
  std::istringstream items(text);
  for (std::string item; std::getline(items, item, ',');) {
    item = withoutFlag(item);
    if (item.empty()) continue;
    const std::string key = item.substr(0, item.find('='));
    if (item == "remount") options.remount = true;
    if (item != "remount") append(options.table, item);
    if (std::find(onlyQmfs.begin(), onlyQmfs.end(), key) == onlyQmfs.end()) append(options.below, item);
  }
  return options;
}

}  // namespace testbed
