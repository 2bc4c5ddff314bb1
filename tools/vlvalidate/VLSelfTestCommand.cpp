#include "vlvalidate/VLSelfTestCommand.h"

#include <chrono>

#include "suites/VLStandardSuites.h"
#include "vlvalidate/VLFaultMatrixCheck.h"
#include "vlvalidate/VLProviderSpec.h"
#include "vlvalidate/VLRunInfo.h"
#include "vlvalidate/VLTerminal.h"

namespace {

std::string verdictsText(const VLFaultMatrixRow& row) {
  std::string text;
  for (auto verdict : row.verdicts) text += (text.empty() ? "" : " or ") + std::string(vl_resultName(verdict));
  return text;
}

std::string casesText(size_t count) { return std::to_string(count) + (count == 1 ? " case" : " cases"); }

}  // namespace

VLSelfTestCommand::VLSelfTestCommand(VLSelfTestOptions options, std::shared_ptr<VLTerminal> terminal)
    : options_(options), terminal_(std::move(terminal)) {}

int VLSelfTestCommand::execute() {
  VLRegisterStandardSuites();
  const auto& rows = VLFaultMatrix::rows();
  const size_t total = rows.size() + 2;
  size_t done = 0, held = 0, skipped = 0;
  const auto started = std::chrono::steady_clock::now();
  terminal_->print("Self-test: the built-in reference provider, conformant and with each fault of the fault matrix (" +
                   std::to_string(total) + " checks).\n");

  auto report = [&](const std::string& what, const VLFaultCheckResult& result, const std::string& outcome) {
    ++done;
    const bool ok = result.passed();
    held += ok;
    std::string verdict = ok ? outcome : "not as demanded";
    if (!ok && result.cases)
      verdict = std::to_string(result.mismatches.size()) + " of " + casesText(result.cases) + " " + verdict;
    std::string line =
        (ok ? terminal_->paint("ok  ", "32") : terminal_->paint("FAIL", "1;31")) + "  " + what + ": " + verdict + "\n";
    for (const auto& mismatch : result.mismatches) line += "        " + VLTerminal::printable(mismatch) + "\n";
    if (options_.verbose) {
      for (const auto& outcome : result.outcomes) {
        line += "        " + outcome.shortID + " " + vl_resultName(outcome.result) + "\n";
      }
    }
    terminal_->print(line);
  };
  auto status = [&](const std::string& what) {
    terminal_->setStatus("[" + std::to_string(done) + "/" + std::to_string(total) + "] " + what);
  };

  for (bool strict : {false, true}) {
    const std::string what = std::string("conformant reference provider") + (strict ? ", strict" : "");
    status(what);
    auto installed = VLProviderSpec::parse("sim").install();
    auto result = VLFaultMatrixCheck::runConformance("", strict, installed.provider, options_.jobs);
    report(what, result, casesText(result.cases) + " passed or ended as listed");
  }
  for (const auto& row : rows) {
    const std::string what = row.settings + (row.strict ? " (strict)" : "") + " → " + row.cases;
    if (row.slow && options_.skipSlow) {
      ++done, ++skipped;
      terminal_->print(terminal_->paint("skip", "33") + "  " + what + ": waits out a long time-out (--skip-slow)\n");
      continue;
    }
    status(what);
    VLFaultCheckResult result;
    try {
      auto installed = VLProviderSpec::parse("sim:" + row.settings).install();
      result = VLFaultMatrixCheck::runRow(row, installed.provider, options_.jobs);
    } catch (const VLException& error) {
      result.mismatches.push_back(std::string("the reference provider cannot play this row: ") + error.what());
    }
    report(what, result, casesText(result.cases) + " " + verdictsText(row) + " as demanded (" + row.fault + ")");
  }
  terminal_->setStatus("");

  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  const size_t checked = total - skipped;
  const bool passed = held == checked;
  std::string text = "\n" +
                     std::string(passed ? terminal_->paint("Self-test passed", "1;32")
                                        : terminal_->paint("Self-test FAILED", "1;31")) +
                     ": " + std::to_string(held) + " of " + std::to_string(checked) + " checks held";
  if (skipped) text += ", " + std::to_string(skipped) + " skipped";
  text += ", in " + vl_durationText(seconds) + ".\n";
  terminal_->print(text);
  return passed ? VLExitPassed : VLExitFailed;
}
