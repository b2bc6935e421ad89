// Walking down the declared commands.
#include "cli/completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <set>

#include "cfimounttable.h"
#include "failure/host_error.h"
#include "state/state_store.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

namespace {

// How far the words before the last one lead.
struct Place {
  const CLI::App* parser;
  const CLI::Option* awaiting = nullptr;  // the option whose value is typed
  int arguments = 0;                      // how many words before were arguments of the command
};

bool takesValue(const CLI::Option& option) {
  return option.get_items_expected_max() > 0;
}

// The option of a command, or of those above it, that a word names.
const CLI::Option* optionNamed(const CLI::App* parser, const std::string& word) {
  for (; parser != nullptr; parser = parser->get_parent()) {
    if (const CLI::Option* const option = parser->get_option_no_throw(word)) return option;
  }
  return nullptr;
}

const CLI::App* subcommandNamed(const CLI::App& parser, const std::string& word) {
  const auto found = parser.get_subcommands([&](const CLI::App* one) { return one->get_name() == word; });
  return found.empty() ? nullptr : found.front();
}

Place placeBehind(const CLI::App& app, const std::vector<std::string>& words) {
  Place place{&app};
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    const std::string& word = words[i];
    if (place.awaiting != nullptr) {
      place.awaiting = nullptr;
    } else if (word.starts_with("-")) {
      const CLI::Option* const option = optionNamed(place.parser, word);
      if (option != nullptr && takesValue(*option)) place.awaiting = option;
    } else if (const CLI::App* const command = subcommandNamed(*place.parser, word)) {
      place.parser = command;
    } else {
      ++place.arguments;
    }
  }
  return place;
}

std::vector<std::string> optionNames(const CLI::App* parser) {
  std::vector<std::string> names;
  for (; parser != nullptr; parser = parser->get_parent()) {
    for (const CLI::Option* const option : parser->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

std::vector<std::string> commandNames(const CLI::App& parser) {
  std::vector<std::string> names;
  for (const CLI::App* const command : parser.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

// By what the help calls the argument. before: how many there are already.
std::vector<std::string> argumentsOf(const CLI::App& parser, int before, const CompletionSources& sources) {
  for (const CLI::Option* const option : parser.get_options()) {
    if (!option->get_positional()) continue;
    before -= option->get_items_expected_max();
    if (before >= 0) continue;
    if (option->get_name() == "SNAPSHOT") return sources.snapshots();
    if (option->get_name() == "MOUNTPOINT") return sources.mountPoints();
    return {};
  }
  return {};
}

std::vector<std::string> candidatesAt(const Place& place, const std::string& word, const CompletionSources& sources) {
  if (place.awaiting != nullptr) return {};
  if (word.starts_with("-")) return optionNames(place.parser);
  std::vector<std::string> names = commandNames(*place.parser);
  return names.empty() ? argumentsOf(*place.parser, place.arguments, sources) : names;
}

std::vector<std::string> namesOfSnapshots(const std::string& stateDirectory) {
  std::vector<std::string> names;
  try {
    requireTrusted(stateDirectory);
    for (const Snapshot& snapshot : StateStore::readFrom(stateDirectory).snapshots()) names.push_back(snapshot.name);
  } catch (const std::exception&) {
    // Who only types is told of no failure.
    return {};
  }
  return names;
}

std::vector<std::string> mountPointsOfDevices() {
  std::vector<std::string> mountPoints;
  try {
    std::string table = qmfi_pdk_4_4::readMountTable();
    for (std::size_t begin = 0; begin < table.size();) {
      const std::size_t end = std::min(table.find('\n', begin), table.size());
      const std::string_view line(table.data() + begin, end - begin);
      const auto mount = qmfi_pdk_4_4::wholeMount(qmfi_pdk_4_4::wordsOf(line));
      if (mount && mount->source.starts_with("/dev/")) mountPoints.push_back(mount->mountPoint);
      begin = end + 1;
    }
  } catch (const std::exception&) {
    return {};
  }
  return mountPoints;
}

}  // namespace

std::vector<std::string> completionsOf(const CLI::App& app, const std::vector<std::string>& words,
                                       const CompletionSources& sources) {
  const std::string word = words.empty() ? "" : words.back();
  std::set<std::string> fitting;
  for (std::string& candidate : candidatesAt(placeBehind(app, words), word, sources)) {
    if (candidate.starts_with(word)) fitting.insert(std::move(candidate));
  }
  return {fitting.begin(), fitting.end()};
}

CompletionSources machineSources(const std::string& stateDirectory) {
  return {[stateDirectory] { return namesOfSnapshots(stateDirectory); }, mountPointsOfDevices};
}

}  // namespace qmfi_host
