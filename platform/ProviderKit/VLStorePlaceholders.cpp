#include "ProviderKit/VLStorePlaceholders.h"

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "ProviderKit/VLStoreErrors.h"

namespace fs = std::filesystem;

namespace {

bool kitSomethingAt(const fs::path& path) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(path, ignored));
}

}  // namespace

std::string VLStorePlaceholders::placeholderOf(const std::string& path) {
  fs::path file(path);
  return (file.parent_path() / ("." + file.filename().string() + ".placeholder")).string();
}

VLStoreFileState VLStorePlaceholders::stateOf(const std::string& path) {
  if (kitSomethingAt(path)) return VLStoreFileState::Materialized;
  return kitSomethingAt(placeholderOf(path)) ? VLStoreFileState::Placeholder : VLStoreFileState::Absent;
}

VLStoreLocation VLStorePlaceholders::locate(const std::string& path, bool isDirectory, std::optional<bool> creating) {
  bool there = stateOf(path) != VLStoreFileState::Absent;
  if (creating == false && !there)
    return {std::nullopt, false, VLStoreErrors::posix(ENOENT, "Nothing is at " + path + ".")};
  if (creating == true && !there && !isDirectory) std::ofstream(placeholderOf(path), std::ios::binary);
  return {path, isDirectory, nullptr};
}

void VLStorePlaceholders::evict(const std::string& path) {
  std::error_code ignored;
  fs::remove(path, ignored);
  std::ofstream(placeholderOf(path), std::ios::binary);
}

void VLStorePlaceholders::restore(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
  std::error_code ignored;
  fs::remove(placeholderOf(path), ignored);
}

void VLStorePlaceholders::move(const std::string& from, const std::string& to) {
  std::error_code ignored;
  fs::create_directories(fs::path(to).parent_path(), ignored);
  if (kitSomethingAt(from)) fs::rename(from, to, ignored);
  if (kitSomethingAt(placeholderOf(from))) fs::rename(placeholderOf(from), placeholderOf(to), ignored);
}

void VLStorePlaceholders::remove(const std::string& path) {
  std::error_code ignored;
  fs::remove_all(path, ignored);
  fs::remove(placeholderOf(path), ignored);
}
