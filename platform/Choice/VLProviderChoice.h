// VLProviderChoice: which provider a front end validates, parsed once where it is given
// (--provider, a live page's request, the GoogleTest registration) and passed on as it is to
// where the provider is brought up. The kinds, one row each in VLProviderKind:
//   sim             the built-in simulated reference provider, conformant
//   sim:SETTINGS    the same with quirks and settings ("case-sensitive-names,upload-latency=200ms")
//   exec:COMMAND    a provider started as a child process ("exec:my-provider --verbose"),
//                   speaking the provider protocol on its standard input and output
//   unix:PATH       a provider daemon already listening on the Unix domain socket PATH
// A choice is its kind and the kind's parsed VLProviderArgument; its text is for showing and
// for reports. An immutable value (copies share the argument); parse() checks it all, so that
// bad input is found before anything starts.
#pragma once

#include <memory>
#include <string>

#include "Choice/VLInstalledProvider.h"
#include "Choice/VLProviderArgument.h"
#include "Choice/VLProviderKind.h"
#include "Choice/VLProviderUnavailable.h"
#include "Choice/VLUsageError.h"

class VLProviderChoice {
 public:
  // Parses `text`. Throws VLUsageError naming what is wrong: an unknown kind (listing the
  // kinds), a bad simulated setting (listing the valid quirks and settings), an empty or
  // badly quoted command, an empty socket path.
  static VLProviderChoice parse(const std::string& text);
  // The choice of `kind` with `argument` (one the kind's parse made), written as the
  // argument's text says.
  VLProviderChoice(const VLProviderKind& kind, std::shared_ptr<const VLProviderArgument> argument);

  // Brings the provider up and installs its platform. Throws VLProviderUnavailable with the
  // reason when it cannot be started or reached, or exits or fails the handshake, and
  // VLUsageError when `options` do not fit the kind or the protocol log cannot be written.
  VLInstalledProvider install(const VLProviderInstallOptions& options = {}) const;

  // Returns whether withSettings() can give this provider settings (a running daemon cannot).
  bool takesSettings() const { return kind_->takesSettings; }
  // Returns this reference provider with the simulated provider's `settings` added: sim
  // gets them after its own, exec gets them as one more word of its command (a program that
  // takes them so, as vlprovider-sim does). Throws VLUsageError for a kind that cannot take
  // settings (unix:) or settings the kind refuses.
  VLProviderChoice withSettings(const std::string& settings) const;

  // Returns the choice as written, or for a choice made from another, as its kind writes
  // it; parse() reads either back to an equal choice.
  const std::string& text() const { return text_; }
  // Returns its kind's row.
  const VLProviderKind& kind() const { return *kind_; }
  // Returns what followed "kind:", parsed.
  const VLProviderArgument& argument() const { return *argument_; }
  // Returns the argument as the kind's own class T (VLExecProviderArgument, …), or nullptr
  // for a choice of another kind.
  template <class T>
  const T* argumentAs() const {
    return dynamic_cast<const T*>(argument_.get());
  }

  // Returns whether both choose the same provider: the same kind and equal arguments (for
  // exec, the same words however they were quoted).
  bool operator==(const VLProviderChoice& other) const;

  // Returns one line per form of every kind, for help texts.
  static std::string kindsHelp() { return VLProviderKind::helpText(); }

 private:
  VLProviderChoice(std::string text, const VLProviderKind& kind, std::shared_ptr<const VLProviderArgument> argument);

  std::string text_;
  const VLProviderKind* kind_;
  std::shared_ptr<const VLProviderArgument> argument_;
};
