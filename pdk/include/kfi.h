/*
 * The framework's records and plain C functions, as a provider and its host share them.
 *
 * Usable from C and C++. Every record is laid out for a 64-bit build; the offsets in the comments are part of the
 * interface and are checked below each record. Reserved room is zero. Unless a member says otherwise, records and what
 * they point to are owned by the framework, strings are NUL-terminated, and nothing here is locked: one record is used
 * by one thread at a time.
 */
#ifndef KFI_H
#define KFI_H

/* NOLINTBEGIN(modernize-use-using): C reads this header too. */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#define KFI_LAYOUT(record, member, offset) static_assert(offsetof(record, member) == (offset), #record "." #member)
#define KFI_SIZE(record, size) static_assert(sizeof(record) == (size), #record)
#else
#define KFI_LAYOUT(record, member, offset) _Static_assert(offsetof(record, member) == (offset), #record "." #member)
#define KFI_SIZE(record, size) _Static_assert(sizeof(record) == (size), #record)
#endif

/* What the framework intends to do with a node. Looking touches no file system. */
typedef int32_t kfi_intent;
enum { KFI_INTENT_LOOK = 2 };

/* Severity of a message. */
typedef int32_t kfi_eseverity;
enum { KFI_SEVERITY_INFORMATION = 1, KFI_SEVERITY_ERROR = 2, KFI_SEVERITY_UNHANDLED_EXCEPTION = 3 };

/* What becomes of a node's file system when its snapshot is given up. */
typedef int32_t kfi_disposition;
enum { KFI_DISPOSITION_KEEP = 0, KFI_DISPOSITION_REMOVE = 1 };

/* Direction of a provider-state call. */
typedef int32_t kfi_op_providerstate;
enum { KFI_PROVIDERSTATE_STORE = 0, KFI_PROVIDERSTATE_FETCH = 1 };

/* Modes of online; another mode does nothing. */
enum { KFI_ONLINE_BRING = 1, KFI_ONLINE_TAKE_OFFLINE = 2 };

/* Bit of the flags of disable_access: unmount by force. */
enum { KFI_ACCESS_BY_FORCE = 0x10 };

/* Bit of the options of enable_access: do nothing. */
enum { KFI_ACCESS_ENABLE_NOTHING = 0x1 };

/* Bit of the flags of format: without it nothing is done. */
enum { KFI_FORMAT_DEVICE = 0x1 };

/* Answer of claim for an object that is the provider's; another provider's is 0. */
enum { KFI_CLAIMED = 1 };

/* Kinds of object identifiers: of a path, and of an object such as a device or a group. */
enum { KFI_OBJID_PATH = 1, KFI_OBJID_OBJECT = 3 };

/* Version of the interface, reported by init in the first field of its version record; the other three are 0. */
enum { KFI_INTERFACE_MAJOR = 7 };

/* Encoding of a blob; no other value is produced or accepted. */
enum { KFI_BLOB_TEXT = 1 };

/* Bits of a domain's attribute word. */
enum { KFI_ATTR_SELECTED = 0x1, KFI_ATTR_ACCESS_DISABLED = 0x40, KFI_ATTR_FILE_SYSTEM_NODE = 0x802 };

typedef struct qmfi_objid qmfi_objid;
typedef struct kfi_domain kfi_domain;
typedef struct kfi_subobj_entry kfi_subobj_entry;
typedef struct kfi_quiescenode kfi_quiescenode;
typedef struct kfi_splitnode kfi_splitnode;
typedef struct kfi_subobj_list kfi_subobj_list;
typedef struct kfi_node_subobj_list kfi_node_subobj_list;
typedef struct kfi_blob kfi_blob;
typedef struct kfi_accessnode kfi_accessnode;
typedef struct kfi_host_info kfi_host_info;
typedef struct kfi_version kfi_version;
typedef struct kfi_context kfi_context;
typedef struct kfi_string_list kfi_string_list;
typedef struct kfi_provider_list kfi_provider_list;
typedef struct kfi_msg_info kfi_msg_info;
typedef struct kfi_confspec kfi_confspec;

