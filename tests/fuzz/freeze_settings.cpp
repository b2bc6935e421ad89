// The provider's setting for file systems that cannot be frozen together.
#include "freeze_settings.h"

#include "qmfs_plugin.h"

void allowSerialFreezes(bool allowed) {
  m_tuningParams.allowSerialQuiescence = allowed ? 1 : 0;
}
