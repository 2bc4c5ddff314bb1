#include "vlvalidate/VLReportRequest.h"

#include <algorithm>

#include "Choice/VLUsageError.h"
#include "Core/VLText.h"
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
      if (!requests[i].path.empty() && requests[i].path == requests[j].path) {
        throw VLUsageError(requests[i].option + " and " + requests[j].option + " cannot both write to " +
                           requests[i].path);
      }
    }
  }
}
