#include "Vaultline/VLStandardTypes.h"

void vl_declareStandardTypes(VLTypeDatabase& database) {
  const std::vector<VLTypeDeclaration> table = {
      {"public.item", {}, {}},
      {"public.content", {"public.item"}, {}},
      {"public.composite-content", {"public.content"}, {}},
      {"public.data", {"public.item"}, {}},
      {"public.directory", {"public.item"}, {}},
      {"public.folder", {"public.directory"}, {}},
      {VLPackageTypeIdentifier, {"public.directory"}, {}},
      {"public.text", {"public.data", "public.content"}, {}},
      {"public.plain-text", {"public.text"}, {"txt", "text"}},
      {"public.log", {"public.plain-text"}, {"log"}},
      {"public.source-code", {"public.plain-text"}, {}},
      {"public.c-source", {"public.source-code"}, {"c"}},
      {"public.c-header", {"public.source-code"}, {"h"}},
      {"public.c-plus-plus-source", {"public.source-code"}, {"cpp", "cc", "cxx"}},
      {"public.shell-script", {"public.source-code"}, {"sh"}},
      {"public.html", {"public.text"}, {"html", "htm"}},
      {"public.xml", {"public.text"}, {"xml"}},
      {"public.json", {"public.text"}, {"json"}},
      {"public.comma-separated-values-text", {"public.text"}, {"csv"}},
      {"public.rtf", {"public.text"}, {"rtf"}},
      {"public.rtfd", {VLPackageTypeIdentifier, "public.composite-content"}, {"rtfd"}},
      {"public.pdf", {"public.data", "public.composite-content"}, {"pdf"}},
      {"public.image", {"public.data", "public.content"}, {}},
      {"public.jpeg", {"public.image"}, {"jpeg", "jpg", "jpe"}},
      {"public.png", {"public.image"}, {"png"}},
      {"public.gif", {"public.image"}, {"gif"}},
      {"public.tiff", {"public.image"}, {"tiff", "tif"}},
      {"public.audio", {"public.data", "public.content"}, {}},
      {"public.mp3", {"public.audio"}, {"mp3"}},
      {"public.movie", {"public.data", "public.content"}, {}},
      {"public.mpeg-4", {"public.movie"}, {"mp4"}},
      {"public.archive", {"public.data"}, {}},
      {"public.zip-archive", {"public.archive"}, {"zip"}},
      // One extension, two meanings: a flat document first, then a package, so that a
      // look-up constrained to either parent finds its own.
      {"org.brindle.document", {"public.data", "public.content"}, {"brindle"}},
      {"org.brindle.package", {VLPackageTypeIdentifier, "public.composite-content"}, {"brindle"}},
  };
  for (const auto& declaration : table) database.declare(declaration);
}
