// Test fixtures that load the built plug-in and use nothing but its exports.
#include "plugin_fixture.h"

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

#include "build_tree.h"

namespace fs = std::filesystem;

namespace {

std::string textOf(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// "number path" of every open descriptor but the one that lists them.
std::vector<std::string> openDescriptors() {
  std::vector<std::string> open;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const fs::path path = fs::read_symlink(entry.path(), error);
    if (!error && !path.string().starts_with("/proc/"))
      open.push_back(entry.path().filename().string() + " " + path.string());
  }
  std::sort(open.begin(), open.end());
  return open;
}

template <typename Function>
void find(void* library, const std::string& name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(library, name.c_str()));
  EXPECT_NE(nullptr, function) << name;
}

}  // namespace

char* operator""_text(const char* text, std::size_t) {
  return const_cast<char*>(text);
}

std::ostream& operator<<(std::ostream& stream, const TraceRecord& record) {
  return stream << "L" << record.level << " " << record.text;
}

std::ostream& operator<<(std::ostream& stream, const PushedMessage& message) {
  return stream << message.id << " (" << message.arguments << ") severity " << message.severity << " from "
                << message.file << ":" << message.line;
}

TraceRecord traced(int level, const std::string& text) {
  return {level, text};
}

void expectMessage(const std::vector<PushedMessage>& messages, const std::string& id, const std::string& arguments,
                   int severity) {
  ASSERT_EQ(1u, messages.size()) << ::testing::PrintToString(messages);
  const PushedMessage& message = messages.front();
  EXPECT_EQ(id, message.id);
  EXPECT_EQ(arguments, message.arguments);
  EXPECT_EQ(severity, message.severity);
  EXPECT_TRUE(message.file.starts_with("qmfs_plugin")) << message.file;
  EXPECT_EQ(std::string::npos, message.file.find('/')) << message.file;
  EXPECT_LT(0, message.line);
}

void expectCaught(const std::vector<PushedMessage>& messages, const std::string& id,
                  const std::string& leadingArguments) {
  ASSERT_EQ(1u, messages.size()) << ::testing::PrintToString(messages);
  const PushedMessage& message = messages.front();
  expectMessage(messages, id, leadingArguments + ", " + message.file + ", " + std::to_string(message.line), 3);
}

void expectCaughtError(const std::vector<PushedMessage>& messages, const std::string& what,
                       const std::string& function) {
  ASSERT_EQ(1u, messages.size()) << ::testing::PrintToString(messages);
  const PushedMessage& message = messages.front();
  expectMessage(messages, "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION", message.arguments, 3);
  ASSERT_TRUE(message.arguments.starts_with(what + ", ")) << message.arguments;
  // Source file, function and line of the throw.
  const std::string rest = message.arguments.substr(what.size() + 2);
  EXPECT_TRUE(rest.starts_with("qmfs_")) << rest;
  EXPECT_NE(std::string::npos, rest.find(".cpp, " + function + ", ")) << rest;
  EXPECT_LT(0, std::atoi(rest.substr(rest.rfind(' ') + 1).c_str())) << rest;
}

LoadedPlugin::LoadedPlugin() = default;

LoadedPlugin::~LoadedPlugin() {
  fs::remove_all(m_directory);
}

void LoadedPlugin::SetUp() {
  std::string directory = fs::temp_directory_path() / "plugin-contract.XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(directory.data()));
  m_directory = directory;
  for (const char* part : {"log", "conf"}) fs::create_directory(m_directory / part);
  setenv("QMFI_LOG_DIR", (m_directory / "log").c_str(), 1);
  setenv("QMFI_CONF_DIR", (m_directory / "conf").c_str(), 1);
  setenv("QMFI_TRACE_LEVEL", "6", 1);
  setenv("QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/share/qmfi/catalogs", 1);
  m_mountsBefore = textOf("/proc/self/mounts");
  m_descriptorsBefore = openDescriptors();
  ASSERT_NO_FATAL_FAILURE(loadPlugin());
}

