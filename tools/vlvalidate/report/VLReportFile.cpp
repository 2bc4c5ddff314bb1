#include "vlvalidate/VLReportFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "Choice/VLUsageError.h"

namespace fs = std::filesystem;

VLReportFile::VLReportFile(std::string path, std::string option) : path_(std::move(path)), option_(std::move(option)) {
  if (path_.empty()) throw VLUsageError(option_ + ": the report path is empty (use - for standard output)");
  if (isStandardOutput()) return;
  const std::string what = option_ + " " + path_;
  std::error_code error;
  if (fs::is_directory(path_, error)) throw VLUsageError(what + ": is a folder, not a file");
  if (fs::exists(path_, error)) {
    if (::access(path_.c_str(), W_OK) != 0) throw VLUsageError(what + ": cannot write: " + std::strerror(errno));
    return;
  }
  fs::path folder = fs::path(path_).parent_path();
  if (folder.empty()) folder = ".";
  if (!fs::is_directory(folder, error)) throw VLUsageError(what + ": folder " + folder.string() + " does not exist");
  if (::access(folder.c_str(), W_OK) != 0) {
    throw VLUsageError(what + ": cannot create a file in " + folder.string() + ": " + std::strerror(errno));
  }
}

void VLReportFile::write(const std::string& document) const {
  if (isStandardOutput()) {
    std::cout << document << std::flush;
    if (!std::cout) throw VLException(option_ + ": could not write the report to standard output");
    return;
  }
  std::ofstream out(path_, std::ios::binary | std::ios::trunc);
  out << document;
  out.close();
  if (!out) throw VLException(option_ + ": could not write the report to " + path_ + ": " + std::strerror(errno));
}
