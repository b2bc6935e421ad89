// The option string of resource operations: key=value pairs separated by ";".
#ifndef CFIFORMATOPTIONLIST_H
#define CFIFORMATOPTIONLIST_H

#include <map>
#include <string>

namespace qmfi_pdk_4_4 {

// Option strings of the form "key=value;key=value". May be used from any thread.
class CFiFormatOptionList {
 public:
  using Map = std::map<std::string, std::string>;

  // Splits at ";"; a key ends at the first "=", its value is taken as it is. A pair without "=" is a key with an empty
  // value; empty pairs are passed over; the first of equal keys wins.
  static Map parse(const std::string& text);
};

}  // namespace qmfi_pdk_4_4

#endif
