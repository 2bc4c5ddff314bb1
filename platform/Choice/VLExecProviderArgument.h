// VLExecProviderArgument: the argument of the provider kind "exec:COMMAND": a provider
// started as a child process, speaking the provider protocol on its standard input and
// output. COMMAND is split into words once, as a shell would (quotes, backslashes); the
// words are what the process is started with.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Choice/VLProviderArgument.h"

class VLExecProviderArgument : public VLProviderArgument {
 public:
  // Splits `command` into words. Throws VLException for an empty command or a bad quote.
  static std::shared_ptr<const VLProviderArgument> parse(const std::string& command);
  // Returns the argument that starts `words` (at least one) as they are.
  static std::shared_ptr<const VLProviderArgument> of(std::vector<std::string> words);

  // Returns the words, each quoted as a shell would need it ('…') unless it is plain.
  std::string text() const override;
  // Starts the program with the words, completes the handshake and installs the protocol
  // platform.
  VLInstalledProvider install(const VLProviderInstallOptions& options) const override;
  // Returns the command with `settings` as one more word (for a program that takes the
  // simulated provider's settings so, as vlprovider-sim does).
  std::shared_ptr<const VLProviderArgument> withSettings(const std::string& settings) const override;

  // Returns the program's words: its name or path, then its arguments.
  const std::vector<std::string>& words() const { return words_; }

 private:
  explicit VLExecProviderArgument(std::vector<std::string> words) : words_(std::move(words)) {}

  const std::vector<std::string> words_;
};