/* Records that a provider only passes on. */
typedef struct kfi_attributes kfi_attributes;
typedef struct kfi_node kfi_node;
typedef struct kfi_node_list kfi_node_list;
typedef struct kfi_assoc kfi_assoc;
typedef struct kfi_assoc_list kfi_assoc_list;
typedef struct kfi_group_node_list kfi_group_node_list;
typedef struct kfi_fim_list kfi_fim_list;
typedef struct kfi_pgn_node_list kfi_pgn_node_list;
typedef struct kfi_host_infn kfi_host_infn;
typedef struct kfi_resource kfi_resource;
typedef struct kfi_bkupset kfi_bkupset;
typedef struct kfi_snapreplica_ele kfi_snapreplica_ele;
typedef struct kfi_enclosure_node_list kfi_enclosure_node_list;
typedef struct kfi_host_node_list kfi_host_node_list;
typedef struct TrieNode_ TrieNode_;

/* Identifier of an object. Made by qmfi_get_objid, kept by the framework until it is unloaded, never freed by anyone
 * else. */
struct qmfi_objid {
  char* vid_name;      /* 0: a mount point, a device path or a group name */
  uint32_t vid_length; /* 8: length of the name without its terminator */
  int32_t vid_kind;    /* 12: the kind given to qmfi_get_objid, KFI_OBJID_ */
};
KFI_LAYOUT(qmfi_objid, vid_name, 0);
KFI_LAYOUT(qmfi_objid, vid_length, 8);
KFI_LAYOUT(qmfi_objid, vid_kind, 12);
KFI_SIZE(qmfi_objid, 16);

/* One node of the snapshot tree, or a configuration domain. */
struct kfi_domain {
  uint32_t fid_attr;             /* 0: attribute word, KFI_ATTR_ bits */
  uint32_t fid_reserved0;        /* 4 */
  qmfi_objid* fid_objid;         /* 8: object identifier */
  char* fid_provider;            /* 16: provider name */
  int* fid_supported;            /* 24: where supportsFiType stores its answer; may be null */
  kfi_subobj_entry* fid_subobjs; /* 32: sub-objects, ended by an entry whose name is null; may be null */
  void* fid_private; /* 40: null, or the provider's counted holder of its private data; only the provider touches it */
  void* fid_framework;        /* 48: the framework's own; a provider leaves it alone */
  void* fid_reserved1[3];     /* 56 */
  kfi_quiescenode* fid_qnode; /* 80: quiesce node of a primary node, null for an alternate node */
  void* fid_qnode_next;       /* 88: cleared whenever the quiesce node is set */
  void* fid_reserved2[7];     /* 96 */
  char* fid_name;             /* 152: the node's name; points into its object identifier once the node is initialised */
};
KFI_LAYOUT(kfi_domain, fid_attr, 0);
KFI_LAYOUT(kfi_domain, fid_objid, 8);
KFI_LAYOUT(kfi_domain, fid_provider, 16);
KFI_LAYOUT(kfi_domain, fid_supported, 24);
KFI_LAYOUT(kfi_domain, fid_subobjs, 32);
KFI_LAYOUT(kfi_domain, fid_private, 40);
KFI_LAYOUT(kfi_domain, fid_framework, 48);
KFI_LAYOUT(kfi_domain, fid_qnode, 80);
KFI_LAYOUT(kfi_domain, fid_qnode_next, 88);
KFI_LAYOUT(kfi_domain, fid_name, 152);
KFI_SIZE(kfi_domain, 160);

/* One sub-object of a domain, with the name that its alternate object is to have. */
struct kfi_subobj_entry {
  char* kse_name;    /* 0: object name; null ends the array */
  char* kse_altname; /* 8: alternate name; null or empty when there is none */
};
KFI_LAYOUT(kfi_subobj_entry, kse_name, 0);
KFI_LAYOUT(kfi_subobj_entry, kse_altname, 8);
KFI_SIZE(kfi_subobj_entry, 16);

/* How a node is frozen. Made by node initialisation; the type name goes back by free, the record by qmfi_free_buf. */
struct kfi_quiescenode {
  char* kqn_fitype;       /* 0: file-system type name */
  kfi_domain* kqn_node;   /* 8: node to freeze */
  kfi_domain* kqn_config; /* 16: configuration domain, or null */
};
KFI_LAYOUT(kfi_quiescenode, kqn_fitype, 0);
KFI_LAYOUT(kfi_quiescenode, kqn_node, 8);
KFI_LAYOUT(kfi_quiescenode, kqn_config, 16);
KFI_SIZE(kfi_quiescenode, 24);

