#include "vlvalidate/VLReportRequest.h"

#include <algorithm>

#include "Choice/VLUsageError.h"
#include "Core/VLText.h"
#include "vlvalidate/VLReportFile.h"
#include "vlvalidate/VLReporterRegistry.h"

VLReportRequest VLReportRequest::parse(const std::string& argument) {
  const auto names = VLReporterRegistry::fileReporterNames();
  const std::string known = vl_join(names);
  const size_t equals = argument.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw VLUsageError("'" + argument + "' is not NAME=FILE, as in --report junit=report.xml; reporters: " + known);
  }
  const std::string name = argument.substr(0, equals);
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    throw VLUsageError("unknown reporter '" + name + "'; reporters: " + known);
  }
  return {name, argument.substr(equals + 1), "--report " + name};
}

void VLReportRequest::checkDistinct(const std::vector<VLReportRequest>& requests) {
  for (size_t i = 0; i < requests.size(); ++i) {
    for (size_t j = i + 1; j < requests.size(); ++j) {
      // By identity: "same.json" and "./same.json", or a link to it, are one file.
      if (!requests[i].path.empty() && !requests[j].path.empty() &&
          VLReportFile::identity(requests[i].path) == VLReportFile::identity(requests[j].path)) {
        throw VLUsageError(requests[i].option + " " + requests[i].path + " and " + requests[j].option + " " +
                           requests[j].path + " name the same file: one would overwrite the other");
      }
    }
  }
}
