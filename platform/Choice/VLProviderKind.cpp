#include "Choice/VLProviderKind.h"

#include "Choice/VLExecProviderArgument.h"
#include "Choice/VLSimulatedProviderArgument.h"
#include "Choice/VLUnixProviderArgument.h"

const std::vector<VLProviderKind>& VLProviderKind::all() {
  static const std::vector<VLProviderKind> kinds = {
      {.prefix = "sim",
       .help = {{"sim", "the built-in simulated reference provider"},
                {"sim:SETTINGS",
                 "the same with comma-separated quirks and name=value settings, e.g.\n"
                 "sim:case-sensitive-names,upload-latency=200ms (a bad name lists the valid ones)"}},
       .label = "simulated",
       .argumentLabel = "Settings",
       .argumentExample = "upload-latency=200ms",
       .argumentIsSettings = true,
       .parse = VLSimulatedProviderArgument::parse,
       .inProcess = true,
       .takesSettings = true},
      {.prefix = "exec",
       .help = {{"exec:COMMAND",
                 "a provider started as a child process speaking the provider protocol on its\n"
                 "standard input and output; quote the whole PROVIDER when COMMAND has arguments:\n"
                 "\"exec:build/tools/vlprovider-sim/vlprovider-sim case-sensitive-names\""}},
       .label = "exec: a program",
       .argumentLabel = "Command",
       .argumentExample = "my-provider --verbose",
       .parse = VLExecProviderArgument::parse,
       .speaksProtocol = true,
       .takesSettings = true},
      {.prefix = "unix",
       .help = {{"unix:PATH", "a provider daemon listening on the Unix domain socket PATH"}},
       .label = "unix: a socket",
       .argumentLabel = "Socket path",
       .argumentExample = "/run/my-provider.sock",
       .parse = VLUnixProviderArgument::parse,
       .speaksProtocol = true,
       .takesSettings = false},  // a running daemon keeps the settings it was started with
  };
  return kinds;
}

const VLProviderKind* VLProviderKind::find(const std::string& prefix) {
  for (const auto& kind : all()) {
    if (kind.prefix == prefix) return &kind;
  }
  return nullptr;
}

std::string VLProviderKind::helpText() {
  const std::string indent(17, ' ');
  std::string text;
  for (const auto& kind : all()) {
    for (const auto& form : kind.help) {
      std::string line = "  " + form.usage;
      line += std::string(line.size() < indent.size() ? indent.size() - line.size() : 1, ' ');
      for (char c : form.meaning) line += c == '\n' ? "\n" + indent : std::string(1, c);
      text += line + "\n";
    }
  }
  return text;
}