/* A node as a session sees it. */
struct kfi_splitnode {
  char* ksn_name;         /* 0: the node's name */
  kfi_domain* ksn_domain; /* 8: the record that carries the flag word (fid_attr) and the key (fid_name) */
};
KFI_LAYOUT(kfi_splitnode, ksn_name, 0);
KFI_LAYOUT(kfi_splitnode, ksn_domain, 8);
KFI_SIZE(kfi_splitnode, 16);

/* List of sub-objects. */
struct kfi_subobj_list {
  qmfi_objid* kso_objid;     /* 0: a sub-object */
  kfi_subobj_list* kso_next; /* 8: next, or null */
};
KFI_LAYOUT(kfi_subobj_list, kso_objid, 0);
KFI_LAYOUT(kfi_subobj_list, kso_next, 8);
KFI_SIZE(kfi_subobj_list, 16);

/* List of nodes with their sub-objects. */
struct kfi_node_subobj_list {
  kfi_domain* kns_node;           /* 0: the node */
  kfi_subobj_list* subobjs;       /* 8: its sub-objects; the first names the device */
  kfi_node_subobj_list* kns_next; /* 16: next, or null */
};
KFI_LAYOUT(kfi_node_subobj_list, kns_node, 0);
KFI_LAYOUT(kfi_node_subobj_list, subobjs, 8);
KFI_LAYOUT(kfi_node_subobj_list, kns_next, 16);
KFI_SIZE(kfi_node_subobj_list, 24);

/* A provider's state of a node, opaque to the framework. */
struct kfi_blob {
  uint64_t kb_length;  /* 0: bytes in the buffer, NUL included; a reader only tests it for zero */
  char* kb_buffer;     /* 8: from qmfi_alloc_buf */
  int32_t kb_encoding; /* 16: KFI_BLOB_TEXT */
  int32_t kb_reserved; /* 20 */
};
KFI_LAYOUT(kfi_blob, kb_length, 0);
KFI_LAYOUT(kfi_blob, kb_buffer, 8);
KFI_LAYOUT(kfi_blob, kb_encoding, 16);
KFI_SIZE(kfi_blob, 24);

/* Tells a deport whether access is to be taken down. */
struct kfi_accessnode {
  void* kan_reserved0[2]; /* 0 */
  uint32_t kan_access;    /* 16: 0 when no access is to be taken down */
  uint32_t kan_reserved1; /* 20 */
};
KFI_LAYOUT(kfi_accessnode, kan_access, 16);
KFI_SIZE(kfi_accessnode, 24);

/* List of hosts. */
struct kfi_host_info {
  char* khi_name;          /* 0: host name, or null */
  kfi_host_info* khi_next; /* 8: next, or null */
};
KFI_LAYOUT(kfi_host_info, khi_name, 0);
KFI_LAYOUT(kfi_host_info, khi_next, 8);
KFI_SIZE(kfi_host_info, 16);

/* Interface version. */
struct kfi_version {
  uint16_t kv_major; /* 0 */
  uint16_t kv_minor; /* 2 */
  uint16_t kv_patch; /* 4 */
  uint16_t kv_build; /* 6 */
};
KFI_LAYOUT(kfi_version, kv_build, 6);
KFI_SIZE(kfi_version, 8);

/* Receives a message in the native and in the default language. The texts are the caller's and end with the call. */
typedef void (*kfi_message_callback)(kfi_context* context, const char* native_text, const char* default_text,
                                     kfi_eseverity severity);

/* What a host gives to a provider's start. Must outlive the provider. */
struct kfi_context {
  kfi_message_callback kcx_callback; /* 0: may be null */
  void* kcx_reserved[2];             /* 8 */
  char** kcx_language; /* 24: null, or points to the pointer to the native-language name, which may be null */
};
KFI_LAYOUT(kfi_context, kcx_callback, 0);
KFI_LAYOUT(kfi_context, kcx_language, 24);
KFI_SIZE(kfi_context, 32);

/* List of strings. */
struct kfi_string_list {
  char* ksl_value;           /* 0 */
  kfi_string_list* ksl_next; /* 8: next, or null */
};
KFI_LAYOUT(kfi_string_list, ksl_value, 0);
KFI_LAYOUT(kfi_string_list, ksl_next, 8);
KFI_SIZE(kfi_string_list, 16);

