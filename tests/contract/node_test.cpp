// Initialisation of primary and alternate nodes, and what it leaves in the framework's records.
#include <algorithm>

#include "plugin_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* const device = "/dev/qm/dsk/dg1/vol1";

class NodeInitialisation : public StartedPlugin {
 protected:
  void SetUp() override {
    StartedPlugin::SetUp();
    table.add(device, "/mnt/a", "qmfs", "rw,log");
    table.add("/dev/sda1", "/mnt/other", "xfs");
    configuration = &node("configuration");
  }

  // The names of a node's sub-objects.
  std::vector<std::string> subObjects(kfi_domain& domain) {
    qmfi_objid** objects = nullptr;
    int count = 0;
    EXPECT_EQ(plugin.subobj_list(&domain, &objects, &count), 0);
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) names.emplace_back(objects[i]->vid_name);
    framework.qmfi_free_buf(objects, static_cast<std::size_t>(count) * sizeof(void*));
    return names;
  }

  // The node-state text of a node.
  std::string state(kfi_domain& domain) {
    kfi_blob blob{};
    EXPECT_EQ(plugin.process_providerstate(&domain, &blob, 1), 0);
    std::string text = blob.kb_buffer != nullptr ? blob.kb_buffer : "";
    framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
    return text;
  }

  kfi_domain* configuration = nullptr;
};

TEST_F(NodeInitialisation, FillsTheFrameworksRecord) {
  kfi_domain& domain = node("/mnt/a");
  domain.fid_attr = 0x41;
  domain.fid_qnode_next = &domain;
  int mark = 0;
  domain.fid_framework = &mark;
  domain.fid_provider = "other"_text;
  ASSERT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 0);
  EXPECT_EQ(domain.fid_attr, 0x802u);
  EXPECT_EQ(domain.fid_name, domain.fid_objid->vid_name);
  EXPECT_EQ(domain.fid_qnode_next, nullptr);
  EXPECT_NE(domain.fid_private, nullptr);
  EXPECT_EQ(domain.fid_framework, &mark);
  EXPECT_STREQ(domain.fid_provider, "other");
  EXPECT_EQ(domain.fid_subobjs, nullptr);
  ASSERT_NE(domain.fid_qnode, nullptr);
  EXPECT_STREQ(domain.fid_qnode->kqn_fitype, "qmfs");
  EXPECT_EQ(domain.fid_qnode->kqn_node, &domain);
  EXPECT_EQ(domain.fid_qnode->kqn_config, configuration);
}

TEST_F(NodeInitialisation, RecordsDeviceAndMountOptions) {
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 0);
  EXPECT_THAT(trace(),
              ElementsAre(traced(3, "Node: /mnt/a"), traced(6, "Calling qmfs_getsubobj for node : /mnt/a"),
                          traced(6, "Node: /mnt/a :: subobj: /dev/qm/dsk/dg1/vol1 "),
                          traced(6, "Added subobj to the privated data"), traced(3, "Node: /mnt/a :: mnt_opts: rw,log"),
                          traced(3, "Got mount options for filtering: rw,log"),
                          traced(3, "Setting filtered mount options: rw,log")));
  EXPECT_THAT(subObjects(domain), ElementsAre(device));
  EXPECT_EQ(state(domain), "<MNT_OPTS>rw,log</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n");
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(NodeInitialisation, AsksForTheSubObjectWithTheTerminatorCounted) {
  ASSERT_EQ(plugin.init_node(&node("/mnt/a"), &configuration, 1, nullptr), 0);
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{device, 21, 3}));
}

TEST_F(NodeInitialisation, WithoutDomainsDoesNotConsultTheMountTable) {
  table.makeUnreadable();
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(plugin.init_node(&domain, nullptr, 0, nullptr), 0);
  EXPECT_THAT(trace(), ElementsAre(traced(3, "Node: /mnt/a")));
  ASSERT_NE(domain.fid_qnode, nullptr);
  EXPECT_STREQ(domain.fid_qnode->kqn_fitype, "qmfs");
  EXPECT_EQ(domain.fid_qnode->kqn_node, &domain);
  EXPECT_EQ(domain.fid_qnode->kqn_config, nullptr);
  EXPECT_THAT(subObjects(domain), IsEmpty());
}

