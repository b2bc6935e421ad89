// What the provider remembers of a file-system node, and the text form in which the framework keeps it.
#include "qmfs_private_data.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include "cfierror.h"
#include "cfistringtool.h"
#include "qmfs_log_texts.h"

using namespace qmfi_pdk_4_4;

namespace {

// An element of a node's state text: its tags, and where they first stand in a text, -1 for one that is missing.
struct Element {
  std::string_view openTag;
  std::string_view closeTag;
  std::int32_t open = -1;
  std::int32_t close = -1;

  bool isWhole() const { return open >= 0 && close >= 0; }
};

// The three elements, found in one pass over the text.
struct NodeStateElements {
  Element options{"<MNT_OPTS>", "</MNT_OPTS>"};
  Element subObject{"<SUBOBJ>", "</SUBOBJ>"};
  Element altObject{"<ALTOBJ>", "</ALTOBJ>"};

  explicit NodeStateElements(std::string_view text) {
    for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1)) {
      const std::string_view rest = text.substr(at);
      const auto place = static_cast<std::int32_t>(at);
      for (Element* const element : {&options, &subObject, &altObject}) {
        if (element->open < 0 && rest.starts_with(element->openTag)) {
          element->open = place;
          break;
        }
        if (element->close < 0 && rest.starts_with(element->closeTag)) {
          element->close = place;
          break;
        }
      }
    }
  }
};

// The text of an element. Required: a tag that is missing is not detected; its position of -1 takes part in the
// arithmetic, and a negative length reaches to the end of the text. A text that is too short is a string's own error.
std::string_view uncheckedText(std::string_view text, const Element& element) {
  const std::int32_t begin = element.open + static_cast<std::int32_t>(element.openTag.size());
  if (static_cast<std::size_t>(begin) > text.size()) {
    static_cast<void>(std::string(text).substr(static_cast<std::size_t>(begin)));
  }
  return text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(element.close - begin));
}

}  // namespace

std::string filterMountOptions(const std::string& options) {
  const std::vector<std::string> tokens = CFiStringTool::tokenize(options, ",");
  bool readOnly = false;
  for (const std::string& token : tokens) readOnly = readOnly || token == "ro";
  std::string filtered;
  for (const std::string& token : tokens) {
    if (readOnly && token == "log") continue;
    filtered += token;
    filtered += ',';
  }
  if (!filtered.empty()) filtered.pop_back();
  return filtered;
}

std::string composeNodeState(const NodeStateText& state) {
  constexpr std::size_t tagRoom = 64;
  std::string text;
  text.reserve(state.mountOptions.size() + state.subObject.size() + state.altObject.size() + tagRoom);
  text.append("<MNT_OPTS>").append(state.mountOptions).append("</MNT_OPTS>\n");
  text.append("<SUBOBJ>").append(state.subObject).append("</SUBOBJ>\n");
  if (!state.altObject.empty()) text.append("<ALTOBJ>").append(state.altObject).append("</ALTOBJ>\n");
  return text;
}

void CQmFSPrivateData::setMntOpts(const char* options) {
  const auto scope = traceScope("setMntOpts");
  if (options == nullptr) {
    trace(CFI_TRACE_PROGRESS, qmfs_log::noOptions);
    return;
  }
  trace(CFI_TRACE_PROGRESS, qmfs_log::optionsReceived, options);
  m_mntOpts = filterMountOptions(options);
  trace(CFI_TRACE_PROGRESS, qmfs_log::optionsFiltered, m_mntOpts.c_str());
}

int CQmFSPrivateData::getNodeState(kfi_blob* blob) {
  const auto scope = traceScope("getNodeState");
  const char* const subObject = getSubObjectList()[0]->vid_name;
  const std::string text = composeNodeState({m_mntOpts, subObject, m_altObj});
  const std::size_t length = text.size() + 1;
  auto* const buffer = static_cast<char*>(qmfi_alloc_buf(length));
  if (buffer == nullptr) {
    throw CFiError(CFI_STATUS_NO_MEMORY, "Bad allocation for node state", "qmfs_private_data.cpp", "getNodeState",
                   __LINE__);
  }
  std::memcpy(buffer, text.c_str(), length);
  blob->kb_length = length;
  blob->kb_buffer = buffer;
  blob->kb_encoding = KFI_BLOB_TEXT;
  trace(CFI_TRACE_PROGRESS, qmfs_log::stateComposed, text.c_str(), static_cast<int>(text.size()), blob->kb_buffer,
        static_cast<int>(blob->kb_length), m_mntOpts.c_str(), subObject);
  return 0;
}

int CQmFSPrivateData::setNodeState(kfi_blob* blob) {
  const auto scope = traceScope("setNodeState");
  if (blob->kb_buffer == nullptr || blob->kb_length == 0) return 0;
  if (blob->kb_encoding != KFI_BLOB_TEXT) {
    trace(CFI_TRACE_WARNING, qmfs_log::stateNotText);
    return 0;
  }
  const std::string_view text = blob->kb_buffer;
  const NodeStateElements elements(text);
  m_mntOpts = uncheckedText(text, elements.options);

  // A name is short, and the heap is slow.
  std::array<char, 256> room;
  std::pmr::monotonic_buffer_resource memory(room.data(), room.size());
  const std::pmr::string subObject(uncheckedText(text, elements.subObject), &memory);
  qmfi_objid* const identifier =
      qmfi_get_objid(subObject.c_str(), static_cast<std::uint32_t>(subObject.size() + 1), KFI_OBJID_OBJECT);
  if (identifier != nullptr) addSubObject(identifier);

  if (elements.altObject.isWhole()) m_altObj = uncheckedText(text, elements.altObject);
  trace(CFI_TRACE_PROGRESS, qmfs_log::stateParsed, m_mntOpts.c_str(), subObject.c_str(), m_altObj.c_str());
  return 0;
}
