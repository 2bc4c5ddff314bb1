#include "Choice/VLExecProviderArgument.h"

#include <cctype>
#include <string_view>

#include "Core/VLException.h"
#include "Remote/VLRemoteChildProcess.h"
#include "Remote/VLRemotePlatform.h"

namespace {

// A word the shell reads as it is needs no quotes; any other is single-quoted, with each '
// written as '\'' (close, an escaped quote, open again).
std::string quotedWord(const std::string& word) {
  bool plain = !word.empty();
  for (unsigned char c : word) {
    plain = plain &&
            (std::isalnum(c) || std::string_view("_@%+=:,./-").find(static_cast<char>(c)) != std::string_view::npos);
  }
  if (plain) return word;
  std::string quoted = "'";
  for (char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace

std::shared_ptr<const VLProviderArgument> VLExecProviderArgument::parse(const std::string& command) {
  auto words = VLRemoteChildProcess::splitCommandLine(command);
  if (words.empty()) throw VLException("exec needs a command, as in exec:'COMMAND ARGS…'");
  return of(std::move(words));
}

std::shared_ptr<const VLProviderArgument> VLExecProviderArgument::of(std::vector<std::string> words) {
  if (words.empty()) throw VLException("exec needs a command, as in exec:'COMMAND ARGS…'");
  return std::shared_ptr<const VLProviderArgument>(new VLExecProviderArgument(std::move(words)));
}

std::string VLExecProviderArgument::text() const {
  std::string text;
  for (const auto& word : words_) text += (text.empty() ? "" : " ") + quotedWord(word);
  return text;
}

VLInstalledProvider VLExecProviderArgument::install(const VLProviderInstallOptions& options) const {
  auto remote = VLRemotePlatform::launch(words_, options.remoteOptions());
  remote->install();
  return {remote, remote->provider()};
}

std::shared_ptr<const VLProviderArgument> VLExecProviderArgument::withSettings(const std::string& settings) const {
  auto words = words_;
  words.push_back(settings);
  return of(std::move(words));
}
