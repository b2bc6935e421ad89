// Test fixtures that load the built plug-in and use nothing but its exports, as a foreign framework would.
#ifndef PLUGIN_FIXTURE_H
#define PLUGIN_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "freeze_calls.h"
#include "imported_calls.h"
#include "support/environment.h"
#include "support/foreign_plugin.h"
#include "support/mount_table_file.h"
#include "support/stand_in_programs.h"
#include "support/temporary_directory.h"
#include "support/trace_records.h"

// The entry or exit of a traced function.
struct TraceScope {
  bool entered = false;
  std::string function;
  std::string place;  // "line, file"

  bool operator==(const TraceScope&) const = default;
};

// The record of a text at a level.
TraceRecord traced(int level, const std::string& text);

// One pushed message. arguments: all of them, in order, separated by ", ".
struct PushedMessage {
  std::string id;
  std::string arguments;
  int severity = 0;
  std::string file;
  int line = 0;
};

std::ostream& operator<<(std::ostream& stream, const PushedMessage& message);

// Expects the one message of that identifier and severity, with exactly these arguments, pushed by the provider.
void expectMessage(const std::vector<PushedMessage>& messages, const std::string& id, const std::string& arguments,
                   int severity = 2);
// Expects the one message of a caught exception; its last arguments are the message's own file and line.
void expectCaught(const std::vector<PushedMessage>& messages, const std::string& id,
                  const std::string& leadingArguments);
// Expects the one message of a caught error of the provider's own, thrown by that function.
void expectCaughtError(const std::vector<PushedMessage>& messages, const std::string& what,
                       const std::string& function);

// A call of the framework's message callback.
struct CallbackCall {
  std::string nativeText;
  std::string defaultText;
  int severity = 0;
};

// The plug-in loaded, not started. Everything is checked to be given back: descriptors, children, mounts.
class LoadedPlugin : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Calls init with a context of the member language, or without one.
  int startPlugin();
  int startPluginWithoutContext();
  // De-initialises all nodes, which a framework does before it stops a plug-in.
  void deinitialiseNodes();
  // De-initialises all nodes and calls fini.
  void stopPlugin();
  // Unloads the plug-in as it is, and checks that it goes.
  void unloadPlugin();
  // Writes the provider's configuration file, read when it starts.
  void configure(const std::string& text);

  // A name as the framework's identifier, kind 1, and a node of that name, zeroed otherwise. Nodes are de-initialised
  // before the plug-in is stopped.
  qmfi_objid* object(const std::string& name);
  kfi_domain& node(const std::string& name);
  // A node that is initialised as the framework does it: by init_node with a configuration domain. Expects success.
  kfi_domain& initialisedNode(const std::string& mountPoint);
  // The configuration domain that initialisedNode uses; its private data are there once one node is initialised.
  kfi_domain& configurationDomain();

  // The trace records since the last forget() or the start of the log, without the entry and exit records of functions;
  // and those alone.
  std::vector<TraceRecord> trace() const;
  std::vector<TraceScope> scopes() const;
  // Whether the log file is there.
  bool hasTraceLog() const;
  // The pushed messages, newest first. They are forgotten then.
  std::vector<PushedMessage> messages();
  // Expects that no program was run and the driver and the split context were left alone since the last forget().
  void expectNothingDone(const std::string& rule);
  // Command lines, driver requests and trace records that came before are forgotten.
  void forget();

  // Closes the descriptors that this process has open on a path.
  static void closeDescriptorsOf(const std::string& path);
  // A new directory of the test's own.
  std::string makeDirectory(const std::string& name) { return m_directory.makeDirectory(name); }

  PluginFunctions plugin;
  FrameworkFunctions framework;
  StandInPrograms programs;
  MountTableFile table;
  std::optional<std::string> language;
  // What init writes.
  kfi_version version{{1, 2, 3, 4}};
  std::vector<CallbackCall> callbacks;
  // Whether fini is called at the end; set by the functions above.
  bool started = false;

 private:
  // What init is given. The plug-in hands the record back to the callback.
  struct Context {
    kfi_context record{};
    LoadedPlugin* owner = nullptr;
  };
  static void receive(kfi_context* context, const char* nativeText, const char* defaultText, std::int32_t severity);
  static std::string builtCatalogs();
  std::vector<TraceRecord> wholeTrace() const;

  TemporaryDirectory m_directory;
  EnvironmentVariable m_logDirectory{"QMFI_LOG_DIR", m_directory.makeDirectory("log")};
  EnvironmentVariable m_configuration{"QMFI_CONF_DIR", m_directory.makeDirectory("conf")};
  EnvironmentVariable m_catalogs{"QMFI_CATALOG_DIR", builtCatalogs()};
  EnvironmentVariable m_traceLevel{"QMFI_TRACE_LEVEL", "6"};
  std::optional<PluginLibrary> m_library;
  Context m_context;
  std::string m_languageName;
  char* m_languagePointer = nullptr;
  std::deque<kfi_domain> m_nodes;
  kfi_domain* m_configurationDomain = nullptr;
  std::mutex m_callbackMutex;
  std::size_t m_forgottenRecords = 0;
  std::size_t m_forgottenScopes = 0;
  std::vector<std::string> m_descriptorsBefore;
  std::string m_mountsBefore;
};

// The plug-in started, with everything that came of it forgotten.
class StartedPlugin : public LoadedPlugin {
 protected:
  void SetUp() override;
};

// A text for a parameter that is not const but only read.
char* operator""_text(const char* text, std::size_t length);

#endif
