#include "vlvalidate/VLCommand.h"

#include <CLI/CLI.hpp>

#include "Choice/VLProviderChoice.h"
#include "Choice/VLProviderInstallOptions.h"

void VLCommand::addProviderOption(CLI::App& command, std::string& provider) {
  command
      .add_option("--provider", provider, "The provider to validate (default sim):\n" + VLProviderChoice::kindsHelp())
      ->type_name("PROVIDER");
}

void VLCommand::addHandshakeTimeoutOption(CLI::App& command, double& seconds) {
  command
      .add_option("--handshake-timeout", seconds,
                  "Seconds an exec: or unix: provider has to answer the protocol's initialize, above 0 and up to "
                  "86400 (default 10)")
      ->check([](const std::string& text) {
        try {
          VLProviderInstallOptions::checkedHandshakeTimeout(std::stod(text));
        } catch (const std::exception&) {
          return std::string("expected a number of seconds above 0 and at most 86400, not ") + text;
        }
        return std::string();
      })
      ->type_name("SECONDS");
}
