#include "VLWebAssets.h"

#include <array>
#include <utility>

// VLWebAssets::all() is generated at build time (cmake/VLEmbedFiles.cmake).

const VLWebAssets::Asset* VLWebAssets::find(std::string_view name) {
  for (const Asset& asset : all()) {
    if (asset.name == name) {
      return &asset;
    }
  }
  return nullptr;
}

std::string_view VLWebAssets::contentType(std::string_view name) {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 7> types{{
      {".html", "text/html; charset=utf-8"},
      {".js", "text/javascript; charset=utf-8"},
      {".css", "text/css; charset=utf-8"},
      {".json", "application/json"},
      {".svg", "image/svg+xml"},
      {".png", "image/png"},
      {".txt", "text/plain; charset=utf-8"},
  }};
  for (const auto& [extension, type] : types) {
    if (name.ends_with(extension)) {
      return type;
    }
  }
  return "application/octet-stream";
}
