// The provider's setting for file systems that cannot be frozen together.
#ifndef FREEZE_SETTINGS_H
#define FREEZE_SETTINGS_H

// Sets what a configuration file would say, without the reading of one for each input.
void allowSerialFreezes(bool allowed);

#endif
