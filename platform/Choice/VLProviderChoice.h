// VLProviderChoice: which provider a front end validates, as written after --provider, and
// how to bring it up. The kinds, one row each in VLProviderKind:
//   sim             the built-in simulated reference provider, conformant
//   sim:SETTINGS    the same with quirks and settings ("case-sensitive-names,upload-latency=200ms")
//   exec:COMMAND    a provider started as a child process ("exec:my-provider --verbose"),
//                   speaking the provider protocol on its standard input and output
//   unix:PATH       a provider daemon already listening on the Unix domain socket PATH
// An immutable value; parse() checks it all, so that bad input is found before anything starts.
#pragma once

#include <string>

#include "Choice/VLInstalledProvider.h"
#include "Choice/VLProviderKind.h"
#include "Choice/VLProviderUnavailable.h"
#include "Choice/VLUsageError.h"

class VLProviderChoice {
 public:
  // Parses `text`. Throws VLUsageError naming what is wrong: an unknown kind (listing the
  // kinds), a bad simulated setting (listing the valid quirks and settings), an empty or
  // badly quoted command, an empty socket path.
  static VLProviderChoice parse(const std::string& text);

  // Brings the provider up and installs its platform. Throws VLProviderUnavailable with the
  // reason when it cannot be started or reached, or exits or fails the handshake, and
  // VLUsageError when `options` do not fit the kind or the protocol log cannot be written.
  VLInstalledProvider install(const VLProviderInstallOptions& options = {}) const;

  // Returns whether withSettings() can give this provider settings (a running daemon cannot).
  bool takesSettings() const { return static_cast<bool>(kind_->addSettings); }
  // Returns this reference provider with the simulated provider's `settings` added: sim
  // gets them after its own, exec gets them appended to its command as one quoted argument
  // (a program that takes them so, as vlprovider-sim does). Throws VLUsageError for a kind
  // that cannot take settings (unix:).
  VLProviderChoice withSettings(const std::string& settings) const;

  // Returns the choice as written.
  const std::string& text() const { return text_; }
  // Returns its kind's row.
  const VLProviderKind& kind() const { return *kind_; }
  // Returns what follows "kind:" ("" when nothing does).
  const std::string& argument() const { return argument_; }

  // Returns one line per form of every kind, for help texts.
  static std::string kindsHelp() { return VLProviderKind::helpText(); }

 private:
  VLProviderChoice(std::string text, const VLProviderKind& kind, std::string argument);

  std::string text_;
  const VLProviderKind* kind_;
  std::string argument_;
};
