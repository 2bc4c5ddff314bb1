#include "vlvalidate/VLProviderChoice.h"

#include "Dispatch/VLSemaphore.h"
#include "Remote/VLRemoteChildProcess.h"
#include "Remote/VLRemotePlatform.h"
#include "Simulated/Simulated.h"
#include "Validations/VLValidationEligibility.h"
#include "vlvalidate/VLUsageError.h"

namespace {

// Quotes `word` for the command-line splitting of exec: (as a shell would read it).
std::string quoted(const std::string& word) {
  std::string text = "'";
  for (char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

}  // namespace

bool VLInstalledProvider::decideEligibility(double seconds) const {
  struct Answer {
    std::shared_ptr<VLSemaphore> done = VLSemaphore::make(0);
    std::atomic<bool> eligible{false};
  };
  auto answer = std::make_shared<Answer>();  // shared: a late answer must not outlive a local
  determineValidationEligibility(provider, [answer](bool eligible) {
    answer->eligible = eligible;
    answer->done->signal();
  });
  if (!answer->done->wait(seconds)) {
    throw VLProviderUnavailable("the provider did not answer the eligibility question within " +
                                VLFormat("%g", seconds) + " s");
  }
  return answer->eligible;
}

VLProviderChoice VLProviderChoice::parse(const std::string& text) {
  VLProviderChoice choice;
  choice.text_ = text;
  const size_t colon = text.find(':');
  const std::string kind = text.substr(0, colon);
  choice.argument_ = colon == std::string::npos ? "" : text.substr(colon + 1);
  if (kind == "sim") {
    choice.kind_ = Kind::Simulated;
    try {
      VLSimulatedSettings::parse(choice.argument_);
    } catch (const VLException& error) {
      throw VLUsageError("--provider " + text + ": " + error.what());
    }
    return choice;
  }
  if (kind == "exec") {
    choice.kind_ = Kind::Exec;
    std::vector<std::string> words;
    try {
      words = VLRemoteChildProcess::splitCommandLine(choice.argument_);
    } catch (const VLException& error) {
      throw VLUsageError("--provider " + text + ": " + error.what());
    }
    if (words.empty()) throw VLUsageError("--provider " + text + ": exec needs a command, as in exec:'COMMAND ARGS…'");
    return choice;
  }
  if (kind == "unix") {
    choice.kind_ = Kind::Unix;
    if (choice.argument_.empty())
      throw VLUsageError("--provider " + text + ": unix needs a socket path, as in unix:PATH");
    return choice;
  }
  throw VLUsageError("--provider " + text + ": unknown provider kind '" + kind + "'; kinds:\n" + kindsHelp());
}

VLInstalledProvider VLProviderChoice::install() const {
  try {
    switch (kind_) {
      case Kind::Simulated: {
        auto service = VLSimulatedProviderService::make(argument_);
        service->install();
        return {service, service->provider()};
      }
      case Kind::Exec:
      case Kind::Unix: {
        auto remote =
            kind_ == Kind::Exec ? VLRemotePlatform::launch(argument_) : VLRemotePlatform::connectToSocket(argument_);
        remote->install();
        return {remote, remote->provider()};
      }
    }
  } catch (const VLProviderUnavailable&) {
    throw;
  } catch (const VLException& error) {
    throw VLProviderUnavailable("--provider " + text_ + ": " + error.what());
  }
  throw VLProviderUnavailable("--provider " + text_ + ": unknown kind of provider");
}

VLProviderChoice VLProviderChoice::withSettings(const std::string& settings) const {
  if (settings.empty()) return *this;
  switch (kind_) {
    case Kind::Simulated: return parse("sim:" + argument_ + (argument_.empty() ? "" : ",") + settings);
    case Kind::Exec: return parse("exec:" + argument_ + " " + quoted(settings));
    case Kind::Unix: break;
  }
  throw VLUsageError("--provider " + text_ + ": a provider daemon runs with the settings it was started with; " +
                     "use sim or exec:COMMAND to give it settings");
}

std::string VLProviderChoice::kindsHelp() {
  return "  sim            the built-in simulated reference provider\n"
         "  sim:SETTINGS   the same with comma-separated quirks and name=value settings, e.g.\n"
         "                 sim:case-sensitive-names,upload-latency=200ms (a bad name lists the valid ones)\n"
         "  exec:COMMAND   a provider started as a child process speaking the provider protocol on its\n"
         "                 standard input and output; quote the whole PROVIDER when COMMAND has arguments:\n"
         "                 \"exec:build/tools/vlprovider-sim/vlprovider-sim case-sensitive-names\"\n"
         "  unix:PATH      a provider daemon listening on the Unix domain socket PATH\n";
}
