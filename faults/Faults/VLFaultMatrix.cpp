#include "Faults/VLFaultMatrix.h"

bool VLFaultMatrix::selects(const VLFaultMatrixRow& row, const std::string& shortID) {
  const std::string& cases = row.cases;
  if (!cases.empty() && cases.back() == '*')
    return shortID.compare(0, cases.size() - 1, cases, 0, cases.size() - 1) == 0;
  return shortID == cases;
}

const VLFaultMatrixRow* VLFaultMatrix::rowFor(const std::string& settings, bool strict, const std::string& shortID) {
  for (const std::string& candidate : {settings, std::string()}) {
    for (const auto& row : rows()) {
      if (row.settings == candidate && row.strict == strict && selects(row, shortID)) return &row;
    }
  }
  return nullptr;
}
