// The list from which everything about entry points is made.
#include "cfientryguard.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace {

const std::vector<std::string> ENTRY_POINTS = {
    "fi_pgn_build_alttree",
    "fi_pgn_cache_disable",
    "fi_pgn_cache_enable",
    "fi_pgn_check_node_existence",
    "fi_pgn_claim",
    "fi_pgn_config",
    "fi_pgn_createSnapReplicaNode",
    "fi_pgn_deinit_node",
    "fi_pgn_del_last_error",
    "fi_pgn_del_locale_message",
    "fi_pgn_deport_resource",
    "fi_pgn_deport_tree",
    "fi_pgn_disable_access",
    "fi_pgn_dispose",
    "fi_pgn_enable_access",
    "fi_pgn_enumerate_associations",
    "fi_pgn_enumerate_enclosures",
    "fi_pgn_enumerate_fims",
    "fi_pgn_enumerate_group_nodes",
    "fi_pgn_enumerate_host_nodes",
    "fi_pgn_enumerate_nodes",
    "fi_pgn_errmsg",
    "fi_pgn_fini",
    "fi_pgn_format",
    "fi_pgn_getSnapshotSetId",
    "fi_pgn_get_app_status",
    "fi_pgn_get_associated_nodes",
    "fi_pgn_get_backupset",
    "fi_pgn_get_last_error",
    "fi_pgn_get_locale_message",
    "fi_pgn_get_provider_info",
    "fi_pgn_get_snapdiff",
    "fi_pgn_get_status",
    "fi_pgn_getattr",
    "fi_pgn_import_resource",
    "fi_pgn_import_tree",
    "fi_pgn_init",
    "fi_pgn_init_altnode",
    "fi_pgn_init_node",
    "fi_pgn_init_remnode",
    "fi_pgn_interpose",
    "fi_pgn_is_parent_pgn",
    "fi_pgn_isready",
    "fi_pgn_isvalid_node_association",
    "fi_pgn_make",
    "fi_pgn_objctl",
    "fi_pgn_online",
    "fi_pgn_online_resource",
    "fi_pgn_post_deport",
    "fi_pgn_pre_deport_resource",
    "fi_pgn_pre_prepare",
    "fi_pgn_prepare",
    "fi_pgn_preselect",
    "fi_pgn_process_providerstate",
    "fi_pgn_query_valid_secondaries",
    "fi_pgn_quiesce",
    "fi_pgn_reaccess_altnode",
    "fi_pgn_reaccess_tmpobj",
    "fi_pgn_refresh_tree",
    "fi_pgn_res_status",
    "fi_pgn_restore",
    "fi_pgn_resync",
    "fi_pgn_revisit_pgn_nodes",
    "fi_pgn_select",
    "fi_pgn_set_comp_status",
    "fi_pgn_set_import_options",
    "fi_pgn_set_op_status",
    "fi_pgn_set_restorepaths",
    "fi_pgn_start_build_alttree",
    "fi_pgn_subobj_list",
    "fi_pgn_supports_fitype",
    "fi_pgn_translate_resource_names",
    "fi_pgn_unformat",
    "fi_pgn_unquiesce",
    "fi_pgn_update_snapshot_handle",
    "fi_pgn_update_snapshot_id",
    "fi_pgn_verify_qscombos",
};

TEST(EntryPointList, HasTheseSeventySeven) {
  std::vector<std::string> listed = {
#define FI_ENTRY_POINT(suffix, result, parameters) #suffix,
#include "cfientrypoints.def"
#undef FI_ENTRY_POINT
  };
  EXPECT_EQ(listed.size(), 77U);
  std::sort(listed.begin(), listed.end());
  std::vector<std::string> expected = ENTRY_POINTS;
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(listed, expected);
}

TEST(EntryPointName, BeginsWithTheProvidersName) {
  EXPECT_STREQ(FI_PGN_TEXT(fi_pgn_claim), "kittest_fi_pgn_claim");
}

}  // namespace
