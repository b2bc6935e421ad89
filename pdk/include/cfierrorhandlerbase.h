// What an error manager passes its messages to.
#ifndef CFIERRORHANDLERBASE_H
#define CFIERRORHANDLERBASE_H

#include "cfimessage.h"
#include "kfi.h"

namespace qmfi_pdk_4_4 {

// A handler that swallows everything; real ones override. Both operations return 0.
class CFiErrorHandlerBase {
 public:
  CFiErrorHandlerBase() = default;
  CFiErrorHandlerBase(const CFiErrorHandlerBase&) = delete;
  CFiErrorHandlerBase& operator=(const CFiErrorHandlerBase&) = delete;
  virtual ~CFiErrorHandlerBase() = default;

  // A text that needs no translation.
  virtual int handleMessage(const char* /*text*/, kfi_eseverity /*severity*/) { return 0; }

  // A localisable message; the pointer may be empty.
  virtual int handleMessage(CFiMessageSPtr /*message*/) { return 0; }
};

}  // namespace qmfi_pdk_4_4

#endif
