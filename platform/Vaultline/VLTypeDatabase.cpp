#include "Vaultline/VLTypeDatabase.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "Core/VLText.h"

const std::string& VLPackageTypeIdentifier = *new std::string("public.package");

namespace {
const std::string& kDynamicPrefix = *new std::string("dyn.");
const std::string& kDynamicParentMark = *new std::string(".conforms-to.");

}  // namespace

void VLTypeDatabase::declare(VLTypeDeclaration declaration) {
  for (auto& extension : declaration.extensions) {
    extension = vl_lowercase(extension);
    byExtension_[extension].push_back(declaration.identifier);
  }
  std::string identifier = declaration.identifier;
  types_[identifier] = std::move(declaration);
}

std::string VLTypeDatabase::preferredIdentifierForExtension(const std::string& extension,
                                                            const std::optional<std::string>& conformingTo) const {
  std::string key = vl_lowercase(extension);
  auto found = byExtension_.find(key);
  if (found != byExtension_.end()) {
    for (const auto& type : found->second) {
      if (!conformingTo || conforms(type, *conformingTo)) return type;
    }
  }
  // A dynamic type records its parent in its name so that conforms() can answer for it.
  std::string parent = conformingTo.value_or("public.data");
  return kDynamicPrefix + (key.empty() ? "(none)" : key) + kDynamicParentMark + parent;
}

bool VLTypeDatabase::conforms(const std::string& type, const std::string& parent) const {
  if (type == parent) return true;
  if (type.rfind(kDynamicPrefix, 0) == 0) {
    auto mark = type.find(kDynamicParentMark);
    if (mark == std::string::npos) return false;
    return conforms(type.substr(mark + kDynamicParentMark.size()), parent);
  }
  std::set<std::string> seen;
  std::vector<std::string> pending{type};
  while (!pending.empty()) {
    std::string current = pending.back();
    pending.pop_back();
    if (!seen.insert(current).second) continue;
    if (current == parent) return true;
    auto declared = types_.find(current);
    if (declared == types_.end()) continue;
    pending.insert(pending.end(), declared->second.conformsTo.begin(), declared->second.conformsTo.end());
  }
  return false;
}

bool VLTypeDatabase::isDeclared(const std::string& type) const { return types_.count(type) != 0; }

std::optional<std::string> VLTypeDatabase::preferredExtension(const std::string& type) const {
  auto declared = types_.find(type);
  if (declared == types_.end() || declared->second.extensions.empty()) return std::nullopt;
  return declared->second.extensions.front();
}
