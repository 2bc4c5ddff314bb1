// The host's standard type-identifier table: the types every platform of this process
// resolves extensions against (the simulated service and the remote platform alike), so that
// a verdict does not depend on which platform stands behind the interface.
#pragma once

#include "Vaultline/VLTypeDatabase.h"

// Declares the built-in types in `database`: the abstract bases ("public.item", "public.data",
// "public.content", "public.directory", "public.folder", packages), text, rich text (flat
// and with attachments, a package), images and other common kinds, and the "brindle"
// extension twice: as a flat document and, later, as a package.
void vl_declareStandardTypes(VLTypeDatabase& database);
