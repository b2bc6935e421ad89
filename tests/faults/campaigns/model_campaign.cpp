// Every short text that can be made of twelve tokens, as a node's state and as a list of mount options, compared with
// the rules in their plainest form.
#include <algorithm>
#include <array>
#include <cstdlib>

#include "campaigns.h"
#include "host.h"
#include "hostile_names.h"
#include "support/provider_model.h"

namespace faults {

namespace {

using provider_model::NodeState;

using Tokens = std::array<std::string, 12>;

const Tokens stateTokens = {"<MNT_OPTS>", "</MNT_OPTS>", "<SUBOBJ>", "</SUBOBJ>",  "<ALTOBJ>", "</ALTOBJ>",
                            "x",          "12345678",    "<",        "</MNT_OPTS", "\n",       " "};
const Tokens optionTokens = {"ro", "log", ",", "rw", "delaylog", "RO", "=1", " ", "\\040", "\n", "0", "</MNT_OPTS>"};

// All texts of one token up to so many, in order.
class Texts {
 public:
  Texts(const Tokens& tokens, int longest) : m_tokens(tokens), m_longest(longest) {}

  // False when there are no more.
  bool next(std::string& text) {
    if (static_cast<int>(m_places.size()) > m_longest) return false;
    text.clear();
    for (const std::size_t place : m_places) text += m_tokens[place];
    advance();
    return true;
  }

 private:
  void advance() {
    for (std::size_t& place : m_places) {
      if (++place < m_tokens.size()) return;
      place = 0;
    }
    m_places.push_back(0);
  }

  const Tokens& m_tokens;
  const int m_longest;
  std::vector<std::size_t> m_places{0};
};

// The plug-in with what the checks of many texts share. Each text has a node of its own, which is de-initialised.
class TextHost {
 public:
  TextHost(Campaign& campaign, Machine& machine) : m_campaign(campaign), m_host(machine) {
    m_campaign.expect(m_host.start(), "the plug-in does not start");
  }

  void checkState(const std::string& text);
  void checkOptions(const std::string& mountPoint, const std::string& device, const std::string& text);

  Machine& machine() { return m_host.machine; }

 private:
  int store(kfi_domain& node, std::string text);
  std::string fetched(kfi_domain& node);
  std::vector<std::string> subObjects(kfi_domain& node);
  void expectMessages(bool thrown, const std::string& text);

