// The provider's rules about texts in their plainest form, for tests that compare it with them over many texts.
#ifndef PROVIDER_MODEL_H
#define PROVIDER_MODEL_H

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace provider_model {

// What a node's state is. A text that is too short restores nothing of it.
struct NodeState {
  bool tooShort = false;
  std::string options;
  std::vector<std::string> subObjects;
  std::string altObject;

  bool operator==(const NodeState&) const = default;
};

// The text between two tags, whose places are -1 where they are missing.
inline std::string between(const std::string& text, const std::string& open, const std::string& close) {
  const auto begin = static_cast<int>(text.find(open));
  const auto end = static_cast<int>(text.find(close));
  const int first = begin + static_cast<int>(open.size());
  const int length = end - first;
  return text.substr(static_cast<std::size_t>(first), static_cast<std::size_t>(length));
}

// The state of a node without sub-objects once the text is restored to it.
inline NodeState restoredState(const std::string& text, const std::string& altObjectBefore) {
  NodeState state{.options = {}, .subObjects = {}, .altObject = altObjectBefore};
  try {
    state.options = between(text, "<MNT_OPTS>", "</MNT_OPTS>");
    // There is no identifier of an empty name.
    const std::string subObject = between(text, "<SUBOBJ>", "</SUBOBJ>");
    if (!subObject.empty()) state.subObjects = {subObject};
    if (text.find("<ALTOBJ>") != std::string::npos && text.find("</ALTOBJ>") != std::string::npos) {
      state.altObject = between(text, "<ALTOBJ>", "</ALTOBJ>");
    }
  } catch (const std::out_of_range&) {
    state = {.tooShort = true, .options = {}, .subObjects = {}, .altObject = altObjectBefore};
  }
  return state;
}

// The text of a state that has a sub-object.
inline std::string stateText(const NodeState& state) {
  std::string text = "<MNT_OPTS>" + state.options + "</MNT_OPTS>\n<SUBOBJ>" + state.subObjects.front() + "</SUBOBJ>\n";
  if (!state.altObject.empty()) text += "<ALTOBJ>" + state.altObject + "</ALTOBJ>\n";
  return text;
}

// The options that a node keeps of a list of them.
inline std::string keptOptions(std::vector<std::string> options) {
  std::erase(options, "");
  if (std::count(options.begin(), options.end(), "ro") != 0) std::erase(options, "log");
  std::string text;
  for (const std::string& option : options) text += (text.empty() ? "" : ",") + option;
  return text;
}

// The options between the commas of a text.
inline std::vector<std::string> optionList(const std::string& text) {
  std::vector<std::string> options(1);
  for (const char byte : text) {
    if (byte == ',') {
      options.emplace_back();
    } else {
      options.back() += byte;
    }
  }
  return options;
}

}  // namespace provider_model

#endif