void LoadedPlugin::loadPlugin() {
  m_library = dlopen(QMFI_BINARY_DIR "/lib/libqmfsfi.so", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, m_library) << dlerror();
#define FIND(name, result, parameters) find(m_library, "qmfsfi_fi_pgn_" #name, plugin.name);
  FOREIGN_ENTRY_POINTS(FIND)
#undef FIND
#define FIND(name, result, parameters) find(m_library, #name, plugin.name);
  FOREIGN_HELPERS(FIND)
#undef FIND
  // The library's dependencies are searched too, and this program's own functions are not.
#define FIND(name, result, parameters) find(m_library, #name, framework.name);
  FOREIGN_FRAMEWORK_FUNCTIONS(FIND)
#undef FIND
  importedCalls().reset(m_library);
}

void LoadedPlugin::TearDown() {
  if (m_library != nullptr) {
    if (started) stopPlugin();
    unloadPlugin();
  }
  EXPECT_EQ(m_descriptorsBefore, openDescriptors());
  EXPECT_EQ(m_mountsBefore, textOf("/proc/self/mounts"));
  EXPECT_TRUE(waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD) << "a child process is left";
}

void LoadedPlugin::unloadPlugin() {
  dlclose(std::exchange(m_library, nullptr));
  started = false;
  EXPECT_EQ(nullptr, dlopen(QMFI_BINARY_DIR "/lib/libqmfsfi.so", RTLD_NOW | RTLD_NOLOAD)) << "it stays loaded";
}

int LoadedPlugin::startPlugin() {
  m_context.owner = this;
  m_context.record.kcx_callback = receive;
  m_languageName = language.value_or("");
  m_languagePointer = language ? m_languageName.data() : nullptr;
  m_context.record.kcx_language = &m_languagePointer;
  started = true;
  return plugin.init(&m_context.record, &version, "test framework"_text);
}

int LoadedPlugin::startPluginWithoutContext() {
  started = true;
  return plugin.init(nullptr, &version, nullptr);
}

void LoadedPlugin::deinitialiseNodes() {
  for (auto& domain : m_nodes) plugin.deinit_node(&domain);
}

void LoadedPlugin::stopPlugin() {
  deinitialiseNodes();
  plugin.fini();
  started = false;
}

void LoadedPlugin::receive(kfi_context* context, const char* nativeText, const char* defaultText,
                           std::int32_t severity) {
  LoadedPlugin& owner = *reinterpret_cast<Context*>(context)->owner;
  const std::lock_guard lock(owner.m_callbackMutex);
  owner.callbacks.push_back({nativeText, defaultText, severity});
}

void LoadedPlugin::configure(const std::string& text) {
  std::ofstream(m_directory / "conf" / "qmfsfi.conf") << text;
}

qmfi_objid* LoadedPlugin::object(const std::string& name) {
  return framework.qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.size()), 1);
}

kfi_domain& LoadedPlugin::node(const std::string& name) {
  kfi_domain& domain = m_nodes.emplace_back();
  domain.fid_objid = object(name);
  return domain;
}

kfi_domain& LoadedPlugin::configurationDomain() {
  if (m_configurationDomain == nullptr) m_configurationDomain = &node("configuration");
  return *m_configurationDomain;
}

kfi_domain& LoadedPlugin::initialisedNode(const std::string& mountPoint) {
  kfi_domain* configuration = &configurationDomain();
  if (configuration->fid_private == nullptr) {
    EXPECT_EQ(0, plugin.init_node(configuration, nullptr, 0, nullptr));
  }
  kfi_domain& domain = node(mountPoint);
  EXPECT_EQ(0, plugin.init_node(&domain, &configuration, 1, nullptr));
  return domain;
}

bool LoadedPlugin::hasTraceLog() const {
  return fs::exists(m_directory / "log" / "qmfsfi.log");
}

namespace {

// The record that begins with this line of the log; nothing when it goes on with the record before.
std::optional<TraceRecord> recordOf(const std::string& line) {
  int level = 0;
  int length = 0;
  const char* const head = "%*4d-%*2d-%*2dT%*2d:%*2d:%*2d.%*6dZ %*d.%*d L%1d%n";
  if (std::sscanf(line.c_str(), head, &level, &length) != 1 || line[static_cast<std::size_t>(length)] != ' ') {
    return std::nullopt;
  }
  return TraceRecord{level, line.substr(static_cast<std::size_t>(length) + 1)};
}

std::optional<TraceScope> scopeOf(const TraceRecord& record) {
  for (const std::string lead : {"Entering Function ", "Exiting Function "}) {
    const auto bracket = record.text.find(" [");
    if (record.level != 6 || !record.text.starts_with(lead) || bracket == std::string::npos) continue;
    const std::string place = record.text.substr(bracket + 2, record.text.size() - bracket - 3);
    return TraceScope{lead.starts_with("Enter"), record.text.substr(lead.size(), bracket - lead.size()), place};
  }
  return std::nullopt;
}

}  // namespace

