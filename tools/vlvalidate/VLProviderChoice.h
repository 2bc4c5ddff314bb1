// VLProviderChoice: which provider a command validates, as given to --provider, and how to
// bring it up. Kinds:
//   sim             the built-in simulated reference provider, conformant
//   sim:SETTINGS    the same with quirks and settings ("case-sensitive-names,upload-latency=200ms")
//   exec:COMMAND    a provider started as a child process ("exec:my-provider --verbose"),
//                   speaking the provider protocol on its standard input and output
//   unix:PATH       a provider daemon already listening on the Unix domain socket PATH
// Every kind is parsed and installed here and nowhere else, so adding one is a local change.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Core/VLException.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProvider.h"

// The provider could not be started or reached; the runner exits with status 4.
class VLProviderUnavailable : public VLException {
 public:
  explicit VLProviderUnavailable(const std::string& message) : VLException(message) {}
};

// A provider brought up: the platform installed as the process's current one, and the
// provider it plays. Keeps the platform alive.
struct VLInstalledProvider {
  std::shared_ptr<VLPlatform> platform;
  std::shared_ptr<VLProvider> provider;

  // Asks the provider's validation service for eligibility and its properties, waiting at
  // most `seconds`. Returns whether it is eligible; throws VLProviderUnavailable when no
  // answer comes in time.
  bool decideEligibility(double seconds = kEligibilityTimeout) const;

  // How long a provider may take to answer the eligibility question.
  static constexpr double kEligibilityTimeout = 30;
};

class VLProviderChoice {
 public:
  enum class Kind { Simulated, Exec, Unix };

  // Parses `text`. Throws VLUsageError naming what is wrong: an unknown kind (listing the
  // kinds), a bad simulated setting (listing the valid quirks and settings), an empty or
  // badly quoted command, an empty socket path.
  static VLProviderChoice parse(const std::string& text);

  // Brings the provider up and installs its platform. Throws VLProviderUnavailable with the
  // reason when it cannot be started or reached, or exits or fails the handshake.
  VLInstalledProvider install() const;

  // Returns this reference provider with the simulated provider's `settings` added: sim
  // gets them after its own, exec gets them appended to its command as one quoted argument
  // (a program that takes them so, as vlprovider-sim does). Throws VLUsageError for unix: a
  // running daemon's settings cannot be changed.
  VLProviderChoice withSettings(const std::string& settings) const;

  const std::string& text() const { return text_; }
  Kind kind() const { return kind_; }
  // What follows "kind:" ("" when nothing does).
  const std::string& argument() const { return argument_; }

  // Returns one line per kind, for help texts.
  static std::string kindsHelp();

 private:
  std::string text_;
  Kind kind_ = Kind::Simulated;
  std::string argument_;
};