TEST_F(NodeInitialisation, TakesTheFirstOfSeveralDomainsAsConfiguration) {
  kfi_domain* domains[] = {&node("first"), &node("second")};
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(plugin.init_node(&domain, domains, 2, object("ignored")), 0);
  EXPECT_EQ(domain.fid_qnode->kqn_config, domains[0]);
}

TEST_F(NodeInitialisation, OfWhatIsNotMountedAsTheTypeFailsButKeepsItsQuiesceNode) {
  for (const std::string name : {"/mnt/other", "/mnt/none"}) {
    forget();
    kfi_domain& domain = node(name);
    EXPECT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 6);
    EXPECT_THAT(trace(), ElementsAre(traced(3, "Node: " + name), traced(6, "Calling qmfs_getsubobj for node : " + name),
                                     traced(1, "subobj not found for node : " + name)));
    expectMessage(messages(), "MSG_ERROR_SUBOBJ_NOT_FOUND", name);
    ASSERT_NE(domain.fid_qnode, nullptr);
    EXPECT_EQ(domain.fid_qnode->kqn_config, configuration);
    EXPECT_EQ(domain.fid_attr, 0x802u);
    EXPECT_NE(domain.fid_private, nullptr);
  }
}

TEST_F(NodeInitialisation, WithoutAReadableMountTableFailsWithoutAMessage) {
  table.makeUnreadable();
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 6);
  EXPECT_THAT(trace(), ElementsAre(traced(3, "Node: /mnt/a"), traced(6, "Calling qmfs_getsubobj for node : /mnt/a"),
                                   traced(1, "Mount point entry lookup failed")));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_NE(domain.fid_qnode, nullptr);
  EXPECT_NE(domain.fid_private, nullptr);
}

TEST_F(NodeInitialisation, OfANodeThatHasASubObjectKeepsItAndSetsTheOptionsAgain) {
  ASSERT_EQ(plugin.init_node(&node("/mnt/a"), &configuration, 1, nullptr), 0);
  table.write("/dev/qm/dsk/dg1/vol2 /mnt/a qmfs ro 0 0\n");
  forget();
  // Another record of the same name shares the private data.
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 0);
  EXPECT_THAT(
      trace(),
      ElementsAre(traced(3, "Node: /mnt/a"), traced(6, "Calling qmfs_getsubobj for node : /mnt/a"),
                  traced(6, "Node: /mnt/a :: subobj: /dev/qm/dsk/dg1/vol2 "), traced(3, "Node: /mnt/a :: mnt_opts: ro"),
                  traced(3, "Got mount options for filtering: ro"), traced(3, "Setting filtered mount options: ro")));
  EXPECT_EQ(state(domain), "<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n");
}

TEST_F(NodeInitialisation, WithoutMemoryForTheQuiesceNodeIsACaughtError) {
  importedCalls().failBuffer(24);
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 6);
  expectCaughtError(messages(), "Bad allocation for quiesce node", "initNode");
  EXPECT_EQ(domain.fid_qnode, nullptr);
  EXPECT_EQ(domain.fid_private, nullptr);
}

TEST_F(NodeInitialisation, WithoutAnIdentifierOfTheDeviceReturns6AndStoresNothing) {
  importedCalls().failIdentifier(device);
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 6);
  EXPECT_THAT(subObjects(domain), IsEmpty());
}

