// Fuzzes the runner's readers of saved reports (report, merge, --baseline): any text is
// either refused with a VLException (a usage error naming the file and the member) or read,
// merged and written again as JSON, JUnit and HTML; nothing else may escape, and no input
// may overflow the stack.
#include <cstddef>
#include <cstdint>
#include <string>

#include "Core/VLException.h"
#include "vlvalidate/VLBaseline.h"
#include "vlvalidate/VLHtmlReporter.h"
#include "vlvalidate/VLJUnitReporter.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLReportMerger.h"
#include "vlvalidate/VLReportReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    VLBaseline::parse(text, "fuzz.json");
  } catch (const VLException&) {
  }
  try {
    auto report = VLReportReader::parse(text, "report 'fuzz.json'", 1);
    const auto run = VLReportReader::run(report);
    VLJUnitReporter::document(run.info, run.records, run.summary);
    const auto merged = VLReportMerger::merge({{"fuzz.json", report}});
    VLJsonReporter::text(merged);
    VLHtmlReporter::page(std::move(report));
  } catch (const VLException&) {
  }
  return 0;
}