  Campaign& m_campaign;
  Host m_host;
};

int TextHost::store(kfi_domain& node, std::string text) {
  kfi_blob blob{text.size() + 1, text.data(), 1};
  return m_host.call.process_providerstate(&node, &blob, 0);
}

std::string TextHost::fetched(kfi_domain& node) {
  kfi_blob blob{};
  const int status = m_host.call.process_providerstate(&node, &blob, 1);
  if (status != 0 || blob.kb_buffer == nullptr) return "status " + std::to_string(status);
  std::string text(blob.kb_buffer, blob.kb_length - 1);
  m_host.call.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
  return text;
}

std::vector<std::string> TextHost::subObjects(kfi_domain& node) {
  qmfi_objid** objects = nullptr;
  int count = 0;
  m_host.call.subobj_list(&node, &objects, &count);
  std::vector<std::string> names(static_cast<std::size_t>(count));
  std::transform(objects, objects + count, names.begin(), [](const qmfi_objid* object) { return object->vid_name; });
  m_host.call.qmfi_free_buf(objects, static_cast<std::size_t>(count) * sizeof(void*));
  return names;
}

void TextHost::expectMessages(bool thrown, const std::string& text) {
  const auto messages = m_host.provider.takeMessages();
  const std::string expected = "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION [\"std::out_of_range\"";
  const bool asExpected = thrown ? messages.size() == 1 && messages[0].starts_with(expected) : messages.empty();
  m_campaign.expect(asExpected, "wrong messages for [" + text + "]");
}

// Restores the text over a state that is there, so that what it leaves alone shows.
void TextHost::checkState(const std::string& text) {
  const NodeState before{.options = "before", .subObjects = {"first"}, .altObject = "old"};
  NodeState expected = provider_model::restoredState(text, before.altObject);
  if (expected.tooShort) expected.options = before.options;
  expected.subObjects.insert(expected.subObjects.begin(), before.subObjects.front());

  std::string name = "/node";
  qmfi_objid identifier{name.data(), static_cast<std::uint32_t>(name.size()), 1};
  kfi_domain node{};
  node.fid_objid = &identifier;
  store(node, provider_model::stateText(before));
  m_campaign.expectEqual<std::int64_t>(expected.tooShort ? 6 : 0, store(node, text), "status for [" + text + "]");
  m_campaign.expectEqual(expected.subObjects, subObjects(node), "sub-objects for [" + text + "]");
  m_campaign.expectEqual(provider_model::stateText(expected), fetched(node), "state for [" + text + "]");
  expectMessages(expected.tooShort, text);
  m_host.call.deinit_node(&node);
}

void TextHost::checkOptions(const std::string& mountPoint, const std::string& device, const std::string& text) {
  const NodeState expected{.options = provider_model::keptOptions(provider_model::optionList(text)),
                           .subObjects = {device},
                           .altObject = {}};
  std::string name = mountPoint;
  qmfi_objid identifier{name.data(), static_cast<std::uint32_t>(name.size()), 1};
  kfi_domain node{};
  node.fid_objid = &identifier;
  const int status = m_host.call.init_altnode(nullptr, nullptr, &node);
  m_campaign.expectEqual<std::int64_t>(0, status, "status for options [" + text + "]");
  m_campaign.expectEqual(provider_model::stateText(expected), fetched(node), "state for options [" + text + "]");
  expectMessages(false, text);
  m_host.call.deinit_node(&node);
}

// One block of texts, in a plug-in of its own: what it keeps until it is unloaded stays small.
constexpr int textsInBlock = 20736;

bool checkBlockOfStates(TextHost& host, Texts& texts, Campaign& campaign) {
  std::string text;
  for (int i = 0; i < textsInBlock; ++i) {
    if (!texts.next(text)) return false;
    host.checkState(text);
    campaign.count("states");
  }
  return true;
}

// A mount table holds the options of some texts at a time, so that few have to be written.
bool checkBlockOfOptions(TextHost& host, Texts& texts, Campaign& campaign) {
  constexpr int linesInTable = 64;
  for (int i = 0; i < textsInBlock / linesInTable; ++i) {
    std::vector<std::string> options;
    std::string table;
    for (std::string text; static_cast<int>(options.size()) < linesInTable && texts.next(text);) {
      const std::string number = std::to_string(options.size());
      table.append("/dev/vol").append(number).append(" /mnt").append(number);
      table.append(" qmfs ").append(inMountTable(text)).append(" 0 0\n");
      options.push_back(text);
    }
    host.machine().table.write(table);
    for (std::size_t line = 0; line < options.size(); ++line) {
      const std::string number = std::to_string(line);
      host.checkOptions("/mnt" + number, "/dev/vol" + number, options[line]);
      campaign.count("option lists");
    }
    if (static_cast<int>(options.size()) < linesInTable) return false;
  }
  return true;
}

template <typename CheckBlock>
void checkAll(Campaign& campaign, Machine& machine, const char* name, const Tokens& tokens, CheckBlock&& checkBlock) {
  Texts texts(tokens, campaign.quick() ? 5 : 7);
  bool more = true;
  for (int block = 1; more; ++block) {
    campaign.begin(std::string(name) + ", block " + std::to_string(block));
    machine.reset();
    const std::string usualTable = machine.table.read();
    {
      TextHost host(campaign, machine);
      more = checkBlock(host, texts, campaign);
    }
    machine.table.write(usualTable);
    campaign.expectNone(machine.differences());
  }
}

}  // namespace

void runModelCampaign(Campaign& campaign) {
  Machine machine;
  // What is traced below errors would fill a disk.
  setenv("QMFI_TRACE_LEVEL", "1", 1);
  if (campaign.wants("states")) checkAll(campaign, machine, "states", stateTokens, checkBlockOfStates);
  if (campaign.wants("options")) checkAll(campaign, machine, "options", optionTokens, checkBlockOfOptions);
}

}  // namespace faults
