// VLProviderKind: one kind of provider a front end can be pointed at ("sim", "exec:COMMAND",
// "unix:PATH"), as one row of a table: the prefix that names it, its help, how its form is
// offered, and how to parse what follows the prefix into the kind's VLProviderArgument (which
// brings the provider up). VLProviderChoice reads the table and nothing else, so a new kind is
// its own argument class and one row in VLProviderKind.cpp.
//
// The rows are immutable and live as long as the process; they may be read from any thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Choice/VLProviderArgument.h"

struct VLProviderKind {
  // One way to write a choice of this kind, for help texts.
  struct Form {
    std::string usage;    // "sim:SETTINGS"
    std::string meaning;  // what it chooses; lines after the first are shown indented under it
  };

  // What comes before the first ':' of a choice: "sim", "exec", "unix".
  std::string prefix;
  // Its forms, in the order help lists them.
  std::vector<Form> help;
  // How a form (the live UI's) offers it: a short label ("exec: a program"; the prefix when
  // empty) and what follows the prefix: the field's name and an example. A kind whose
  // argument is the simulated provider's settings gets the quirk list instead.
  std::string label;
  std::string argumentLabel;    // "Command"
  std::string argumentExample;  // "my-provider --verbose"
  bool argumentIsSettings = false;
  // Parses `argument` (what follows "prefix:", "" when nothing does) without starting
  // anything. Throws VLException saying what is wrong with it.
  std::function<std::shared_ptr<const VLProviderArgument>(const std::string& argument)> parse;
  // Whether the provider is reached through the provider protocol (and so can have its
  // conversation recorded).
  bool speaksProtocol = false;
  // Whether the provider lives in this process and starts or reaches nothing outside it, so
  // that a live page may choose it with any argument (others only as serve's command line
  // names them).
  bool inProcess = false;
  // Whether its arguments take the simulated provider's settings
  // (VLProviderArgument::withSettings): a kind that starts a reference provider.
  bool takesSettings = false;

  // Returns every kind, in help order.
  static const std::vector<VLProviderKind>& all();
  // Returns the kind named `prefix`, or nullptr.
  static const VLProviderKind* find(const std::string& prefix);
  // Returns the help of every kind: one line per form ("  sim:SETTINGS   the same with …"),
  // continuation lines indented under the meaning.
  static std::string helpText();
};
