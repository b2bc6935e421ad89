// The command line of the testbed.
#include "launcher/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace testbed {

namespace {

constexpr std::uint64_t smallestMountable = 300ULL << 20;
constexpr std::uint64_t largestVolume = 16ULL << 40;
constexpr int largestErrorNumber = 4095;

template <typename Number>
Number parseNumber(const std::string& text, Number smallest, Number largest, const std::string& what) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < smallest || number > largest) {
    throw UsageError(what + " \"" + text + "\" is not a number from " + std::to_string(smallest) + " to " +
                     std::to_string(largest));
  }
  return number;
}

std::uint64_t parseSize(const std::string& text) {
  constexpr std::string_view units = "KMGT";
  const auto unit = units.find(text.back());
  const int shift = unit == std::string_view::npos ? 0 : 10 * (static_cast<int>(unit) + 1);
  const std::string number = shift == 0 ? text : text.substr(0, text.size() - 1);
  return parseNumber<std::uint64_t>(number, 1, largestVolume >> shift, "size of a volume (with K, M, G or T)") << shift;
}

// The text up to the first `separator`, which is taken off `text` together with it; all of it where there is none.
std::string cut(std::string& text, char separator) {
  const auto end = std::min(text.find(separator), text.size());
  std::string part = text.substr(0, end);
  text.erase(0, end + 1);
  return part;
}

bool consistsOf(const std::string& text, std::string_view others) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](unsigned char character) {
    return std::isalnum(character) || others.find(static_cast<char>(character)) != std::string_view::npos;
  });
}

// One spelling for each path: /mnt/a for /mnt//a/ and /mnt/./a.
std::string plainPath(const std::string& path) {
  std::string plain = std::filesystem::path(path).lexically_normal();
  if (plain.ends_with('/')) plain.pop_back();
  return plain;
}

VolumeSpec parseVolume(const std::string& text) {
  std::string rest = text;
  VolumeSpec volume{.name = cut(rest, ':')};
  if (!consistsOf(volume.name, "_.-") || volume.name.front() == '.' || volume.name.front() == '-') {
    throw UsageError("volume \"" + text + "\" is not of the form NAME[:SIZE[:MOUNTPOINT[:TYPE]]]");
  }
  if (const std::string size = cut(rest, ':'); !size.empty()) volume.bytes = parseSize(size);
  if (rest.empty()) return volume;
  volume.mountPoint = plainPath(cut(rest, ':'));
  if (!rest.empty()) volume.type = rest;
  if (volume.type != "qmfs" && volume.type != "xfs" && volume.type != "ext4") {
    throw UsageError("the type of volume \"" + text + "\" is none of qmfs, xfs and ext4");
  }
  if (!volume.mountPoint->starts_with('/')) {
    throw UsageError("the mount point of volume \"" + text + "\" is not an absolute path");
  }
  if (volume.bytes < smallestMountable) {
    throw UsageError("volume \"" + text + "\" is smaller than the 300M of a file system");
  }
  return volume;
}

Setting parseSetting(const std::string& text) {
  Setting setting{.key = {}, .value = text};
  setting.key = cut(setting.value, '=');
  const bool oneLine = text.find_first_of("\r\n") == std::string::npos;
  if (!consistsOf(setting.key, "_") || text.find('=') == std::string::npos || !oneLine) {
    throw UsageError("setting \"" + text + "\" is not of the form KEY=VALUE");
  }
  return setting;
}

RequestKind parseRequest(const std::string& request) {
  std::string text = request;
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return c == '-' ? '_' : std::toupper(c); });
  if (text.starts_with("QM_")) text.erase(0, 3);
  if (text == "FREEZE") return RequestKind::freeze;
  if (text == "THAW") return RequestKind::thaw;
  if (text == "FREEZE_ALL") return RequestKind::freezeAll;
  throw UsageError("request \"" + request + "\" is none of QM_FREEZE, QM_THAW and QM_FREEZE_ALL");
}

int parseErrorNumber(const std::string& text) {
  for (int number = 1; number <= largestErrorNumber; ++number) {
    const char* name = strerrorname_np(number);
    if (name != nullptr && text == name) return number;
  }
  return parseNumber<int>(text, 1, largestErrorNumber, "error");
}

