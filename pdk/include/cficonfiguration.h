// The configuration that the framework keeps for a plug-in.
#ifndef CFICONFIGURATION_H
#define CFICONFIGURATION_H

#include <ace/Configuration.h>
#include <ace/SString.h>

#include "cfitracelog.h"

namespace qmfi_pdk_4_4 {

// The framework's store for one name, read into an ACE heap when the object is made. A store that is missing or cannot
// be read is empty. One thread at a time.
class CFiConfiguration : public virtual CFiTraceable {
 public:
  // Throws std::bad_alloc when memory is short.
  explicit CFiConfiguration(const ACE_String_Base<char>& name);
  ~CFiConfiguration() override = default;

  // Opens a section below the root and makes it the one that values are read from. With create set a missing section is
  // not an error. Returns 0 on success.
  int openSection(const char* section, ACE_Configuration_Section_Key& key, int create);

  // Reads a decimal integer of the opened section. Returns 0 when the value was found and stored; value is untouched
  // otherwise.
  int getIntegerValue(const char* name, unsigned int& value);

 protected:
  // The name that it was made with.
  ACE_String_Base<char> m_name;
  ACE_Configuration_Heap m_heap;
  ACE_Configuration_Section_Key m_section;
};

}  // namespace qmfi_pdk_4_4

#endif
