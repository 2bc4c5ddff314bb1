// VLTypeDatabase: the type-identifier database: declared types with their parents and
// filename extensions, the preferred type for an extension, and conformance.
//
// A type conforms to itself and, transitively, to every parent it declares. An extension
// that no declared type claims gets a dynamic type ("dyn." prefix) that conforms to
// "public.data" (or to the parent the look-up was constrained to). Fill it with declare()
// before sharing it; after that it is read-only and safe from any thread.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

// The type of packages: directories that users see as one document (e.g. rich text with
// attachments). Every package type conforms to it.
extern const std::string& VLPackageTypeIdentifier;

struct VLTypeDeclaration {
  std::string identifier;               // e.g. "public.jpeg"
  std::vector<std::string> conformsTo;  // direct parents
  std::vector<std::string> extensions;  // lower-case, without the dot; the first is preferred
};

class VLTypeDatabase {
 public:
  // Adds a type. A later declaration of the same extension ranks after earlier ones.
  void declare(VLTypeDeclaration declaration);

  // Returns the preferred type for `extension` (case-insensitive), among the types that
  // conform to `conformingTo` when it is given; a dynamic type when none is declared.
  std::string preferredIdentifierForExtension(const std::string& extension,
                                              const std::optional<std::string>& conformingTo = std::nullopt) const;
  // Returns whether `type` conforms to `parent`.
  bool conforms(const std::string& type, const std::string& parent) const;
  // Returns whether `type` was declared (dynamic types are not).
  bool isDeclared(const std::string& type) const;
  // Returns the preferred extension of a declared type, or none.
  std::optional<std::string> preferredExtension(const std::string& type) const;

 private:
  std::map<std::string, VLTypeDeclaration> types_;
  std::map<std::string, std::vector<std::string>> byExtension_;  // extension → types, in declaration order
};
