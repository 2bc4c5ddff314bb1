#include "vlvalidate/VLCommand.h"

#include <CLI/CLI.hpp>

#include "Choice/VLProviderChoice.h"

void VLCommand::addProviderOption(CLI::App& command, std::string& provider) {
  command
      .add_option("--provider", provider, "The provider to validate (default sim):\n" + VLProviderChoice::kindsHelp())
      ->type_name("PROVIDER");
}
