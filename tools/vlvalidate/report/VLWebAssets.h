#pragma once

#include <span>
#include <string_view>

/// The runner's web front end (the files under tools/vlvalidate/web), compiled into the
/// program so that a report or the live UI needs no file beside the program and nothing from
/// the network.
class VLWebAssets {
 public:
  /// One embedded file: its path under web/ ("report.js") and its bytes.
  struct Asset {
    std::string_view name;
    std::string_view content;
  };

  /// Every embedded file, in the order the build listed them.
  static std::span<const Asset> all();

  /// The file named `name`, or nullptr when there is none.
  static const Asset* find(std::string_view name);

  /// The Content-Type for a file name, from its extension ("text/html; charset=utf-8",
  /// "text/javascript; charset=utf-8", "text/css; charset=utf-8", "image/svg+xml", …);
  /// "application/octet-stream" for anything else.
  static std::string_view contentType(std::string_view name);
};
