// The life of a provider, step by step as docs/provider-contract.md draws it.
#include <functional>
#include <map>
#include <regex>
#include <sstream>

#include "build_tree.h"
#include "plugin_fixture.h"
#include "support/text_file.h"

namespace {

using ::testing::ElementsAre;

// The first word of each line of the drawing that has one, beside its lines.
std::vector<std::string> drawnSteps() {
  std::istringstream text(textOf(QMFI_SOURCE_DIR "/docs/provider-contract.md"));
  const std::regex step("   (?:  \\|   )?([a-z_]+)(?: .*)?");
  std::vector<std::string> steps;
  std::string line;
  while (std::getline(text, line) && line != "## Life of a provider") continue;
  while (std::getline(text, line) && line != "```") continue;
  while (std::getline(text, line) && line != "```") {
    std::smatch found;
    if (std::regex_match(line, found, step)) steps.push_back(found[1]);
  }
  return steps;
}

class LifeCycle : public LoadedPlugin {
 protected:
  void SetUp() override {
    LoadedPlugin::SetUp();
    m_mountPoint = makeDirectory("data");
    freezeCalls().watch(m_mountPoint);
    table.add("/dev/qm/dsk/dg1/data", m_mountPoint);
  }

  void claim() {
    qmfi_objid** groups = nullptr;
    int count = 0;
    EXPECT_EQ(plugin.claim(object(m_mountPoint), &groups, &count), 1);
    EXPECT_EQ(count, 1);
  }

  void initNode() { m_node = &initialisedNode(m_mountPoint); }

  void quiesce() { EXPECT_EQ(plugin.quiesce(nullptr, &m_node->fid_qnode, 1, nullptr), 0); }

  void unquiesce() { plugin.unquiesce(nullptr, &m_node->fid_qnode, 1); }

  void buildAlternate() {
    m_node->fid_provider = "qmfsfi"_text;
    qmfi_objid* snapshots[] = {object("/dev/qm/dsk/dg1/snap1")};
    qmfi_objid* alternate = nullptr;
    EXPECT_EQ(plugin.build_alttree(m_node, "nightly"_text, nullptr, snapshots, 1, &alternate), 0);
    ASSERT_NE(alternate, nullptr);
    m_alternate = &node(alternate->vid_name);
    table.add("/dev/qm/dsk/dg1/snap1", alternate->vid_name, "qmfs", "ro");
  }

  void fetchState() {
    kfi_blob blob{};
    EXPECT_EQ(plugin.process_providerstate(m_node, &blob, 1), 0);
    ASSERT_NE(blob.kb_buffer, nullptr);
    framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
  }

  void deport() { EXPECT_EQ(plugin.deport_tree(m_node, m_alternate, nullptr), 0); }

  std::string m_mountPoint;
  kfi_domain* m_node = nullptr;
  kfi_domain* m_alternate = nullptr;
};

TEST_F(LifeCycle, GoesAsItIsDrawn) {
  const std::map<std::string, std::function<void()>> steps = {
      {"dlopen", [] {}},  // the fixture has done it
      {"init", [&] { EXPECT_EQ(startPlugin(), 0); }},
      {"claim", [&] { claim(); }},
      {"init_node", [&] { initNode(); }},
      {"quiesce", [&] { quiesce(); }},
      {"unquiesce", [&] { unquiesce(); }},
      {"build_alttree", [&] { buildAlternate(); }},
      {"process_providerstate", [&] { fetchState(); }},
      {"deport_tree", [&] { deport(); }},
      {"deinit_node", [&] { deinitialiseNodes(); }},
      {"fini", [&] { stopPlugin(); }},
      {"dlclose", [&] { unloadPlugin(); }},
  };
  std::vector<std::string> walked;
  for (const std::string& step : drawnSteps()) {
    ASSERT_TRUE(steps.contains(step)) << "the drawing has a step that is not known here: " << step;
    steps.at(step)();
    EXPECT_TRUE(!started || messages().empty()) << step;
    walked.push_back(step);
  }
  EXPECT_THAT(walked, ElementsAre("dlopen", "init", "claim", "init_node", "quiesce", "unquiesce", "build_alttree",
                                  "process_providerstate", "deport_tree", "deinit_node", "fini", "dlclose"));
}

}  // namespace
