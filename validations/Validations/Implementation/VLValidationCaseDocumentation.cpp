// Where a case's documentation comes from: the suite's describe<BaseName> hook, or a rich-text
// file in the Documentation folder that ships with the library.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Core/VLLog.h"
#include "Dispatch/VLDispatchQueue.h"
#include "Validations/Implementation/VLRichTextReader.h"
#include "Validations/VLValidationCase.h"

namespace fs = std::filesystem;

namespace {

struct DocumentationSettings {
  const std::shared_ptr<VLDispatchQueue> queue = VLDispatchQueue::make("validation-documentation");
  std::optional<std::string> directory;  // owned by queue
};

DocumentationSettings& settings() {
  static DocumentationSettings* shared = new DocumentationSettings;
  return *shared;
}

std::optional<fs::path> executableDirectory() {
  std::error_code error;
  fs::path executable = fs::read_symlink("/proc/self/exe", error);
  if (error) return std::nullopt;
  return executable.parent_path();
}

// The folders that may hold the documentation, most specific first: the override, a
// Documentation folder beside the executable, the installed share folder, the source tree.
std::vector<fs::path> candidateFolders() {
  std::optional<std::string> override;
  auto& shared = settings();
  shared.queue->sync([&] { override = shared.directory; });
  if (override) return {fs::path(*override)};
  std::vector<fs::path> folders;
  if (auto directory = executableDirectory()) {
    folders.push_back(*directory / "Documentation");
    folders.push_back(*directory / ".." / "share" / "VaultlineValidations" / "Documentation");
  }
#ifdef VL_DOCUMENTATION_DIR
  folders.emplace_back(VL_DOCUMENTATION_DIR);
#endif
  return folders;
}

std::optional<std::string> readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream contents;
  contents << in.rdbuf();
  if (in.bad()) return std::nullopt;
  return contents.str();
}

// Reads a rich-text file, or the main document of a rich-text bundle folder.
std::optional<std::string> readRichText(const fs::path& path) {
  std::error_code error;
  fs::path document = fs::is_directory(path, error) ? path / "TXT.rtf" : path;
  auto contents = readFile(document);
  if (!contents) return std::nullopt;
  return VLRichTextReader::plainText(*contents);
}

}  // namespace

void VLValidationCase::setDocumentationDirectory(std::optional<std::string> directory) {
  auto& shared = settings();
  shared.queue->sync([&] { shared.directory = std::move(directory); });
}

std::optional<std::string> VLValidationCase::documentationText() const {
  std::string baseName = selector_.size() > 8 ? selector_.substr(8) : "";
  baseName = baseName.substr(0, baseName.find(':'));

  if (suiteClass_) {
    if (const auto* hook = suiteClass_->operationNamed("describe" + baseName); hook && hook->argumentCount() == 0) {
      VLValue text = hook->invoke(const_cast<VLValidationCase&>(*this), nullptr, VLValue());
      return text.string() ? *text.string() : text.description();
    }
  }

  const std::string resource = VLFormat("%@-%@", suiteClass_ ? suiteClass_->name() : className(), baseName);
  for (const auto& folder : candidateFolders()) {
    std::error_code error;
    if (!fs::is_directory(folder, error)) continue;
    // The first folder that exists is the library's resource folder; no further fallback.
    for (const char* extension : {".rtf", ".rtfd"}) {
      fs::path path = folder / (resource + extension);
      if (fs::exists(path, error)) return readRichText(path);
    }
    break;
  }
  VLLog::error("Documentation for %@ not found.", selectorDescription());
  return std::nullopt;
}