std::vector<TraceRecord> LoadedPlugin::wholeTrace() const {
  std::vector<TraceRecord> records;
  std::ifstream log(m_directory / "log" / "qmfsfi.log");
  for (std::string line; std::getline(log, line);) {
    if (const auto record = recordOf(line)) {
      records.push_back(*record);
    } else if (!records.empty()) {
      // A text may hold line feeds.
      records.back().text += "\n" + line;
    } else {
      ADD_FAILURE() << "not a trace record: " << line;
    }
  }
  return records;
}

std::vector<TraceRecord> LoadedPlugin::trace() const {
  std::vector<TraceRecord> records;
  for (const auto& record : wholeTrace()) {
    if (!scopeOf(record)) records.push_back(record);
  }
  return {records.begin() + static_cast<std::ptrdiff_t>(m_forgottenRecords), records.end()};
}

std::vector<TraceScope> LoadedPlugin::scopes() const {
  std::vector<TraceScope> found;
  for (const auto& record : wholeTrace()) {
    if (const auto scope = scopeOf(record)) found.push_back(*scope);
  }
  return {found.begin() + static_cast<std::ptrdiff_t>(m_forgottenScopes), found.end()};
}

std::vector<PushedMessage> LoadedPlugin::messages() {
  kfi_msg_info* list = nullptr;
  EXPECT_EQ(0, plugin.get_last_error(&list));
  std::vector<PushedMessage> pushed;
  for (const kfi_msg_info* record = list; record != nullptr; record = record->kmi_next) {
    // The arguments' own form is the framework's business; the text of an unknown message shows them.
    kfi_msg_info unknown = *record;
    std::string id = "UNKNOWN";
    unknown.kmi_id = id.data();
    unknown.kmi_next = nullptr;
    int length = 0;
    char* text = nullptr;
    EXPECT_EQ(0, plugin.get_locale_message(&length, &unknown, "", &text));
    const std::string shown = text != nullptr ? text : "";
    EXPECT_EQ(shown.size(), static_cast<std::size_t>(length));
    EXPECT_EQ(0, plugin.del_locale_message(&text));
    const std::string lead = id + ": ";
    pushed.push_back({record->kmi_id, shown.starts_with(lead) ? shown.substr(lead.size()) : "", record->kmi_severity,
                      record->kmi_file, record->kmi_line});
  }
  EXPECT_EQ(0, plugin.del_last_error(&list));
  return pushed;
}

void LoadedPlugin::expectNothingDone(const std::string& rule) {
  EXPECT_THAT(programs.commands(), ::testing::IsEmpty()) << rule;
  EXPECT_THAT(importedCalls().driverRequests(), ::testing::IsEmpty()) << rule;
  EXPECT_THAT(importedCalls().contextCalls(), ::testing::IsEmpty()) << rule;
}

void LoadedPlugin::forget() {
  programs.forget();
  importedCalls().forget();
  freezeCalls().forget();
  m_forgottenRecords += trace().size();
  m_forgottenScopes += scopes().size();
}

std::vector<int> LoadedPlugin::descriptorsOf(const std::string& path) {
  std::vector<int> found;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    if (fs::read_symlink(entry.path(), error) == path) found.push_back(std::stoi(entry.path().filename()));
  }
  return found;
}

void LoadedPlugin::closeDescriptorsOf(const std::string& path) {
  for (const int descriptor : descriptorsOf(path)) close(descriptor);
}

std::string LoadedPlugin::makeDirectory(const std::string& name) {
  const fs::path directory = m_directory / name;
  fs::create_directories(directory);
  return directory;
}

void StartedPlugin::SetUp() {
  LoadedPlugin::SetUp();
  if (HasFatalFailure()) return;
  ASSERT_EQ(0, startPlugin());
  forget();
}
