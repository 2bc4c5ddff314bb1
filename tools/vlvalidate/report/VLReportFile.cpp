#include "vlvalidate/VLReportFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <vector>

#include "Choice/VLUsageError.h"

namespace fs = std::filesystem;

namespace {

const char* kindOf(mode_t mode) {
  if (S_ISDIR(mode)) return "a folder";
  if (S_ISFIFO(mode)) return "a FIFO";
  if (S_ISSOCK(mode)) return "a socket";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return "a device";
  return "not a regular file";
}

std::string folderOf(const std::string& path) {
  fs::path folder = fs::path(path).parent_path();
  return folder.empty() ? std::string(".") : folder.string();
}

// Removes the temporary file unless it has been renamed into place.
struct TemporaryFile {
  std::string path;
  int descriptor = -1;
  bool placed = false;
  ~TemporaryFile() {
    if (descriptor >= 0) ::close(descriptor);
    if (!path.empty() && !placed) ::unlink(path.c_str());
  }
};

}  // namespace

VLReportFile::VLReportFile(std::string path, std::string option) : path_(std::move(path)), option_(std::move(option)) {
  if (path_.empty()) throw VLUsageError(option_ + ": the report path is empty (use - for standard output)");
  if (isStandardOutput()) return;
  const std::string what = option_ + " " + path_;
  struct stat status{};
  if (::stat(path_.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) throw VLUsageError(what + ": is a folder, not a file");
    if (!S_ISREG(status.st_mode)) throw VLUsageError(what + ": is " + kindOf(status.st_mode) + ", not a regular file");
    if (::access(path_.c_str(), W_OK) != 0) throw VLUsageError(what + ": cannot write: " + std::strerror(errno));
  } else if (errno != ENOENT) {
    throw VLUsageError(what + ": " + std::strerror(errno));
  }
  // The file is replaced, not written in place: its folder must take a new file in any case.
  std::error_code error;
  const std::string folder = folderOf(fs::exists(path_, error) ? fs::canonical(path_, error).string() : path_);
  if (!fs::is_directory(folder, error)) throw VLUsageError(what + ": folder " + folder + " does not exist");
  if (::access(folder.c_str(), W_OK) != 0) {
    throw VLUsageError(what + ": cannot create a file in " + folder + ": " + std::strerror(errno));
  }
}

void VLReportFile::write(const std::string& document) const {
  if (isStandardOutput()) {
    std::cout << document << std::flush;
    if (!std::cout) throw VLException(option_ + ": could not write the report to standard output");
    return;
  }
  auto failed = [this](const std::string& step) {
    return VLException(option_ + ": could not write the report to " + path_ + " (" + step + ": " +
                       std::strerror(errno) + "); an earlier file there is unchanged");
  };
  // A symbolic link to a report is kept: the file it points at is the one replaced.
  std::error_code error;
  const fs::path target = fs::exists(path_, error) ? fs::canonical(path_, error) : fs::path(path_);
  TemporaryFile temporary;
  std::string pattern = (target.parent_path().empty() ? fs::path(".") : target.parent_path()).string() + "/." +
                        target.filename().string() + ".XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  temporary.descriptor = ::mkstemp(name.data());
  if (temporary.descriptor < 0) throw failed("creating a temporary file");
  temporary.path = name.data();

  // The report gets the mode a new file would, or the one the replaced file had.
  struct stat status{};
  mode_t mode = 0;
  if (::stat(target.c_str(), &status) == 0) {
    mode = status.st_mode & 07777;
  } else {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    mode = 0666 & ~mask;
  }
  if (::fchmod(temporary.descriptor, mode) != 0) throw failed("setting its mode");
  for (size_t written = 0; written < document.size();) {
    const ssize_t count = ::write(temporary.descriptor, document.data() + written, document.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) throw failed("writing");
    written += static_cast<size_t>(count);
  }
  const int descriptor = temporary.descriptor;
  temporary.descriptor = -1;
  if (::close(descriptor) != 0) throw failed("closing");
  if (::rename(temporary.path.c_str(), target.c_str()) != 0) throw failed("replacing it");
  temporary.placed = true;
}

std::string VLReportFile::identity(const std::string& path) {
  if (path == "-") return "-";
  struct stat status{};
  if (::stat(path.c_str(), &status) == 0) {
    return "file " + std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
  }
  std::error_code error;
  const fs::path folder = fs::weakly_canonical(fs::absolute(fs::path(path).parent_path(), error), error);
  return "new " + (folder / fs::path(path).filename()).string();
}
