// Initialisation of primary and alternate nodes, and what it leaves in the framework's records.
#include <algorithm>

#include "plugin_fixture.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

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
    EXPECT_EQ(0, plugin.subobj_list(&domain, &objects, &count));
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) names.emplace_back(objects[i]->vid_name);
    framework.qmfi_free_buf(objects, static_cast<std::size_t>(count) * sizeof *objects);
    return names;
  }

  // The node-state text of a node.
  std::string state(kfi_domain& domain) {
    kfi_blob blob{};
    EXPECT_EQ(0, plugin.process_providerstate(&domain, &blob, 1));
    const std::string text = blob.kb_buffer != nullptr ? blob.kb_buffer : "";
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
  ASSERT_EQ(0, plugin.init_node(&domain, &configuration, 1, nullptr));
  EXPECT_EQ(0x802u, domain.fid_attr);
  EXPECT_EQ(domain.fid_objid->vid_name, domain.fid_name);
  EXPECT_EQ(nullptr, domain.fid_qnode_next);
  EXPECT_NE(nullptr, domain.fid_private);
  EXPECT_EQ(&mark, domain.fid_framework);
  EXPECT_STREQ("other", domain.fid_provider);
  EXPECT_EQ(nullptr, domain.fid_subobjs);
  ASSERT_NE(nullptr, domain.fid_qnode);
  EXPECT_STREQ("qmfs", domain.fid_qnode->kqn_fitype);
  EXPECT_EQ(&domain, domain.fid_qnode->kqn_node);
  EXPECT_EQ(configuration, domain.fid_qnode->kqn_config);
}

TEST_F(NodeInitialisation, RecordsDeviceAndMountOptions) {
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_node(&domain, &configuration, 1, nullptr));
  EXPECT_THAT(trace(),
              ElementsAre(traced(3, "Node: /mnt/a"), traced(6, "Calling qmfs_getsubobj for node : /mnt/a"),
                          traced(6, "Node: /mnt/a :: subobj: /dev/qm/dsk/dg1/vol1 "),
                          traced(6, "Added subobj to the privated data"), traced(3, "Node: /mnt/a :: mnt_opts: rw,log"),
                          traced(3, "Got mount options for filtering: rw,log"),
                          traced(3, "Setting filtered mount options: rw,log")));
  EXPECT_THAT(subObjects(domain), ElementsAre(device));
  EXPECT_EQ("<MNT_OPTS>rw,log</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n", state(domain));
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(NodeInitialisation, AsksForTheSubObjectWithTheTerminatorCounted) {
  ASSERT_EQ(0, plugin.init_node(&node("/mnt/a"), &configuration, 1, nullptr));
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{device, 21, 3}));
}

TEST_F(NodeInitialisation, WithoutDomainsDoesNotConsultTheMountTable) {
  table.makeUnreadable();
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_node(&domain, nullptr, 0, nullptr));
  EXPECT_THAT(trace(), ElementsAre(traced(3, "Node: /mnt/a")));
  ASSERT_NE(nullptr, domain.fid_qnode);
  EXPECT_STREQ("qmfs", domain.fid_qnode->kqn_fitype);
  EXPECT_EQ(&domain, domain.fid_qnode->kqn_node);
  EXPECT_EQ(nullptr, domain.fid_qnode->kqn_config);
  EXPECT_THAT(subObjects(domain), IsEmpty());
}

TEST_F(NodeInitialisation, TakesTheFirstOfSeveralDomainsAsConfiguration) {
  kfi_domain* domains[] = {&node("first"), &node("second")};
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_node(&domain, domains, 2, object("ignored")));
  EXPECT_EQ(domains[0], domain.fid_qnode->kqn_config);
}

TEST_F(NodeInitialisation, OfWhatIsNotMountedAsTheTypeFailsButKeepsItsQuiesceNode) {
  for (const std::string name : {"/mnt/other", "/mnt/none"}) {
    forget();
    kfi_domain& domain = node(name);
    EXPECT_EQ(6, plugin.init_node(&domain, &configuration, 1, nullptr));
    EXPECT_THAT(trace(), ElementsAre(traced(3, "Node: " + name), traced(6, "Calling qmfs_getsubobj for node : " + name),
                                     traced(1, "subobj not found for node : " + name)));
    expectMessage(messages(), "MSG_ERROR_SUBOBJ_NOT_FOUND", name);
    ASSERT_NE(nullptr, domain.fid_qnode);
    EXPECT_EQ(configuration, domain.fid_qnode->kqn_config);
    EXPECT_EQ(0x802u, domain.fid_attr);
    EXPECT_NE(nullptr, domain.fid_private);
  }
}

TEST_F(NodeInitialisation, WithoutAReadableMountTableFailsWithoutAMessage) {
  table.makeUnreadable();
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(6, plugin.init_node(&domain, &configuration, 1, nullptr));
  EXPECT_THAT(trace(), ElementsAre(traced(3, "Node: /mnt/a"), traced(6, "Calling qmfs_getsubobj for node : /mnt/a"),
                                   traced(1, "Mount point entry lookup failed")));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_NE(nullptr, domain.fid_qnode);
  EXPECT_NE(nullptr, domain.fid_private);
}

