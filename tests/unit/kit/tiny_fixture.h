// The tiny provider, loaded anew for each test.
#ifndef TESTS_UNIT_KIT_TINY_FIXTURE_H
#define TESTS_UNIT_KIT_TINY_FIXTURE_H

#include <gtest/gtest.h>

#include <deque>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/environment.h"
#include "support/loaded_plugin.h"
#include "support/temporary_directory.h"
#include "tiny_control.h"

// The path of its library.
std::string builtTinyProvider();

// Split nodes with their domains, as a framework keeps them.
class SplitNodes {
 public:
  // Each node is named like its key.
  explicit SplitNodes(const std::vector<std::string>& keys) {
    for (const std::string& key : keys) {
      Record& record = m_records.emplace_back();
      record.key = key;
      record.domain.fid_name = record.key.data();
      record.node = {record.key.data(), &record.domain};
      m_list.push_back(&record.node);
    }
  }

  kfi_splitnode* operator[](std::size_t index) { return m_list[index]; }
  kfi_splitnode** list() { return m_list.data(); }
  int count() const { return static_cast<int>(m_list.size()); }
  kfi_domain& domain(std::size_t index) { return m_records[index].domain; }

 private:
  struct Record {
    std::string key;
    kfi_domain domain{};
    kfi_splitnode node{};
  };
  std::deque<Record> m_records;
  std::vector<kfi_splitnode*> m_list;
};

class TinyProvider : public testing::Test {
 protected:
  TinyProvider() { control() = TinyControl(); }
  ~TinyProvider() override {
    m_plugin->fi_pgn_fini();
    // What the tests put there is code of this program.
    control() = TinyControl();
  }

  int init(kfi_context* context = nullptr) {
    kfi_version version{};
    char fimName[] = "host";
    return m_plugin->fi_pgn_init(context, &version, fimName);
  }

  TinyControl& control() const { return *m_control; }

  // What was called since the last time this was asked.
  std::vector<std::string> takeCalls() { return std::exchange(control().calls, {}); }

  // The identifiers and serialised arguments of the messages that were pushed since the last time, newest first.
  std::vector<std::pair<std::string, std::string>> takeMessages() {
    kfi_msg_info* list = nullptr;
    EXPECT_EQ(m_plugin->fi_pgn_get_last_error(&list), 0);
    std::vector<std::pair<std::string, std::string>> messages;
    for (const kfi_msg_info* message = list; message != nullptr; message = message->kmi_next) {
      messages.emplace_back(message->kmi_id, message->kmi_args);
    }
    EXPECT_EQ(m_plugin->fi_pgn_del_last_error(&list), 0);
    return messages;
  }

  TemporaryDirectory m_directory;
  EnvironmentVariable m_logDirectory{"QMFI_LOG_DIR", m_directory.path()};
  EnvironmentVariable m_traceLevel{"QMFI_TRACE_LEVEL", std::nullopt};
  LoadedPlugin m_plugin{builtTinyProvider(), "tinyfi"};

 private:
  TinyControl* const m_control = m_plugin.function<TinyControlFunction>(tinyControlName)();
};

#endif
