// A node's state as text, packed into one reserved string and restored in one pass over views.
#include "yardsticks/plain_node_state.h"

#include <cstring>
#include <string_view>

namespace bench {

namespace {

constexpr std::size_t tagRoom = 64;

// The text between two tags, and what follows it.
bool takeElement(std::string_view& rest, std::string_view open, std::string_view close, std::string_view& element) {
  const std::size_t begin = rest.find(open);
  if (begin == std::string_view::npos) return false;
  rest.remove_prefix(begin + open.size());
  const std::size_t end = rest.find(close);
  if (end == std::string_view::npos) return false;
  element = rest.substr(0, end);
  rest.remove_prefix(end + close.size());
  return true;
}

}  // namespace

bool packNodeState(const NodeState& state, kfi_blob& blob) {
  const qmfi_objid& subObject = *state.subObjects.front();
  std::string text;
  text.reserve(state.options.size() + subObject.vid_length + state.altObject.size() + tagRoom);
  text.append("<MNT_OPTS>").append(state.options).append("</MNT_OPTS>\n<SUBOBJ>");
  text.append(subObject.vid_name).append("</SUBOBJ>\n");
  if (!state.altObject.empty()) text.append("<ALTOBJ>").append(state.altObject).append("</ALTOBJ>\n");
  auto* const buffer = static_cast<char*>(qmfi_alloc_buf(text.size() + 1));
  if (buffer == nullptr) return false;
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  blob = {.kb_length = text.size() + 1, .kb_buffer = buffer, .kb_encoding = KFI_BLOB_TEXT, .kb_reserved = 0};
  return true;
}

bool restoreNodeState(const kfi_blob& blob, NodeState& state) {
  std::string_view rest = blob.kb_buffer;
  std::string_view element;
  if (!takeElement(rest, "<MNT_OPTS>", "</MNT_OPTS>", element)) return false;
  state.options = element;
  if (!takeElement(rest, "<SUBOBJ>", "</SUBOBJ>", element)) return false;
  qmfi_objid* const identifier = qmfi_get_objid(element.data(), static_cast<std::uint32_t>(element.size()), 3);
  if (identifier == nullptr) return false;
  state.subObjects.push_back(identifier);
  if (takeElement(rest, "<ALTOBJ>", "</ALTOBJ>", element)) state.altObject = element;
  return true;
}

}  // namespace bench
