// The providers that a command works with.
#ifndef PROVIDERS_H
#define PROVIDERS_H

#include <string>
#include <vector>

#include "provider/provider.h"

namespace qmfi_host {

// What is handed out lives as long as this object.
class Providers {
 public:
  virtual ~Providers() = default;

  // The provider of that name, started. Throws HostError.
  virtual Provider& named(const std::string& name) = 0;

  // Those among which a file system's provider is looked for, in the order of their names; one at least. Throws
  // HostError.
  virtual std::vector<Provider*> started() = 0;

  // Tells on standard error which others could not be started, and why. Returns whether there are any.
  virtual bool tellOfOthers() = 0;
};

}  // namespace qmfi_host

#endif
