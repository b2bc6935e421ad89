// The provider's interface as a foreign framework declares it for itself: records, functions of the framework's
// library, and every exported function of the plug-in. Nothing of the product is included, so that a change of its
// headers which breaks another framework shows here.
#ifndef SUPPORT_FOREIGN_FRAMEWORK_H
#define SUPPORT_FOREIGN_FRAMEWORK_H

#include <cstddef>
#include <cstdint>

extern "C" {

struct kfi_domain;

struct qmfi_objid {
  char* vid_name;
  std::uint32_t vid_length;
  std::int32_t vid_kind;
};
static_assert(offsetof(qmfi_objid, vid_length) == 8 && offsetof(qmfi_objid, vid_kind) == 12);
static_assert(sizeof(qmfi_objid) == 16);

struct kfi_subobj_entry {
  char* kse_name;
  char* kse_altname;
};
static_assert(offsetof(kfi_subobj_entry, kse_altname) == 8 && sizeof(kfi_subobj_entry) == 16);

struct kfi_quiescenode {
  char* kqn_fitype;
  kfi_domain* kqn_node;
  kfi_domain* kqn_config;
};
static_assert(offsetof(kfi_quiescenode, kqn_node) == 8 && offsetof(kfi_quiescenode, kqn_config) == 16);
static_assert(sizeof(kfi_quiescenode) == 24);

struct kfi_domain {
  std::uint32_t fid_attr;
  qmfi_objid* fid_objid;
  char* fid_provider;
  int* fid_supported;
  kfi_subobj_entry* fid_subobjs;
  void* fid_private;
  void* fid_framework;
  void* reserved1[3];
  kfi_quiescenode* fid_qnode;
  void* fid_qnode_next;
  void* reserved2[7];
  char* fid_name;
};
static_assert(offsetof(kfi_domain, fid_objid) == 8 && offsetof(kfi_domain, fid_provider) == 16);
static_assert(offsetof(kfi_domain, fid_supported) == 24 && offsetof(kfi_domain, fid_subobjs) == 32);
static_assert(offsetof(kfi_domain, fid_private) == 40 && offsetof(kfi_domain, fid_framework) == 48);
static_assert(offsetof(kfi_domain, fid_qnode) == 80 && offsetof(kfi_domain, fid_qnode_next) == 88);
static_assert(offsetof(kfi_domain, fid_name) == 152 && sizeof(kfi_domain) == 160);

struct kfi_splitnode {
  char* ksn_name;
  kfi_domain* ksn_domain;
};
static_assert(offsetof(kfi_splitnode, ksn_domain) == 8 && sizeof(kfi_splitnode) == 16);

struct kfi_subobj_list {
  qmfi_objid* kso_objid;
  kfi_subobj_list* kso_next;
};
static_assert(offsetof(kfi_subobj_list, kso_next) == 8 && sizeof(kfi_subobj_list) == 16);

struct kfi_node_subobj_list {
  kfi_domain* kns_node;
  kfi_subobj_list* subobjs;
  kfi_node_subobj_list* kns_next;
};
static_assert(offsetof(kfi_node_subobj_list, subobjs) == 8 && offsetof(kfi_node_subobj_list, kns_next) == 16);
static_assert(sizeof(kfi_node_subobj_list) == 24);

struct kfi_blob {
  std::uint64_t kb_length;
  char* kb_buffer;
  std::int32_t kb_encoding;
};
static_assert(offsetof(kfi_blob, kb_buffer) == 8 && offsetof(kfi_blob, kb_encoding) == 16 && sizeof(kfi_blob) == 24);

struct kfi_accessnode {
  void* reserved[2];
  std::uint32_t kan_access;
};
static_assert(offsetof(kfi_accessnode, kan_access) == 16 && sizeof(kfi_accessnode) == 24);

struct kfi_version {
  std::uint16_t number[4];
};
static_assert(sizeof(kfi_version) == 8);

struct kfi_context {
  void (*kcx_callback)(kfi_context*, const char* nativeText, const char* defaultText, std::int32_t severity);
  void* reserved[2];
  char** kcx_language;
};
static_assert(offsetof(kfi_context, kcx_language) == 24 && sizeof(kfi_context) == 32);

struct kfi_string_list {
  char* ksl_value;
  kfi_string_list* ksl_next;
};
static_assert(offsetof(kfi_string_list, ksl_next) == 8 && sizeof(kfi_string_list) == 16);

struct kfi_provider_list {
  kfi_provider_list* kpl_next;
  char* kpl_name;
  kfi_version kpl_version;
  std::int32_t kpl_attr[2];
  kfi_string_list* kpl_fitypes;
  void* kpl_reserved;
};
static_assert(offsetof(kfi_provider_list, kpl_name) == 8 && offsetof(kfi_provider_list, kpl_version) == 16);
static_assert(offsetof(kfi_provider_list, kpl_attr) == 24 && offsetof(kfi_provider_list, kpl_fitypes) == 32);
static_assert(sizeof(kfi_provider_list) == 48);

struct kfi_msg_info {
  char* kmi_id;
  char* kmi_args;
  char* kmi_file;
  std::int32_t kmi_line;
  std::int32_t kmi_severity;
  kfi_msg_info* kmi_next;
  void* kmi_reserved;
};
static_assert(offsetof(kfi_msg_info, kmi_args) == 8 && offsetof(kfi_msg_info, kmi_file) == 16);
static_assert(offsetof(kfi_msg_info, kmi_line) == 24 && offsetof(kfi_msg_info, kmi_severity) == 28);
static_assert(offsetof(kfi_msg_info, kmi_next) == 32 && sizeof(kfi_msg_info) == 48);

struct kfi_confspec {
  char* kcs_name;
  char* kcs_value;
  kfi_confspec* kcs_next;
};
static_assert(offsetof(kfi_confspec, kcs_value) == 8 && offsetof(kfi_confspec, kcs_next) == 16);
static_assert(sizeof(kfi_confspec) == 24);

// The record of the kernel's request to freeze several file systems together.
struct FreezeAllRecord {
  std::int32_t count;
  std::int32_t timeout;
  const std::int32_t* descriptors;
};
static_assert(offsetof(FreezeAllRecord, timeout) == 4 && offsetof(FreezeAllRecord, descriptors) == 8);
static_assert(sizeof(FreezeAllRecord) == 16);

// Records that are only passed on.
struct kfi_attributes;
struct kfi_node;
struct kfi_node_list;
struct kfi_assoc;
struct kfi_assoc_list;
struct kfi_group_node_list;
struct kfi_fim_list;
struct kfi_pgn_node_list;
struct kfi_host_infn;
struct kfi_resource;
struct kfi_bkupset;
struct kfi_snapreplica_ele;
struct kfi_enclosure_node_list;
struct kfi_host_node_list;
struct TrieNode_;

}  // extern "C"

