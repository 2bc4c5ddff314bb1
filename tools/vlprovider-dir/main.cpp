// vlprovider-dir ROOT: serves the files and folders of the folder ROOT as a provider over the
// provider protocol, on standard input and output or (--socket PATH) to every client of a
// Unix domain socket.
//
//   vlvalidate --provider "exec:vlprovider-dir /srv/drive" --strict
#include <cstdio>
#include <string>

#include "Core/VLException.h"
#include "ProviderKit/VLProviderKit.h"
#include "VLDirProvider.h"

int main(int argc, char** argv) {
  const std::string usage =
      "usage: vlprovider-dir [--socket PATH] [--trace] ROOT\n"
      "Serves the folder ROOT as a provider: identifiers, tags, favourite ranks and last-used\n"
      "dates in user. extended attributes, the trash in ROOT/.Trash-UID, changes from inotify.\n";
  std::string root;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    if (argument == "--help" || argument == "-h") {
      std::fputs(usage.c_str(), stdout);
      return 0;
    }
    // Every argument is checked before the folder is touched: opening it writes identifiers
    // into every item and makes the trash folder.
    bool positional = !argument.empty() && argument[0] != '-';
    if (argument == "--socket" && i + 1 < argc) {
      ++i;
    } else if (positional && root.empty()) {
      root = argument;
    } else if (argument != "--trace") {
      std::fprintf(stderr, "vlprovider-dir: unknown argument %s\n%s", argument.c_str(), usage.c_str());
      return 2;
    }
  }
  if (root.empty()) {
    std::fprintf(stderr, "vlprovider-dir: no folder given\n%s", usage.c_str());
    return 2;
  }
  std::shared_ptr<VLDirStore> store;
  try {
    store = VLDirStore::open(root, VLDirProvider::kProviderIdentifier);
  } catch (const VLException& error) {
    std::fprintf(stderr, "vlprovider-dir: %s\n", error.what());
    return 1;
  }
  std::fprintf(stderr, "vlprovider-dir: serving %s\n", store->root().c_str());
  auto provider = std::make_shared<VLDirProvider>(store);
  bool rootSeen = false;
  return VLProviderKit::main(
      argc, argv, provider,
      [&](const std::string& argument) {
        if (argument != root || rootSeen) return false;
        rootSeen = true;
        return true;
      },
      usage);
}
