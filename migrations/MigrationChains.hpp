#pragma once

#include "platform/tessel/JSONMigration.hpp"

#include <memory>

namespace Datamodel {

/// The chain of stored canvases ("kx-tavola"): 32 steps, of which 6 to 9, 16, 18, 20 and 21 rewrite what an
/// older release stored and the rest hold their numbers.
std::shared_ptr<Tessel::JSONMigrationList> canvasJsonMigrations();
/// The chain of stored emblem action maps ("emblem-action"): 4 steps that change nothing.
std::shared_ptr<Tessel::JSONMigrationList> emblemActionJsonMigrations();

/// Registers the canvas chain with `Tessel::JSONMigrations` when the library loads.
struct CreateDataModelMigrations {
    CreateDataModelMigrations();
};

/// Registers the emblem action chain with `Tessel::JSONMigrations` when the library loads.
struct CreateEmblemMigrations {
    CreateEmblemMigrations();
};

} // namespace Datamodel