using kfi_intent = std::int32_t;
using kfi_disposition = std::int32_t;
using kfi_op_providerstate = std::int32_t;

inline constexpr std::uint32_t QM_FREEZE = 0x514D4601;
inline constexpr std::uint32_t QM_THAW = 0x514D4602;
inline constexpr std::uint32_t QM_FREEZE_ALL = 0x514D4603;

// X(operation, result, (parameters)) for each export qmfsfi_fi_pgn_<operation>.
#define FOREIGN_ENTRY_POINTS(X)                                                                  \
  X(init, int, (kfi_context*, kfi_version*, char*))                                              \
  X(fini, void, ())                                                                              \
  X(claim, int, (qmfi_objid*, qmfi_objid***, int*))                                              \
  X(supports_fitype, int, (kfi_domain*, char*))                                                  \
  X(deport_tree, int, (kfi_domain*, kfi_domain*, kfi_accessnode*))                               \
  X(import_tree, int, (kfi_domain*, qmfi_objid**, qmfi_objid**, int, qmfi_objid**))              \
  X(init_node, int, (kfi_domain*, kfi_domain**, int, qmfi_objid*))                               \
  X(config, int, (kfi_domain*, int, char*, kfi_confspec*))                                       \
  X(init_altnode, int, (kfi_domain*, kfi_domain*, kfi_domain*))                                  \
  X(init_remnode, int, (kfi_domain*, kfi_domain*, kfi_domain*))                                  \
  X(reaccess_tmpobj, int, (kfi_domain*, qmfi_objid*, char*, kfi_domain*, char*, kfi_intent))     \
  X(reaccess_altnode, int,                                                                       \
    (kfi_domain*, qmfi_objid*, qmfi_objid*, char*, qmfi_objid**, qmfi_objid**, int, kfi_intent)) \
  X(deinit_node, void, (kfi_domain*))                                                            \
  X(dispose, int, (kfi_domain*, kfi_domain*, kfi_splitnode*, kfi_disposition))                   \
  X(online, int, (kfi_domain*, kfi_domain*, int, kfi_disposition))                               \
  X(subobj_list, int, (kfi_domain*, qmfi_objid***, int*))                                        \
  X(errmsg, int, (int, const char**))                                                            \
  X(build_alttree, int, (kfi_domain*, char*, qmfi_objid**, qmfi_objid**, int, qmfi_objid**))     \
  X(quiesce, int, (kfi_quiescenode*, kfi_quiescenode**, int, char*))                             \
  X(unquiesce, void, (kfi_quiescenode*, kfi_quiescenode**, int))                                 \
  X(make, int, (kfi_splitnode*, char*, kfi_splitnode**, int, qmfi_objid***, int*))               \
  X(prepare, int, (kfi_splitnode*, char*, kfi_splitnode**, int, int))                            \
  X(select, int, (kfi_splitnode*, char*, kfi_splitnode**, int))                                  \
  X(preselect, int, (kfi_splitnode*, char*, kfi_splitnode**, int))                               \
  X(isready, int, (kfi_splitnode*, char*, kfi_splitnode**, int))                                 \
  X(cache_disable, int, (kfi_domain*))                                                           \
  X(cache_enable, void, (kfi_domain*))                                                           \
  X(interpose, int, (kfi_domain*, qmfi_objid**, qmfi_objid***, int*))                            \
  X(getattr, int, (kfi_domain*, kfi_domain*, kfi_splitnode*, kfi_attributes*))                   \
  X(get_provider_info, int, (kfi_provider_list**))                                               \
  X(enumerate_nodes, int, (kfi_node_list**, int*, int, char*))                                   \
  X(enumerate_associations, int, (kfi_assoc_list**))                                             \
  X(enumerate_group_nodes, int, (kfi_group_node_list**))                                         \
  X(enumerate_fims, int, (kfi_fim_list**))                                                       \
  X(isvalid_node_association, int, (kfi_assoc*, int*))                                           \
  X(get_associated_nodes, int, (kfi_node*, kfi_node_list**))                                     \
  X(check_node_existence, int, (kfi_domain*, int*))                                              \
  X(objctl, int, (char*, char*, char**, int*))                                                   \
  X(process_providerstate, int, (kfi_domain*, kfi_blob*, kfi_op_providerstate))                  \
  X(get_last_error, int, (kfi_msg_info**))                                                       \
  X(del_last_error, int, (kfi_msg_info**))                                                       \
  X(get_locale_message, int, (int*, kfi_msg_info*, const char*, char**))                         \
  X(del_locale_message, int, (char**))                                                           \
  X(enable_access, int, (kfi_node_subobj_list*, long, int, int))                                 \
  X(disable_access, int, (kfi_node_subobj_list*, long))                                          \
  X(restore, int, (qmfi_objid**, qmfi_objid**, long, char*, char*, char***, long*, long, long*)) \
  X(resync, int, (qmfi_objid**, qmfi_objid**, long, char*, char*, long, long*))                  \
  X(get_status, int, (qmfi_objid**, qmfi_objid**, long, char*, long, long*))                     \
  X(pre_prepare, int, (kfi_domain*))                                                             \
  X(query_valid_secondaries, int, (char*, qmfi_objid***, long*))                                 \
  X(res_status, int, (qmfi_objid*, long, long*, kfi_msg_info**))                                 \
  X(revisit_pgn_nodes, int, (kfi_pgn_node_list*))                                                \
  X(verify_qscombos, int, (kfi_splitnode*, kfi_splitnode**, int))                                \
  X(set_import_options, int, (kfi_splitnode*, kfi_splitnode**, int, kfi_host_infn*, int, void*)) \
  X(start_build_alttree, int, (kfi_domain*, qmfi_objid**, void*))                                \
  X(translate_resource_names, int, (char**, int, char**))                                        \
  X(enumerate_enclosures, int, (kfi_enclosure_node_list**, int*, char*))                         \
  X(import_resource, int, (char**, char*, char*, char*, int, char**, char*))                     \
  X(format, int, (char**, int, char*, char*, char*, int, char***, int*))                         \
  X(enumerate_host_nodes, int, (kfi_host_node_list**, int*, char*))                              \
  X(online_resource, int, (char**, int, char*, char*, char*, char*, int, char***, int*))         \
  X(deport_resource, int, (char*, char*, char*, char*, int))                                     \
  X(is_parent_pgn, int, (char*, int*, int))                                                      \
  X(unformat, int, (char**, int, int))                                                           \
  X(pre_deport_resource, int, (char*, int, char*))                                               \
  X(refresh_tree, int, (kfi_domain*, int, int, kfi_resource*, int, int*, void*, int))            \
  X(get_backupset, int, (kfi_domain*, int, char**, int, kfi_bkupset*))                           \
  X(get_app_status, int, (kfi_domain*, int, void*))                                              \
  X(set_op_status, int, (kfi_domain*, int))                                                      \
  X(set_comp_status, int, (kfi_domain*, int, char*, int))                                        \
  X(set_restorepaths, int, (kfi_domain*, char*, int))                                            \
  X(createSnapReplicaNode, int, (kfi_domain*, kfi_snapreplica_ele*))                             \
  X(update_snapshot_id, int, (kfi_domain*, kfi_domain*, kfi_snapreplica_ele*, int))              \
  X(getSnapshotSetId, int, (kfi_domain*, char**))                                                \
  X(update_snapshot_handle, int, (char*, void*))                                                 \
  X(get_snapdiff, int, (kfi_domain*, kfi_snapreplica_ele*, kfi_snapreplica_ele*, TrieNode_*))    \
  X(post_deport, int, (kfi_domain*, kfi_domain*))

// X(function, result, (parameters)) for each helper that the plug-in exports.
#define FOREIGN_HELPERS(X)                              \
  X(qmfs_getmnt, int, (const char*, char**, char**))    \
  X(qmfs_getsubobj, int, (const char*, char**, char**)) \
  X(qmfs_check_claim, int, (const char*))               \
  X(fipgn_get_objid, int, (const char*, qmfi_objid**))

// X(function, result, (parameters)) for each function of the framework's library.
#define FOREIGN_FRAMEWORK_FUNCTIONS(X)                                       \
  X(qmfi_alloc_buf, void*, (std::size_t))                                    \
  X(qmfi_free_buf, void, (void*, std::size_t))                               \
  X(qmfi_get_objid, qmfi_objid*, (const char*, std::uint32_t, std::int32_t)) \
  X(qmfi_create_context, int, ())                                            \
  X(qmfi_close_context, void, ())                                            \
  X(qmfi_free_providerlist, void, (kfi_provider_list*))

#endif
