// Keeps the split context open.
#ifndef OPEN_SPLIT_CONTEXT_H
#define OPEN_SPLIT_CONTEXT_H

#include "cfitracelog.h"

class OpenSplitContext {
 public:
  OpenSplitContext() : result(qmfi_create_context()) {}
  OpenSplitContext(const OpenSplitContext&) = delete;
  OpenSplitContext& operator=(const OpenSplitContext&) = delete;
  ~OpenSplitContext() { qmfi_close_context(); }

  const int result;
};

#endif
