// Node states restored from any text, against the rule in its plainest form, and kept and restored again.
#include <stdexcept>
#include <string>

#include "fuzz_input.h"
#include "qmfs_private_data.h"
#include "support/provider_model.h"

namespace {

using provider_model::NodeState;

constexpr const char* formerOptions = "former,options";
constexpr const char* formerAlternate = "/former";

NodeState stateOf(CQmFSPrivateData& data) {
  NodeState state{.options = data.getMntOpts(), .subObjects = {}, .altObject = data.getAltObj()};
  for (std::size_t i = 0; i < data.getSubObjectListLength(); ++i) {
    state.subObjects.emplace_back(data.getSubObjectList()[i]->vid_name);
  }
  return state;
}

NodeState restored(CQmFSPrivateData& data, kfi_blob blob) {
  try {
    require(data.setNodeState(&blob) == 0, "restoring returns 0");
  } catch (const std::out_of_range&) {
    NodeState state = stateOf(data);
    state.tooShort = true;
    return state;
  }
  return stateOf(data);
}

bool hasTag(const std::string& text) {
  return text.find('<') != std::string::npos;
}

// What is fetched is the three lines, and restores the same state unless a text looks like a tag.
void checkThereAndBack(CQmFSPrivateData& data, qmfi_objid* name, const NodeState& state) {
  kfi_blob blob{};
  require(data.getNodeState(&blob) == 0, "fetching returns 0");
  const std::string lines = provider_model::stateText(state);
  require(blob.kb_buffer == lines && blob.kb_length == lines.size() + 1, "the text is the three lines");
  require(blob.kb_encoding == KFI_BLOB_TEXT, "the blob is text");
  if (!hasTag(state.options) && !hasTag(state.subObjects[0]) && !hasTag(state.altObject)) {
    CQmFSPrivateData again(name, false);
    require(restored(again, blob) == state, "a state is the same there and back");
  }
  qmfi_free_buf(blob.kb_buffer, blob.kb_length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static qmfi_objid* const name = qmfi_get_objid("/data", 5, 1);
  FuzzedDataProvider input(data, size);
  // Most blobs are text; the length is only compared with zero.
  const auto kind = input.ConsumeIntegral<std::uint8_t>();
  const std::int32_t encoding = kind < 0xf0 ? std::int32_t{KFI_BLOB_TEXT} : input.ConsumeIntegral<std::int32_t>();
  const std::uint64_t length = kind < 0xe0 ? 1 : input.ConsumeIntegral<std::uint64_t>();
  const std::string text = restBeforeNul(input);
  const auto buffer = exactCopy(text);

  CQmFSPrivateData privateData(name, false);
  privateData.setMntOpts(formerOptions);
  privateData.setAltObj(formerAlternate);
  const bool isText = length != 0 && encoding == KFI_BLOB_TEXT;
  const NodeState wanted = isText ? provider_model::restoredState(text, formerAlternate)
                                  : NodeState{.options = formerOptions, .subObjects = {}, .altObject = formerAlternate};
  const NodeState state = restored(privateData, {length, buffer.get(), encoding, 0});
  require(state.tooShort == wanted.tooShort, "only a text that is too short is refused");
  if (state.tooShort) return 0;
  require(state == wanted, "the state is what stands between the tags");
  if (!state.subObjects.empty()) checkThereAndBack(privateData, name, state);
  return 0;
}
