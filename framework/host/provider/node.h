// A node of the snapshot tree: the framework's record for it, and its calls.
#ifndef NODE_H
#define NODE_H

#include <array>
#include <string>
#include <vector>

#include "kfi.h"
#include "provider/provider.h"

namespace qmfi_host {

// Kinds of object identifiers.
enum class ObjectKind : std::int32_t { path = KFI_OBJID_PATH, object = KFI_OBJID_OBJECT };

// The identifier of a name. Throws HostError when memory is short or the name is empty.
qmfi_objid* objectOf(const std::string& name, ObjectKind kind);

// A provider's state of a node, as text.
using NodeState = std::string;

// A node, and the provider's operations on it. The record stays where it is, since other records point to it. What the
// provider attached to it is released at the end. The provider must outlive the node. Every call throws ProviderError
// when the provider reports a failure.
class Node {
 public:
  // name: a mount point, a device path or a group name. Throws HostError when memory is short or the name is empty.
  Node(Provider& provider, const std::string& name, ObjectKind kind = ObjectKind::path);
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  ~Node();

  Provider& provider() const { return m_provider; }
  // The framework's record; valid as long as the node, never null.
  kfi_domain* domain() { return &m_domain; }
  const std::string& name() const { return m_name; }

  // Initialises a node whose configuration is config; without one it becomes a configuration domain itself.
  void initialise(Node* config);
  // Initialises the node as alternate of another one.
  void initialiseAlternate(Node& primary);

  // Stores a configuration parameter of the provider.
  void configure(const std::string& parameter, const std::string& value);

  // The names of the node's sub-objects; the first is the device of a file system.
  std::vector<std::string> subObjects();

  // What the provider is given to freeze the node. Throws HostError when the provider made none.
  kfi_quiescenode* quiesceNode() const;

  // Asks that the node's alternate gets this name.
  void nameAlternate(const std::string& alternate);

  // Both are about the provider's state of the node: it is asked for, and given back to a node of a later run.
  NodeState fetchState();
  void storeState(const NodeState& state);

 private:
  Provider& m_provider;
  std::string m_name;
  std::string m_alternate;
  std::array<kfi_subobj_entry, 2> m_entries{};
  std::string m_providerName;
  kfi_domain m_domain{};
};

}  // namespace qmfi_host

#endif
