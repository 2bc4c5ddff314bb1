// vlprovider-webdav URL: serves the WebDAV collection at URL as a provider over the provider
// protocol, with a local cache, finding changes made by others by polling.
//
//   vlvalidate --provider "exec:vlprovider-webdav http://127.0.0.1:8080/dav/" --strict
#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "ProviderKit/VLProviderKit.h"
#include "VLWebDAVStore.h"

namespace fs = std::filesystem;

namespace {

const char* const kUsage =
    "usage: vlprovider-webdav [--poll SECONDS] [--timeout SECONDS] [--credentials FILE] [--cache DIR]\n"
    "                         [--socket PATH] [--trace] URL\n"
    "Serves the WebDAV collection at URL as a syncing provider. Credentials (\"user:password\",\n"
    "basic authentication) come from FILE or from the environment variable\n"
    "VLPROVIDER_WEBDAV_CREDENTIALS, never from the command line. The cache holds the local\n"
    "copies; without --cache it is a new private folder, removed at exit. Polls every SECONDS\n"
    "(default 1); every request gives up after --timeout SECONDS (default 10).\n";

bool positiveSeconds(const std::string& text, std::chrono::milliseconds& into) {
  char* end = nullptr;
  double seconds = std::strtod(text.c_str(), &end);
  if (text.empty() || *end || !(seconds > 0) || seconds > 3600) return false;
  into = std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000));
  return into.count() > 0;
}

int fail(const std::string& message) {
  std::fprintf(stderr, "vlprovider-webdav: %s\n%s", message.c_str(), kUsage);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  VLWebDAVStore::Options options;
  std::string credentialsFile, cache;
  std::vector<char*> kitArguments{argv[0]};
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    auto value = [&]() -> std::optional<std::string> {  // the option's argument
      if (i + 1 >= argc) return std::nullopt;
      return std::string(argv[++i]);
    };
    if (argument == "--help" || argument == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (argument == "--poll" || argument == "--timeout") {
      auto text = value();
      auto& into = argument == "--poll" ? options.pollInterval : options.requestTimeout;
      if (!text || !positiveSeconds(*text, into)) return fail(argument + " needs a number of seconds above 0");
    } else if (argument == "--credentials") {
      auto text = value();
      if (!text) return fail("--credentials needs a file");
      credentialsFile = *text;
    } else if (argument == "--cache") {
      auto text = value();
      if (!text) return fail("--cache needs a folder");
      cache = *text;
    } else if (argument.rfind("http://", 0) == 0 || argument.rfind("https://", 0) == 0) {
      if (!options.url.empty()) return fail("more than one URL given");
      options.url = argument;
    } else {
      kitArguments.push_back(argv[i]);
      if (argument == "--socket" && i + 1 < argc) kitArguments.push_back(argv[++i]);
    }
  }
  if (options.url.empty()) return fail("no URL given (http://… or https://…)");
  if (!credentialsFile.empty()) {
    std::ifstream in(credentialsFile);
    if (!in || !std::getline(in, options.credentials) || options.credentials.find(':') == std::string::npos)
      return fail("cannot read \"user:password\" from " + credentialsFile);
  } else if (const char* fromEnvironment = std::getenv("VLPROVIDER_WEBDAV_CREDENTIALS")) {
    options.credentials = fromEnvironment;
  }
  bool ownCache = cache.empty();
  if (ownCache) {
    std::string folder = (fs::temp_directory_path() / "vlprovider-webdav-XXXXXX").string();
    if (!::mkdtemp(folder.data())) return fail("cannot make a cache folder in " + fs::temp_directory_path().string());
    cache = folder;  // mkdtemp makes it mode 0700
  } else {
    std::error_code problem;
    fs::create_directories(cache, problem);
    if (problem || !fs::is_directory(cache)) return fail("cannot use the cache folder " + cache);
  }
  options.cache = cache;
  auto store = std::make_shared<VLWebDAVStore>(options);
  if (auto error = store->connect()) {
    // Keep serving: every request then answers with this error, which the host reports.
    std::fprintf(stderr, "vlprovider-webdav: %s\n", error->localizedDescription().c_str());
  } else {
    std::fprintf(stderr, "vlprovider-webdav: serving %s (dead properties: %s)\n", options.url.c_str(),
                 store->keepsDeadProperties() ? "kept" : "refused");
  }
  int status = VLProviderKit::main(static_cast<int>(kitArguments.size()), kitArguments.data(), store, nullptr, kUsage);
  if (ownCache) {
    std::error_code ignored;
    fs::remove_all(cache, ignored);
  }
  return status;
}
