// NewIdentifiers are the identifiers that a migration makes for accounts which have none. Each
// rehearsal makes others, and so does the run itself: a plan that named one would promise what
// nobody keeps.
#pragma once

#include "tool/migration/MigrationSummary.h"

namespace accountsettings {

// Puts "a new identifier" in their place wherever the summary tells of accounts; several are
// numbered.
void hideNewIdentifiers(MigrationSummary& summary);

}  // namespace accountsettings
