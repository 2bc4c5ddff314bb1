// The simulated provider's built-in type-identifier table.
#pragma once

#include "Vaultline/VLTypeDatabase.h"

// Declares the built-in types in `database`: the abstract bases ("public.item", "public.data",
// "public.content", "public.directory", "public.folder", packages), text, rich text (flat
// and with attachments, a package), images and other common kinds, and the "brindle"
// extension twice: as a flat document and, later, as a package.
void vl_declareSimulatedTypes(VLTypeDatabase& database);
