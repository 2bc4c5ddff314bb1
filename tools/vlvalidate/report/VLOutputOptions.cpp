#include "vlvalidate/VLOutputOptions.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "Choice/VLUsageError.h"
#include "Core/VLLog.h"
#include "vlvalidate/VLTerminal.h"

void VLOutputOptions::addTo(CLI::App& command, bool progress) {
  command.add_option("--color", color, "Colour the console: auto (on a terminal), always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
      ->type_name("WHEN");
  if (progress) command.add_flag("--no-progress", noProgress, "No live status line on a terminal");
  command.add_flag("--debug", debug, "Also log [DEBUG] lines (event and matching traces)");
  command.add_option("--log", logPath, "Send every log line to FILE instead of standard error")->type_name("FILE");
}

std::shared_ptr<VLTerminal> VLOutputOptions::terminal(bool documentOnStandardOutput) const {
  const VLColorChoice choice = color == "always"  ? VLColorChoice::Always
                               : color == "never" ? VLColorChoice::Never
                                                  : VLColorChoice::Auto;
  return VLTerminal::forProcess(choice, !noProgress, documentOnStandardOutput);
}

void VLOutputOptions::routeLog(const std::shared_ptr<VLTerminal>& terminal) const {
  VLLog::setDebugEnabled(debug);
  if (!logPath.empty()) {
    auto file = std::make_shared<std::ofstream>(logPath, std::ios::app);
    if (!*file) throw VLUsageError("--log " + logPath + ": cannot write: " + std::strerror(errno));
    VLLog::setSink([file](VLLogLevel, const std::string& line) { *file << line << "\n" << std::flush; });
    return;
  }
  const bool withDebug = debug;
  VLLog::setSink([terminal, withDebug](VLLogLevel level, const std::string& line) {
    if (withDebug || level == VLLogLevel::Error || level == VLLogLevel::Fault) terminal->log(line);
  });
}
