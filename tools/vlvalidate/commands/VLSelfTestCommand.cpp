#include "vlvalidate/VLSelfTestCommand.h"

#include <CLI/CLI.hpp>
#include <chrono>

#include "Choice/VLProviderChoice.h"
#include "Faults/VLFaultMatcher.h"
#include "suites/VLStandardSuites.h"
#include "CaseRun/VLCaseFilter.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLFaultMatrixCheck.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLRunOptions.h"
#include "vlvalidate/VLTerminal.h"
#include "vlvalidate/VLTimeText.h"

namespace {

std::string casesText(size_t count) { return std::to_string(count) + (count == 1 ? " case" : " cases"); }

// Quirk names hold '-', so rows are chosen by globs separated by ':' alone, without the
// case filter's negative part.
bool selectsRow(const std::string& patterns, const std::string& settings) {
  size_t start = 0;
  while (true) {
    size_t colon = patterns.find(':', start);
    std::string glob = patterns.substr(start, colon == std::string::npos ? std::string::npos : colon - start);
    if (VLCaseFilter::globMatches(glob.empty() ? "*" : glob, settings)) return true;
    if (colon == std::string::npos) return false;
    start = colon + 1;
  }
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

VLSelfTestCommand::VLSelfTestCommand(VLSelfTestOptions options) : options_(std::move(options)) {}

void VLSelfTestCommand::addOptions(CLI::App& command, VLOutputOptions& output) {
  command
      .add_option("--provider", options_.provider,
                  "The reference provider to run the rows through (default sim): sim, sim:SETTINGS, or\n"
                  "exec:COMMAND, a program serving it over the provider protocol that takes the simulated\n"
                  "provider's settings as arguments (vlprovider-sim); it is started anew for every row with\n"
                  "the row's settings appended as one argument")
      ->type_name("PROVIDER");
  command
      .add_option(
          "--rows", options_.rows,
          "Only the rows whose settings match one of these globs, separated by ':' (e.g. 'no-child-count:*-names')")
      ->type_name("PATTERN");
  command.add_option("-j,--jobs", options_.jobs, "Run up to N cases of a row at once, " + VLRunOptions::kJobs.help())
      ->check(CLI::Range(VLRunOptions::kJobs.min, VLRunOptions::kJobs.max).description(""))
      ->type_name("N");
  command.add_flag("--skip-slow", options_.skipSlow, "Leave out rows that wait out a long time-out");
  command.add_flag("-v,--verbose", options_.verbose, "List every case of every row");
  output.addTo(command, true);
}

int VLSelfTestCommand::execute(const std::shared_ptr<VLTerminal>& terminal) {
  terminal_ = terminal;
  VLRegisterStandardSuites();
  const VLProviderChoice reference = VLProviderChoice::parse(options_.provider);
  if (!reference.takesSettings()) {
    throw VLUsageError("--provider " + options_.provider +
                       ": selftest starts the reference provider anew with each row's settings, so it takes sim, "
                       "sim:SETTINGS or exec:COMMAND, not a running daemon");
  }
  std::vector<const VLFaultMatrixRow*> rows;
  for (const auto& row : VLFaultMatrix::rows()) {
    if (selectsRow(options_.rows, row.settings)) rows.push_back(&row);
  }
  if (rows.empty()) throw VLUsageError("--rows " + options_.rows + " selects none of the fault matrix's rows");

  const size_t total = rows.size() + 2;
  size_t done = 0, held = 0, skipped = 0;
  const auto started = std::chrono::steady_clock::now();
  terminal_->print("Self-test: the reference provider (" + VLTerminal::printable(reference.text()) +
                   "), conformant and with the faults of the fault matrix (" + std::to_string(total) + " checks).\n");

  // Runs one check and prints its line: what was checked, whether it held, and why not.
  auto check = [&](const std::string& what, const std::string& settings, const std::string& demanded,
                   const std::function<VLFaultCheckResult(const std::shared_ptr<VLProvider>&)>& run) {
    terminal_->setStatus("[" + std::to_string(done) + "/" + std::to_string(total) + "] " + what);
    const auto start = std::chrono::steady_clock::now();
    VLFaultCheckResult result;
    try {
      result = run(reference.withSettings(settings).install().provider);
    } catch (const VLProviderUnavailable& error) {
      if (settings.empty()) throw;  // not even the conformant provider starts: nothing can be checked
      result.mismatches.push_back(std::string("the reference provider cannot play this: ") + error.what());
    } catch (const VLException& error) {
      result.mismatches.push_back(std::string("the reference provider cannot play this: ") + error.what());
    }
    ++done;
    const bool ok = result.passed();
    held += ok;
    std::string verdict = ok ? casesText(result.cases) + " " + demanded : "not as demanded";
    if (!ok && result.cases) {
      verdict = std::to_string(result.mismatches.size()) + " of " + casesText(result.cases) + " " + verdict;
    }
    std::string line = (ok ? terminal_->paint("ok  ", "32") : terminal_->paint("FAIL", "1;31")) + "  " + what + ": " +
                       verdict + " (" + vl_durationText(secondsSince(start)) + ")\n";
    for (const auto& mismatch : result.mismatches) line += "        " + VLTerminal::printable(mismatch) + "\n";
    if (options_.verbose) {
      for (const auto& outcome : result.outcomes) {
        line += "        " + outcome.shortID + " " + vl_resultName(outcome.result) + "\n";
      }
    }
    terminal_->print(line);
  };

  for (bool strict : {false, true}) {
    check(
        std::string("conformant reference provider") + (strict ? ", strict" : ""), "", "passed or ended as listed",
        [&](const auto& provider) { return VLFaultMatrixCheck::runConformance("", strict, provider, options_.jobs); });
  }
  for (const auto* row : rows) {
    const std::string what = row->settings + (row->strict ? " (strict)" : "") + " → " + row->cases;
    if (row->slow && options_.skipSlow) {
      ++done, ++skipped;
      terminal_->print(terminal_->paint("skip", "33") + "  " + what + ": waits out a long time-out (--skip-slow)\n");
      continue;
    }
    check(what, row->settings, VLFaultMatcher::verdictsText(*row) + " as demanded (" + row->fault + ")",
          [&](const auto& provider) { return VLFaultMatrixCheck::runRow(*row, provider, options_.jobs); });
  }
  terminal_->setStatus("");

  const size_t checked = total - skipped;
  const bool passed = held == checked;
  std::string text = "\n" +
                     std::string(passed ? terminal_->paint("Self-test passed", "1;32")
                                        : terminal_->paint("Self-test FAILED", "1;31")) +
                     ": " + std::to_string(held) + " of " + std::to_string(checked) + " checks held";
  if (skipped) text += ", " + std::to_string(skipped) + " skipped";
  text += ", in " + vl_durationText(secondsSince(started)) + ".\n";
  terminal_->print(text);
  return passed ? VLExitPassed : VLExitFailed;
}