Fault parseFault(const std::string& text) {
  std::string value = text;
  const std::string what = cut(value, '=');
  const std::string request = cut(value, '@');
  const std::string ordinal = cut(value, ':');
  if ((what != "fail" && what != "delay") || request.empty() || ordinal.empty() || value.empty()) {
    throw UsageError("driver behaviour \"" + text + "\" is neither fail=REQUEST@N:ERRNO nor delay=REQUEST@N:MS");
  }
  Fault fault{.request = parseRequest(request),
              .ordinal = parseNumber<unsigned>(ordinal, 1, 1'000'000, "request number")};
  if (what == "fail") {
    fault.error = parseErrorNumber(value);
  } else {
    fault.delay = std::chrono::milliseconds(parseNumber<int>(value, 0, 3'600'000, "delay"));
  }
  return fault;
}

template <typename Error>
std::filesystem::path realDirectory(const std::string& directory, const std::string& what) {
  std::error_code error;
  auto path = std::filesystem::canonical(directory, error);
  if (!error && !std::filesystem::is_directory(path)) error = std::make_error_code(std::errc::not_a_directory);
  if (error) throw Error("the " + what + " " + directory + " cannot be used: " + error.message());
  return path;
}

std::filesystem::path findBuildTree() {
  const char* tree = std::getenv("QMFS_BUILD_DIR");
  if (tree == nullptr || *tree == '\0') throw std::runtime_error("QMFS_BUILD_DIR does not name the build tree");
  return realDirectory<std::runtime_error>(tree, "build tree");
}

// Two volumes of one name would be one file, two at one mount point would hide each other.
void refuseDoubles(const std::vector<VolumeSpec>& volumes) {
  for (auto one = volumes.begin(); one != volumes.end(); ++one) {
    for (auto other = volumes.begin(); other != one; ++other) {
      if (one->name == other->name) throw UsageError("volume " + one->name + " is given twice");
      if (one->mountPoint && one->mountPoint == other->mountPoint) {
        throw UsageError("mount point " + *one->mountPoint + " is given twice");
      }
    }
  }
}

template <typename Parsed>
std::vector<Parsed> parseAll(const std::vector<std::string>& texts, Parsed (*parse)(const std::string&)) {
  std::vector<Parsed> parsed;
  parsed.reserve(texts.size());
  for (const auto& text : texts) parsed.push_back(parse(text));
  return parsed;
}

}  // namespace

Arguments parseArguments(int count, const char* const* words) {
  std::vector<std::string> volumes;
  std::vector<std::string> settings;
  std::vector<std::string> faults;
  std::string pool;
  CLI::App app(
      "qmfs-testbed [OPTIONS] -- COMMAND [ARGUMENTS...]\nRuns COMMAND in a private root with mounted qmfs file systems "
      "and a driver that freezes them.",
      "qmfs-testbed");
  const auto list = [&app](const char* name, std::vector<std::string>& values, const char* form, const char* what) {
    app.add_option(name, values, what)->option_text(form)->allow_extra_args(false);
  };
  list("--volume", volumes, "NAME[:SIZE[:MOUNTPOINT[:TYPE]]]",
       "make a volume; with a mount point, format and mount it (as qmfs)");
  list("--set", settings, "KEY=VALUE", "set a parameter of the plug-in's configuration");
  list("--driver", faults, "fail=REQUEST@N:ERRNO | delay=REQUEST@N:MS",
       "inject a fault into the driver's N-th request of a kind");
  app.add_option("--pool", pool, "keep the volumes in DIR, which several testbeds may share")->option_text("DIR");

  const auto* const end = words + count;
  const auto* const mark = std::find_if(words + 1, end, [](const char* word) { return std::strcmp(word, "--") == 0; });
  std::vector<std::string> options(std::make_reverse_iterator(mark), std::make_reverse_iterator(words + 1));
  try {
    app.parse(options);
  } catch (const CLI::CallForHelp&) {
    throw HelpRequest(app.help());
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  if (mark == end || mark + 1 == end) throw UsageError("no command is given after \"--\"");

  Arguments arguments{.volumes = parseAll(volumes, parseVolume),
                      .settings = parseAll(settings, parseSetting),
                      .faults = parseAll(faults, parseFault),
                      .command = std::vector<std::string>(mark + 1, end),
                      .buildTree = findBuildTree()};
  if (!pool.empty()) arguments.pool = realDirectory<UsageError>(pool, "pool");
  refuseDoubles(arguments.volumes);
  return arguments;
}

}  // namespace testbed