/* What a provider says of itself. Freed with qmfi_free_providerlist. */
struct kfi_provider_list {
  kfi_provider_list* kpl_next;  /* 0: next, or null */
  char* kpl_name;               /* 8: provider name */
  kfi_version kpl_version;      /* 16 */
  int32_t kpl_attr[2];          /* 24: the two attribute numbers */
  kfi_string_list* kpl_fitypes; /* 32: supported FI types */
  void* kpl_reserved;           /* 40: null */
};
KFI_LAYOUT(kfi_provider_list, kpl_next, 0);
KFI_LAYOUT(kfi_provider_list, kpl_name, 8);
KFI_LAYOUT(kfi_provider_list, kpl_version, 16);
KFI_LAYOUT(kfi_provider_list, kpl_attr, 24);
KFI_LAYOUT(kfi_provider_list, kpl_fitypes, 32);
KFI_LAYOUT(kfi_provider_list, kpl_reserved, 40);
KFI_SIZE(kfi_provider_list, 48);

/* One pushed message. Lists come from get_last_error and go back by del_last_error. */
struct kfi_msg_info {
  char* kmi_id;           /* 0: message identifier */
  char* kmi_args;         /* 8: the arguments, serialised as text */
  char* kmi_file;         /* 16: source file name */
  int32_t kmi_line;       /* 24: source line */
  int32_t kmi_severity;   /* 28: kfi_eseverity */
  kfi_msg_info* kmi_next; /* 32: next older message, or null */
  void* kmi_reserved;     /* 40: null */
};
KFI_LAYOUT(kfi_msg_info, kmi_id, 0);
KFI_LAYOUT(kfi_msg_info, kmi_args, 8);
KFI_LAYOUT(kfi_msg_info, kmi_file, 16);
KFI_LAYOUT(kfi_msg_info, kmi_line, 24);
KFI_LAYOUT(kfi_msg_info, kmi_severity, 28);
KFI_LAYOUT(kfi_msg_info, kmi_next, 32);
KFI_LAYOUT(kfi_msg_info, kmi_reserved, 40);
KFI_SIZE(kfi_msg_info, 48);

/* List of configuration parameters. */
struct kfi_confspec {
  char* kcs_name;         /* 0: parameter name */
  char* kcs_value;        /* 8: its value, as text */
  kfi_confspec* kcs_next; /* 16: next, or null */
};
KFI_LAYOUT(kfi_confspec, kcs_name, 0);
KFI_LAYOUT(kfi_confspec, kcs_value, 8);
KFI_LAYOUT(kfi_confspec, kcs_next, 16);
KFI_SIZE(kfi_confspec, 24);

/*
 * Functions of the framework's shared library. All may be called from any thread.
 */

/* A zeroed buffer of size bytes for qmfi_free_buf, or null when memory is short. */
void* qmfi_alloc_buf(size_t size);

/* Releases a buffer of qmfi_alloc_buf with the size that it was asked for. A null buffer does nothing. */
void qmfi_free_buf(void* buffer, size_t size);

/*
 * The identifier of a name: the same one for the same name and kind, kept until the framework is unloaded. The name is
 * copied up to length bytes or its NUL, whichever comes first, so the length may count the terminator or not. Null for
 * a null or empty name, or when memory is short.
 */
qmfi_objid* qmfi_get_objid(const char* name, uint32_t length, int32_t kind);

/*
 * Opens the context for split operations, or counts one more user; waits two seconds at most for message callbacks of
 * other threads. While it is open nothing of the framework touches a disk: records and messages are kept in memory.
 * Returns 0 or an error number; a call that fails counts too, since its caller closes the context.
 */
int qmfi_create_context(void);

/* Takes one user off; the last one closes the context and hands out what was kept. Does nothing when none is open. */
void qmfi_close_context(void);

/*
 * One element of a provider list with copies of its arguments; fitypes has count names. Null when memory is short or an
 * argument is invalid. Freed with qmfi_free_providerlist.
 */
kfi_provider_list* qmfi_build_providerlist_node(const char* name, kfi_version version, int32_t attr1, int32_t attr2,
                                                const char* const* fitypes, int count);

/* Frees a whole provider list; null does nothing. */
void qmfi_free_providerlist(kfi_provider_list* list);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(modernize-use-using) */

#endif
