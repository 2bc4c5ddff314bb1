// VLCommandTable: vlvalidate's commands, one row each: its name, its line of help, and how to
// make it (the command adds its own options and runs itself, see VLCommand). A new command is
// its own file pair and one row in VLCommandTable.cpp. The first row is the default command,
// run when none is named.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vlvalidate/VLCommand.h"

class VLCommandTable {
 public:
  // One command.
  struct Row {
    std::string name;                                  // "run": the word that names it
    std::string help;                                  // one line for the list of commands
    std::function<std::unique_ptr<VLCommand>()> make;  // makes it with default options
  };

  // Returns every command, in help order; the first is the default.
  static const std::vector<Row>& rows();
  // Returns the names of the commands, in help order.
  static std::vector<std::string> names();
};
