// VLProviderArgument: what follows "kind:" in a provider choice, as its kind parsed it: the
// simulated provider's settings, a program's words, a socket path. It is parsed once, where
// the choice enters (a flag, a live request, the GoogleTest registration), and is what
// starts the provider; its text is for showing and for reports. Each kind has one subclass.
//
// Immutable once made; may be shared between threads.
#pragma once

#include <memory>
#include <string>

#include "Choice/VLInstalledProvider.h"
#include "Choice/VLProviderInstallOptions.h"

class VLProviderArgument {
 public:
  virtual ~VLProviderArgument() = default;

  // Returns the argument as text ("" for none) that its kind parses back to an equal
  // argument: two arguments of one kind are the same exactly when their texts are.
  virtual std::string text() const = 0;
  // Brings the provider up and installs its platform as the current one. Throws VLException
  // saying why when it cannot be started or reached.
  virtual VLInstalledProvider install(const VLProviderInstallOptions& options) const = 0;
  // Returns this argument with the simulated provider's `settings` (not empty) added, for a
  // kind whose provider is started with settings (its row's takesSettings); nullptr for one
  // that cannot take them. Throws VLException for settings the kind can tell are bad.
  virtual std::shared_ptr<const VLProviderArgument> withSettings(const std::string& settings) const {
    (void)settings;
    return nullptr;
  }
};