TEST_F(NodeInitialisation, OfANodeThatHasASubObjectKeepsItAndSetsTheOptionsAgain) {
  ASSERT_EQ(0, plugin.init_node(&node("/mnt/a"), &configuration, 1, nullptr));
  table.write("/dev/qm/dsk/dg1/vol2 /mnt/a qmfs ro 0 0\n");
  forget();
  // Another record of the same name shares the private data.
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_node(&domain, &configuration, 1, nullptr));
  EXPECT_THAT(
      trace(),
      ElementsAre(traced(3, "Node: /mnt/a"), traced(6, "Calling qmfs_getsubobj for node : /mnt/a"),
                  traced(6, "Node: /mnt/a :: subobj: /dev/qm/dsk/dg1/vol2 "), traced(3, "Node: /mnt/a :: mnt_opts: ro"),
                  traced(3, "Got mount options for filtering: ro"), traced(3, "Setting filtered mount options: ro")));
  EXPECT_EQ("<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n", state(domain));
}

TEST_F(NodeInitialisation, WithoutMemoryForTheQuiesceNodeIsACaughtError) {
  importedCalls().failBuffer(24);
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(6, plugin.init_node(&domain, &configuration, 1, nullptr));
  expectCaughtError(messages(), "Bad allocation for quiesce node", "initNode");
  EXPECT_EQ(nullptr, domain.fid_qnode);
  EXPECT_EQ(nullptr, domain.fid_private);
}

TEST_F(NodeInitialisation, WithoutAnIdentifierOfTheDeviceReturns6AndStoresNothing) {
  importedCalls().failIdentifier(device);
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(6, plugin.init_node(&domain, &configuration, 1, nullptr));
  EXPECT_THAT(subObjects(domain), IsEmpty());
}

TEST_F(NodeInitialisation, RefusesBadArgumentsBeforeItTouchesTheNode) {
  kfi_domain& domain = node("/mnt/a");
  kfi_domain unnamed{};
  qmfi_objid withoutText{nullptr, 0, 1};
  kfi_domain textless{};
  textless.fid_objid = &withoutText;
  EXPECT_EQ(3, plugin.init_node(nullptr, &configuration, 1, nullptr));
  EXPECT_EQ(3, plugin.init_node(&unnamed, &configuration, 1, nullptr));
  EXPECT_EQ(3, plugin.init_node(&textless, &configuration, 1, nullptr));
  EXPECT_EQ(3, plugin.init_node(&domain, nullptr, 1, nullptr));
  EXPECT_EQ(3, plugin.init_node(&domain, &configuration, -1, nullptr));
  EXPECT_EQ(0u, domain.fid_attr);
  EXPECT_EQ(nullptr, domain.fid_qnode);
  EXPECT_EQ(nullptr, domain.fid_private);
  EXPECT_EQ(nullptr, domain.fid_name);
}

TEST_F(NodeInitialisation, OfTwoNodesOfOneNameSharesPrivateData) {
  kfi_domain& first = node("/mnt/a");
  kfi_domain& second = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_node(&first, &configuration, 1, nullptr));
  ASSERT_EQ(0, plugin.init_node(&second, nullptr, 0, nullptr));
  EXPECT_THAT(subObjects(second), ElementsAre(device));
  plugin.deinit_node(&first);
  EXPECT_THAT(subObjects(second), ElementsAre(device));
  plugin.deinit_node(&second);
  kfi_domain& third = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_node(&third, nullptr, 0, nullptr));
  EXPECT_THAT(subObjects(third), IsEmpty());
}

TEST_F(NodeInitialisation, IsUndoneByDeinitialisation) {
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_node(&domain, &configuration, 1, nullptr));
  plugin.deinit_node(&domain);
  EXPECT_EQ(nullptr, domain.fid_qnode);
  EXPECT_EQ(nullptr, domain.fid_private);
  qmfi_objid** objects = nullptr;
  int count = -5;
  EXPECT_EQ(3, plugin.subobj_list(&domain, &objects, &count));
  EXPECT_EQ(nullptr, objects);
  EXPECT_EQ(-5, count);
  plugin.deinit_node(&domain);
  plugin.deinit_node(nullptr);
}

TEST_F(NodeInitialisation, IsUndoneForANodeThatLostItsName) {
  char path[] = "/mnt/a";
  qmfi_objid nameless{nullptr, 0, 1};
  for (qmfi_objid* const lost : {static_cast<qmfi_objid*>(nullptr), &nameless}) {
    kfi_domain& domain = node(path);
    ASSERT_EQ(0, plugin.init_node(&domain, &configuration, 1, nullptr));
    qmfi_objid* const identifier = domain.fid_objid;
    domain.fid_objid = lost;
    plugin.deinit_node(&domain);
    domain.fid_objid = identifier;
    EXPECT_EQ(nullptr, domain.fid_private);
    EXPECT_EQ(nullptr, domain.fid_qnode);
  }
}

