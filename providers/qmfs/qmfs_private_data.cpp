// What the provider remembers of a file-system node, and the text form in which the framework keeps it.
#include "qmfs_private_data.h"

#include "cfierror.h"
#include "cfistringtool.h"

#include <cstdint>
#include <cstring>
#include <vector>

using namespace qmfi_pdk_4_4;

namespace {

// Kind of the identifiers of sub-objects.
constexpr std::int32_t SUB_OBJECT_KIND = 3;

// The text between two tags. Required: a tag that is missing is not detected; its position of -1 takes part in the
// arithmetic, and a negative length reaches to the end of the text.
std::string uncheckedElement(const std::string& text, const char* openTag, const char* closeTag) {
  const auto open = static_cast<std::int32_t>(text.find(openTag));
  const auto close = static_cast<std::int32_t>(text.find(closeTag));
  const std::int32_t begin = open + static_cast<std::int32_t>(std::strlen(openTag));
  return text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(close - begin));
}

}  // namespace

std::string filterMountOptions(const std::string& options) {
  const std::vector<std::string> tokens = CFiStringTool::tokenize(options, ",");
  bool readOnly = false;
  for (const std::string& token : tokens) {
    readOnly = readOnly || token == "ro";
  }
  std::string filtered;
  for (const std::string& token : tokens) {
    if (readOnly && token == "log") {
      continue;
    }
    filtered += token;
    filtered += ',';
  }
  if (!filtered.empty()) {
    filtered.pop_back();
  }
  return filtered;
}

std::string composeNodeState(const NodeStateText& state) {
  std::string text = "<MNT_OPTS>" + state.mountOptions + "</MNT_OPTS>\n<SUBOBJ>" + state.subObject + "</SUBOBJ>\n";
  if (!state.altObject.empty()) {
    text += "<ALTOBJ>" + state.altObject + "</ALTOBJ>\n";
  }
  return text;
}

void CQmFSPrivateData::setMntOpts(const char* options) {
  const auto scope = traceScope("setMntOpts");
  if (options == nullptr) {
    trace(CFI_TRACE_PROGRESS, "CQmFSPrivateData::setMntOpts no mount options are specified");
    return;
  }
  trace(CFI_TRACE_PROGRESS, "Got mount options for filtering: %s", options);
  m_mntOpts = filterMountOptions(options);
  trace(CFI_TRACE_PROGRESS, "Setting filtered mount options: %s", m_mntOpts.c_str());
}

int CQmFSPrivateData::getNodeState(kfi_blob* blob) {
  const auto scope = traceScope("getNodeState");
  const char* const subObject = getSubObjectList()[0]->vid_name;
  const std::string text = composeNodeState({m_mntOpts, subObject, m_altObj});
  const std::size_t length = text.size() + 1;
  auto* const buffer = static_cast<char*>(qmfi_alloc_buf(length));
  if (buffer == nullptr) {
    throw CFiError(CFI_ERROR_ALLOCATION, "Bad allocation for node state", "qmfs_private_data.cpp", "getNodeState",
                   __LINE__);
  }
  std::memcpy(buffer, text.c_str(), length);
  blob->kb_length = length;
  blob->kb_buffer = buffer;
  blob->kb_encoding = KFI_BLOB_TEXT;
  trace(CFI_TRACE_PROGRESS, "getNodeState: [%s] [%d]:[%s] [%d], mnt_opts=[%s], m_subObjectList[0]=[%s]", text.c_str(),
        static_cast<int>(text.size()), blob->kb_buffer, static_cast<int>(blob->kb_length), m_mntOpts.c_str(),
        subObject);
  return 0;
}

int CQmFSPrivateData::setNodeState(kfi_blob* blob) {
  const auto scope = traceScope("setNodeState");
  if (blob->kb_buffer == nullptr || blob->kb_length == 0) {
    return 0;
  }
  if (blob->kb_encoding != KFI_BLOB_TEXT) {
    trace(CFI_TRACE_WARNING, "setNodeState() Blob uses non-string encoding.");
    return 0;
  }
  const std::string text = blob->kb_buffer;
  m_mntOpts = uncheckedElement(text, "<MNT_OPTS>", "</MNT_OPTS>");

  const std::string subObject = uncheckedElement(text, "<SUBOBJ>", "</SUBOBJ>");
  qmfi_objid* const identifier =
      qmfi_get_objid(subObject.c_str(), static_cast<std::uint32_t>(subObject.size() + 1), SUB_OBJECT_KIND);
  if (identifier != nullptr) {
    addSubObject(identifier);
  }

  const bool hasAltObject = text.find("<ALTOBJ>") != std::string::npos && text.find("</ALTOBJ>") != std::string::npos;
  if (hasAltObject) {
    m_altObj = uncheckedElement(text, "<ALTOBJ>", "</ALTOBJ>");
  }
  trace(CFI_TRACE_PROGRESS, "setNodeState: m_mntOpts=[%s], subobj=[%s], altobj=[%s]", m_mntOpts.c_str(),
        subObject.c_str(), m_altObj.c_str());
  return 0;
}
