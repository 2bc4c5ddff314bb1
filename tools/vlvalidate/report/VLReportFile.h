// VLReportFile: where a file reporter's document goes: a file, or standard output for "-".
// The path is checked when the reporter is made, so that a run never ends without its
// report because of a typo in a path; the document is written once, at the end.
#pragma once

#include <string>

class VLReportFile {
 public:
  // Checks that `path` can be written: "-", or a file (new or existing, not a folder)
  // in an existing folder that we may write to. Throws VLUsageError naming `option` and
  // the path otherwise. Creates nothing.
  VLReportFile(std::string path, std::string option);

  const std::string& path() const { return path_; }
  bool isStandardOutput() const { return path_ == "-"; }
  // Writes `document` as the whole content. Throws VLException when that fails.
  void write(const std::string& document) const;

 private:
  std::string path_;
  std::string option_;
};
