// Whether notices are told.
#ifndef NOTICES_H
#define NOTICES_H

namespace qmfi_host {

// Has notices told, or not, from now on in the whole process; failures are told all the same. They are told before.
void setNoticesTold(bool told);

// Whether they are told.
bool areNoticesTold();

}  // namespace qmfi_host

#endif
