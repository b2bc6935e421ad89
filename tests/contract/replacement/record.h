// What the framework of these tests was called for, and what it is to answer. Plain types only: the library knows the
// kit's records, the tests declare their own.
#ifndef RECORD_H
#define RECORD_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

// One thread at a time.
struct FrameworkRecord {
  // What was called, in order: calls as "name(arguments)" and records of the trace log as "L<level> <text>".
  std::vector<std::string> events;
  // Pushed messages as "id(arguments) severity".
  std::vector<std::string> messages;
  std::vector<std::string> commands;
  // Buffers that were not given back, with their sizes, and calls that gave one back wrongly.
  std::map<const void*, std::size_t> buffers;
  std::vector<std::string> wrongReleases;
  // Of the trace log when it was initialised, and the manager that the provider was given.
  int markerOfTheLog = 0;
  const void* errorManagerOfTheLog = nullptr;
  const void* errorManagerOfTheProvider = nullptr;

  // Answers: the exit status of a command, all 0 where this is empty; integers of the configuration; the second names
  // that making the snapshots gives to nodes, by key.
  std::function<int(const std::string& command)> exitStatusOf;
  std::map<std::string, unsigned> configuration;
  std::map<std::string, std::string> secondNames;
};

// The one record of the library.
FrameworkRecord& frameworkRecord();

// Notes an event of the framework's own.
void noteEvent(const std::string& event);

#endif
