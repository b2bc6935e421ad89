// The name of the plug-in that is being compiled, as every form in which its code needs it.
//
// A provider defines FI_PLUGIN_PREFIX (a plain word, such as qmfsfi) for all of its sources before any header of the
// kit is read; its entry points are exported as FI_PLUGIN_PREFIX_fi_pgn_....
#ifndef CFIPLUGINNAME_H
#define CFIPLUGINNAME_H

#ifndef FI_PLUGIN_PREFIX
#error "define FI_PLUGIN_PREFIX to the provider's name"
#endif

#include <ace/SString.h>

#include <string>

#define CFI_JOIN_EXPANDED(first, second) first##_##second
#define CFI_JOIN(first, second) CFI_JOIN_EXPANDED(first, second)
#define CFI_TEXT_EXPANDED(word) #word
#define CFI_TEXT(word) CFI_TEXT_EXPANDED(word)

#define CFI_WIDE_EXPANDED(text) L##text
#define CFI_WIDE(text) CFI_WIDE_EXPANDED(text)

// Exported name of an entry point, and the same as text.
#define FI_PGN(suffix) CFI_JOIN(FI_PLUGIN_PREFIX, suffix)
#define FI_PGN_TEXT(suffix) CFI_TEXT(FI_PGN(suffix))

namespace qmfi_pdk_4_4 {

// Tag that keeps this plug-in's singletons apart from those of any other in the same process.
struct CFI_JOIN(FI_PLUGIN_PREFIX, plugin_name);
using FI_PLUGIN_NAME = CFI_JOIN(FI_PLUGIN_PREFIX, plugin_name);

}  // namespace qmfi_pdk_4_4

// Each is the provider's name, in one of the string types in use. Built when the library is loaded, read-only
// afterwards.
extern ACE_String_Base<char> cfi_pgn_name_tstr;
extern std::wstring cfi_pgn_name_wstr;
extern std::string cfi_pgn_name_str;

#endif
