#include "vlvalidate/VLHtmlReporter.h"

#include <zlib.h>

#include <nlohmann/json.hpp>
#include <set>

#include "Core/VLData.h"
#include "Core/VLException.h"
#include "Remote/VLRemoteCodec.h"
#include "vlvalidate/VLCaseCatalog.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLWebAssets.h"

using json = nlohmann::ordered_json;

namespace {

// The scripts of the page, in the order they must run.
constexpr const char* kPageScripts[] = {"common.js", "report-timeline.js", "report.js"};

std::string webAsset(const char* name) {
  const auto* asset = VLWebAssets::find(name);
  if (!asset) throw VLException(std::string("the runner was built without its web file ") + name);
  return std::string(asset->content);
}

// Replaces the first placeholder `marker` at or after `from` with `content`, and moves `from`
// past it: placeholders are filled in page order, so text filled in is never searched again.
void fill(std::string& page, size_t& from, const std::string& marker, const std::string& content) {
  const auto at = page.find(marker, from);
  if (at == std::string::npos) throw VLException("report.html has no placeholder " + marker);
  page.replace(at, marker.size(), content);
  from = at + content.size();
}

// A script's text made safe inside <script>: only "</script" could end the element early.
std::string inlineScript(std::string script) {
  for (size_t at = 0; (at = script.find("</", at)) != std::string::npos; at += 3) {
    if (script.compare(at + 2, 6, "script") == 0 || script.compare(at + 2, 6, "SCRIPT") == 0) script.insert(at + 1, "\\");
  }
  return script;
}

// The documentation of every validation the report lists, by "Suite selector". The text is
// the suite's, whichever provider ran it, so the cases are listed without one.
json documentationFor(const json& report) {
  std::set<std::string> wanted;
  for (const auto& entry : report["cases"]) {
    wanted.insert(entry.value("suite", "") + " " + entry.value("selector", ""));
  }
  json documentation = json::object();
  const auto catalog = VLCaseCatalog::of(nullptr);
  for (const auto& validationCase : catalog.cases()) {
    const auto names = VLCaseRecord::describing(*validationCase);
    const std::string key = names.suite + " " + names.selector;
    if (!wanted.count(key) || documentation.contains(key)) continue;
    if (auto text = validationCase->documentationText()) documentation[key] = *text;
  }
  return documentation;
}

// `value` deflated (zlib) and in base64.
std::string packed(const json& value) {
  const std::string text = value.dump(-1, ' ', false, json::error_handler_t::replace);
  uLongf size = compressBound(text.size());
  std::vector<uint8_t> bytes(size);
  if (compress2(bytes.data(), &size, reinterpret_cast<const Bytef*>(text.data()), text.size(), Z_DEFAULT_COMPRESSION) !=
      Z_OK) {
    throw VLException("cannot deflate a case for the HTML report");
  }
  bytes.resize(size);
  return VLRemoteCodec::encodeValue(VLData(std::move(bytes))).get<std::string>();
}

// Keeps every case's attempts deflated: "packedAttempts" and "attemptCount" instead of
// "attempts". The attempts (expectations, marks, traces) are nearly all of a long run's
// report, and a browser reads a page's inline text far slower than it inflates one case's
// attempts when the case is opened.
void packAttempts(json& report) {
  for (auto& entry : report["cases"]) {
    if (!entry.contains("attempts")) continue;
    entry["attemptCount"] = entry["attempts"].size();
    entry["packedAttempts"] = packed(entry["attempts"]);
    entry.erase("attempts");
  }
}

}  // namespace

VLHtmlReporter::VLHtmlReporter(const std::string& path) : file_(path, "--html") {}

void VLHtmlReporter::runStarting(const VLRunInfo& info) { info_ = info; }

void VLHtmlReporter::caseFinished(const VLCaseRecord& record) { records_.push_back(record); }

void VLHtmlReporter::runFinished(const VLRunSummary& summary) {
  file_.write(page(VLJsonReporter::document(info_, records_, summary)));
}

std::string VLHtmlReporter::page(json report) {
  if (!report.contains("documentation")) report["documentation"] = documentationFor(report);
  packAttempts(report);
  std::string scripts;
  for (const char* name : kPageScripts) scripts += inlineScript(webAsset(name)) + "\n";
  std::string page = webAsset("report.html");
  size_t from = 0;
  fill(page, from, "/*@VL-STYLE@*/", webAsset("report.css"));
  fill(page, from, "/*@VL-DATA@*/", scriptSafe(report.dump(-1, ' ', false, json::error_handler_t::replace)));
  fill(page, from, "/*@VL-SCRIPT@*/", scripts);
  return page;
}

std::string VLHtmlReporter::scriptSafe(const std::string& text) {
  std::string safe;
  safe.reserve(text.size() + text.size() / 50);
  for (char c : text) {
    if (c == '<') safe += "\\u003c";
    else safe += c;
  }
  return safe;
}