class AlternateNodeInitialisation : public NodeInitialisation {};

TEST_F(AlternateNodeInitialisation, MakesNoQuiesceNode) {
  kfi_domain& target = node("/mnt/a");
  kfi_quiescenode stale{};
  target.fid_qnode = &stale;
  target.fid_qnode_next = &stale;
  ASSERT_EQ(0, plugin.init_altnode(nullptr, nullptr, &target));
  EXPECT_EQ(0x802u, target.fid_attr);
  EXPECT_EQ(target.fid_objid->vid_name, target.fid_name);
  EXPECT_EQ(nullptr, target.fid_qnode);
  EXPECT_EQ(nullptr, target.fid_qnode_next);
  EXPECT_NE(nullptr, target.fid_private);
}

TEST_F(AlternateNodeInitialisation, RecordsDeviceAndMountOptions) {
  kfi_domain& target = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_altnode(nullptr, nullptr, &target));
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_getsubobj for target : /mnt/a"),
                                   traced(3, "Node: /mnt/a :: subobj: /dev/qm/dsk/dg1/vol1 "),
                                   traced(3, "Node: /mnt/a :: mnt_opts: rw,log"),
                                   traced(3, "Got mount options for filtering: rw,log"),
                                   traced(3, "Setting filtered mount options: rw,log")));
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{device, 21, 3}));
  EXPECT_EQ("<MNT_OPTS>rw,log</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n", state(target));
}

TEST_F(AlternateNodeInitialisation, OfARemoteNodeIsTheSame) {
  kfi_domain& target = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_remnode(configuration, configuration, &target));
  EXPECT_EQ(0x802u, target.fid_attr);
  EXPECT_EQ(nullptr, target.fid_qnode);
  EXPECT_THAT(subObjects(target), ElementsAre(device));
}

TEST_F(AlternateNodeInitialisation, KeepsItsPrivateDataApartFromThePrimaryNodes) {
  kfi_domain& primary = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_node(&primary, nullptr, 0, nullptr));
  kfi_domain& target = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_altnode(nullptr, nullptr, &target));
  EXPECT_THAT(subObjects(target), ElementsAre(device));
  EXPECT_THAT(subObjects(primary), IsEmpty());
}

TEST_F(AlternateNodeInitialisation, WithoutATargetIsACaughtError) {
  for (const auto initialise : {plugin.init_altnode, plugin.init_remnode}) {
    EXPECT_EQ(6, initialise(configuration, configuration, nullptr));
    expectCaughtError(messages(), "initAltNode(), target node is invalid.", "initAltNode");
  }
}

TEST_F(AlternateNodeInitialisation, OfATargetWithoutANameIsInvalid) {
  kfi_domain unnamed{};
  EXPECT_EQ(3, plugin.init_altnode(nullptr, nullptr, &unnamed));
  EXPECT_EQ(0u, unnamed.fid_attr);
}

TEST_F(AlternateNodeInitialisation, OfWhatIsNotMountedAsTheTypeFails) {
  kfi_domain& target = node("/mnt/other");
  EXPECT_EQ(6, plugin.init_altnode(nullptr, nullptr, &target));
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_getsubobj for target : /mnt/other"),
                                   traced(1, "subobj not found for target : /mnt/other")));
  expectMessage(messages(), "MSG_ERROR_SUBOBJ_NOT_FOUND", "/mnt/other");
  EXPECT_EQ(0x802u, target.fid_attr);
  EXPECT_NE(nullptr, target.fid_private);
}

TEST_F(AlternateNodeInitialisation, WithoutAReadableMountTableFailsWithoutAMessage) {
  table.makeUnreadable();
  EXPECT_EQ(6, plugin.init_altnode(nullptr, nullptr, &node("/mnt/a")));
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_getsubobj for target : /mnt/a"),
                                   traced(1, "Mount point entry lookup failed")));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(AlternateNodeInitialisation, OfANodeThatHasASubObjectKeepsIt) {
  kfi_domain& target = node("/mnt/a");
  ASSERT_EQ(0, plugin.init_altnode(nullptr, nullptr, &target));
  table.write("/dev/qm/dsk/dg1/vol2 /mnt/a qmfs ro,log 0 0\n");
  ASSERT_EQ(0, plugin.init_altnode(nullptr, nullptr, &target));
  EXPECT_EQ("<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n", state(target));
}

TEST_F(AlternateNodeInitialisation, WithoutAnIdentifierOfTheDeviceReturns6AndStoresNothing) {
  importedCalls().failIdentifier(device);
  kfi_domain& target = node("/mnt/a");
  EXPECT_EQ(6, plugin.init_altnode(nullptr, nullptr, &target));
  EXPECT_THAT(subObjects(target), IsEmpty());
}

}  // namespace
