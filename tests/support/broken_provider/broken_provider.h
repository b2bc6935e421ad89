// A provider that hands every call on to a sound one, but for one fault.
#ifndef BROKEN_PROVIDER_H
#define BROKEN_PROVIDER_H

#include "kfi.h"

// A pointer to each function of the list, by its name.
struct ProviderCalls {
// NOLINTNEXTLINE(bugprone-macro-parentheses): these are a type and a list of parameters.
#define FI_ENTRY_POINT(suffix, result, parameters) result(*suffix) parameters;
#include "cfientrypoints.def"
};

// What the exported functions jump to. Set when the library is loaded: the sound provider's, and the fault's in place
// of some.
extern "C" __attribute__((visibility("hidden"))) ProviderCalls brokenCalls;

// The sound provider's own.
extern ProviderCalls soundCalls;

// Puts a fault in; its name is one of broken_faults.def, or another one for none.
void putFaultIn(const char* name);

#endif