TEST_F(NodeInitialisation, RefusesBadArgumentsBeforeItTouchesTheNode) {
  kfi_domain& domain = node("/mnt/a");
  kfi_domain unnamed{};
  qmfi_objid withoutText{nullptr, 0, 1};
  kfi_domain textless{};
  textless.fid_objid = &withoutText;
  EXPECT_EQ(plugin.init_node(nullptr, &configuration, 1, nullptr), 3);
  EXPECT_EQ(plugin.init_node(&unnamed, &configuration, 1, nullptr), 3);
  EXPECT_EQ(plugin.init_node(&textless, &configuration, 1, nullptr), 3);
  EXPECT_EQ(plugin.init_node(&domain, nullptr, 1, nullptr), 3);
  EXPECT_EQ(plugin.init_node(&domain, &configuration, -1, nullptr), 3);
  EXPECT_EQ(domain.fid_attr, 0u);
  EXPECT_EQ(domain.fid_qnode, nullptr);
  EXPECT_EQ(domain.fid_private, nullptr);
  EXPECT_EQ(domain.fid_name, nullptr);
}

TEST_F(NodeInitialisation, OfTwoNodesOfOneNameSharesPrivateData) {
  kfi_domain& first = node("/mnt/a");
  kfi_domain& second = node("/mnt/a");
  ASSERT_EQ(plugin.init_node(&first, &configuration, 1, nullptr), 0);
  ASSERT_EQ(plugin.init_node(&second, nullptr, 0, nullptr), 0);
  EXPECT_THAT(subObjects(second), ElementsAre(device));
  plugin.deinit_node(&first);
  EXPECT_THAT(subObjects(second), ElementsAre(device));
  plugin.deinit_node(&second);
  kfi_domain& third = node("/mnt/a");
  ASSERT_EQ(plugin.init_node(&third, nullptr, 0, nullptr), 0);
  EXPECT_THAT(subObjects(third), IsEmpty());
}

TEST_F(NodeInitialisation, IsUndoneByDeinitialisation) {
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 0);
  plugin.deinit_node(&domain);
  EXPECT_EQ(domain.fid_qnode, nullptr);
  EXPECT_EQ(domain.fid_private, nullptr);
  qmfi_objid** objects = nullptr;
  int count = -5;
  EXPECT_EQ(plugin.subobj_list(&domain, &objects, &count), 3);
  EXPECT_EQ(objects, nullptr);
  EXPECT_EQ(count, -5);
  plugin.deinit_node(&domain);
  plugin.deinit_node(nullptr);
}

TEST_F(NodeInitialisation, IsUndoneForANodeThatLostItsName) {
  char path[] = "/mnt/a";
  qmfi_objid nameless{nullptr, 0, 1};
  for (qmfi_objid* const lost : {static_cast<qmfi_objid*>(nullptr), &nameless}) {
    kfi_domain& domain = node(path);
    ASSERT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 0);
    qmfi_objid* const identifier = domain.fid_objid;
    domain.fid_objid = lost;
    plugin.deinit_node(&domain);
    domain.fid_objid = identifier;
    EXPECT_EQ(domain.fid_private, nullptr);
    EXPECT_EQ(domain.fid_qnode, nullptr);
  }
}

class AlternateNodeInitialisation : public NodeInitialisation {};

TEST_F(AlternateNodeInitialisation, MakesNoQuiesceNode) {
  kfi_domain& target = node("/mnt/a");
  kfi_quiescenode stale{};
  target.fid_qnode = &stale;
  target.fid_qnode_next = &stale;
  ASSERT_EQ(plugin.init_altnode(nullptr, nullptr, &target), 0);
  EXPECT_EQ(target.fid_attr, 0x802u);
  EXPECT_EQ(target.fid_name, target.fid_objid->vid_name);
  EXPECT_EQ(target.fid_qnode, nullptr);
  EXPECT_EQ(target.fid_qnode_next, nullptr);
  EXPECT_NE(target.fid_private, nullptr);
}

