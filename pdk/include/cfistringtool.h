// Small string operations that the framework provides. All are pure and may be called from any thread.
#ifndef CFISTRINGTOOL_H
#define CFISTRINGTOOL_H

#include <ace/SString.h>

#include <string>
#include <vector>

namespace qmfi_pdk_4_4 {

// Texts cut, joined and converted. May be used from any thread.
class CFiStringTool {
 public:
  // The text without the leading and trailing characters that are in the set.
  static std::string trim(const std::string& text, const std::string& characters);

  // The text without the trailing characters that are in the set.
  static std::string rtrim(const std::string& text, const std::string& characters);

  // The non-empty pieces of text between any of the separator characters, in order.
  static std::vector<std::string> tokenize(const std::string& text, const std::string& separators);

  // Both convert between standard strings and the framework's string type; a NUL inside is kept.
  static ACE_String_Base<char> str2tstr(const std::string& text);
  static std::string tstr2str(const ACE_String_Base<char>& text);

  // The elements joined, each followed by the separator, so a non-empty result ends with it.
  // Required: the separator is taken by value, since plug-ins import the operation under that signature.
  static std::string vec2str(const std::vector<std::string>& elements, std::string separator);

  // The leading decimal number of a text (after white space, with an optional sign): 0 where there is none, saturating
  // at the ends of the range.
  static int str2int(const std::string& text);

  // Whether a line of the list contains the text; case matters.
  static bool find(const std::vector<std::string>& lines, const std::string& text);
};

}  // namespace qmfi_pdk_4_4

#endif
