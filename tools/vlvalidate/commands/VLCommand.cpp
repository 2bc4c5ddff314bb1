#include "vlvalidate/VLCommand.h"

#include <CLI/CLI.hpp>

#include "Choice/VLProviderChoice.h"
#include "Choice/VLProviderInstallOptions.h"
#include "Core/VLFormat.h"

void VLCommand::addProviderOption(CLI::App& command, std::string& provider) {
  command
      .add_option("--provider", provider, "The provider to validate (default sim):\n" + VLProviderChoice::kindsHelp())
      ->type_name("PROVIDER");
}

void VLCommand::addHandshakeTimeoutOption(CLI::App& command, double& seconds) {
  command
      .add_option("--handshake-timeout", seconds,
                  VLFormat("Seconds an exec: or unix: provider has to answer the protocol's initialize, above 0 and "
                           "up to %g (default %g)",
                           VLProviderInstallOptions::kLongestHandshakeTimeout,
                           VLProviderInstallOptions::kDefaultHandshakeTimeout))
      ->check([](const std::string& text) {
        try {
          VLProviderInstallOptions::checkedHandshakeTimeout(std::stod(text));
        } catch (const std::exception&) {
          return VLFormat("expected a number of seconds above 0 and at most %g, not ",
                          VLProviderInstallOptions::kLongestHandshakeTimeout) +
                 text;
        }
        return std::string();
      })
      ->type_name("SECONDS");
}