TEST_F(AlternateNodeInitialisation, RecordsDeviceAndMountOptions) {
  kfi_domain& target = node("/mnt/a");
  ASSERT_EQ(plugin.init_altnode(nullptr, nullptr, &target), 0);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_getsubobj for target : /mnt/a"),
                                   traced(3, "Node: /mnt/a :: subobj: /dev/qm/dsk/dg1/vol1 "),
                                   traced(3, "Node: /mnt/a :: mnt_opts: rw,log"),
                                   traced(3, "Got mount options for filtering: rw,log"),
                                   traced(3, "Setting filtered mount options: rw,log")));
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{device, 21, 3}));
  EXPECT_EQ(state(target), "<MNT_OPTS>rw,log</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n");
}

TEST_F(AlternateNodeInitialisation, OfARemoteNodeIsTheSame) {
  kfi_domain& target = node("/mnt/a");
  ASSERT_EQ(plugin.init_remnode(configuration, configuration, &target), 0);
  EXPECT_EQ(target.fid_attr, 0x802u);
  EXPECT_EQ(target.fid_qnode, nullptr);
  EXPECT_THAT(subObjects(target), ElementsAre(device));
}

TEST_F(AlternateNodeInitialisation, KeepsItsPrivateDataApartFromThePrimaryNodes) {
  kfi_domain& primary = node("/mnt/a");
  ASSERT_EQ(plugin.init_node(&primary, nullptr, 0, nullptr), 0);
  kfi_domain& target = node("/mnt/a");
  ASSERT_EQ(plugin.init_altnode(nullptr, nullptr, &target), 0);
  EXPECT_THAT(subObjects(target), ElementsAre(device));
  EXPECT_THAT(subObjects(primary), IsEmpty());
}

TEST_F(AlternateNodeInitialisation, WithoutATargetIsACaughtError) {
  for (const auto initialise : {plugin.init_altnode, plugin.init_remnode}) {
    EXPECT_EQ(initialise(configuration, configuration, nullptr), 6);
    expectCaughtError(messages(), "initAltNode(), target node is invalid.", "initAltNode");
  }
}

TEST_F(AlternateNodeInitialisation, OfATargetWithoutANameIsInvalid) {
  kfi_domain unnamed{};
  EXPECT_EQ(plugin.init_altnode(nullptr, nullptr, &unnamed), 3);
  EXPECT_EQ(unnamed.fid_attr, 0u);
}

TEST_F(AlternateNodeInitialisation, OfWhatIsNotMountedAsTheTypeFails) {
  kfi_domain& target = node("/mnt/other");
  EXPECT_EQ(plugin.init_altnode(nullptr, nullptr, &target), 6);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_getsubobj for target : /mnt/other"),
                                   traced(1, "subobj not found for target : /mnt/other")));
  expectMessage(messages(), "MSG_ERROR_SUBOBJ_NOT_FOUND", "/mnt/other");
  EXPECT_EQ(target.fid_attr, 0x802u);
  EXPECT_NE(target.fid_private, nullptr);
}

TEST_F(AlternateNodeInitialisation, WithoutAReadableMountTableFailsWithoutAMessage) {
  table.makeUnreadable();
  EXPECT_EQ(plugin.init_altnode(nullptr, nullptr, &node("/mnt/a")), 6);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_getsubobj for target : /mnt/a"),
                                   traced(1, "Mount point entry lookup failed")));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(AlternateNodeInitialisation, OfANodeThatHasASubObjectKeepsIt) {
  kfi_domain& target = node("/mnt/a");
  ASSERT_EQ(plugin.init_altnode(nullptr, nullptr, &target), 0);
  table.write("/dev/qm/dsk/dg1/vol2 /mnt/a qmfs ro,log 0 0\n");
  ASSERT_EQ(plugin.init_altnode(nullptr, nullptr, &target), 0);
  EXPECT_EQ(state(target), "<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n");
}

TEST_F(AlternateNodeInitialisation, WithoutAnIdentifierOfTheDeviceReturns6AndStoresNothing) {
  importedCalls().failIdentifier(device);
  kfi_domain& target = node("/mnt/a");
  EXPECT_EQ(plugin.init_altnode(nullptr, nullptr, &target), 6);
  EXPECT_THAT(subObjects(target), IsEmpty());
}

}  // namespace
