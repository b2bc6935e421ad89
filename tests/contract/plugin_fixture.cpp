// Test fixtures that load the built plug-in and use nothing but its exports.
#include "plugin_fixture.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "build_tree.h"
#include "support/process_state.h"
#include "support/text_file.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* pluginPath = QMFI_BINARY_DIR "/lib/libqmfsfi.so";

}  // namespace

char* operator""_text(const char* text, std::size_t) {
  return const_cast<char*>(text);
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
  ASSERT_EQ(messages.size(), 1u) << ::testing::PrintToString(messages);
  const PushedMessage& message = messages.front();
  EXPECT_EQ(message.id, id);
  EXPECT_EQ(message.arguments, arguments);
  EXPECT_EQ(message.severity, severity);
  EXPECT_TRUE(message.file.starts_with("qmfs_plugin")) << message.file;
  EXPECT_EQ(message.file.find('/'), std::string::npos) << message.file;
  EXPECT_LT(0, message.line);
}

void expectCaught(const std::vector<PushedMessage>& messages, const std::string& id,
                  const std::string& leadingArguments) {
  ASSERT_EQ(messages.size(), 1u) << ::testing::PrintToString(messages);
  const PushedMessage& message = messages.front();
  expectMessage(messages, id, leadingArguments + ", " + message.file + ", " + std::to_string(message.line), 3);
}

void expectCaughtError(const std::vector<PushedMessage>& messages, const std::string& what,
                       const std::string& function) {
  ASSERT_EQ(messages.size(), 1u) << ::testing::PrintToString(messages);
  const PushedMessage& message = messages.front();
  expectMessage(messages, "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION", message.arguments, 3);
  ASSERT_TRUE(message.arguments.starts_with(what + ", ")) << message.arguments;
  // Source file, function and line of the throw.
  const std::string rest = message.arguments.substr(what.size() + 2);
  EXPECT_TRUE(rest.starts_with("qmfs_")) << rest;
  EXPECT_NE(rest.find(".cpp, " + function + ", "), std::string::npos) << rest;
  EXPECT_LT(0, std::stoi(rest.substr(rest.rfind(' ') + 1))) << rest;
}

void LoadedPlugin::SetUp() {
  m_mountsBefore = textOf("/proc/self/mounts");
  m_descriptorsBefore = openDescriptors();
  m_library.emplace(pluginPath);
  plugin = PluginFunctions(*m_library);
  framework = FrameworkFunctions(*m_library);
  importedCalls().reset(m_library->handle());
}

void LoadedPlugin::TearDown() {
  if (m_library) {
    if (started) stopPlugin();
    unloadPlugin();
  }
  EXPECT_EQ(openDescriptors(), m_descriptorsBefore);
  EXPECT_EQ(textOf("/proc/self/mounts"), m_mountsBefore);
  EXPECT_FALSE(hasChild()) << "a child process is left";
}

void LoadedPlugin::unloadPlugin() {
  m_library.reset();
  started = false;
  EXPECT_EQ(dlopen(pluginPath, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it stays loaded";
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
  m_directory.write("conf/qmfsfi.conf", text);
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
    EXPECT_EQ(plugin.init_node(configuration, nullptr, 0, nullptr), 0);
  }
  kfi_domain& domain = node(mountPoint);
  EXPECT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 0);
  return domain;
}

bool LoadedPlugin::hasTraceLog() const {
  return fs::exists(m_directory.file("log/qmfsfi.log"));
}

namespace {

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

std::string LoadedPlugin::builtCatalogs() {
  return QMFI_BINARY_DIR "/share/qmfi/catalogs";
}

std::vector<TraceRecord> LoadedPlugin::wholeTrace() const {
  std::vector<TraceRecord> records = traceRecords(m_directory.file("log/qmfsfi.log"));
  EXPECT_TRUE(records.empty() || records.front().level != 0) << "not a trace record: " << records.front();
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
  EXPECT_EQ(plugin.get_last_error(&list), 0);
  std::vector<PushedMessage> pushed;
  for (const kfi_msg_info* record = list; record != nullptr; record = record->kmi_next) {
    // The arguments' own form is the framework's business; the text of an unknown message shows them.
    kfi_msg_info unknown = *record;
    std::string id = "UNKNOWN";
    unknown.kmi_id = id.data();
    unknown.kmi_next = nullptr;
    int length = 0;
    char* text = nullptr;
    EXPECT_EQ(plugin.get_locale_message(&length, &unknown, "", &text), 0);
    const std::string shown = text != nullptr ? text : "";
    EXPECT_EQ(static_cast<std::size_t>(length), shown.size());
    EXPECT_EQ(plugin.del_locale_message(&text), 0);
    const std::string lead = id + ": ";
    pushed.push_back({record->kmi_id, shown.starts_with(lead) ? shown.substr(lead.size()) : "", record->kmi_severity,
                      record->kmi_file, record->kmi_line});
  }
  EXPECT_EQ(plugin.del_last_error(&list), 0);
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

void LoadedPlugin::closeDescriptorsOf(const std::string& path) {
  for (const int descriptor : descriptorsOf(path)) close(descriptor);
}

void StartedPlugin::SetUp() {
  LoadedPlugin::SetUp();
  ASSERT_EQ(startPlugin(), 0);
  forget();
}
