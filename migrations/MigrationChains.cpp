#include "migrations/MigrationChains.hpp"

#include "canvas/SharedCanvas.hpp"
#include "client/EmblemActions.hpp"
#include "migrations/AnnotationMigrations.hpp"
#include "migrations/GeometryMigrations.hpp"

#include <functional>
#include <map>

namespace Datamodel {

namespace {

using StepMaker = std::function<std::shared_ptr<Tessel::JSONMigration>(int version)>;

template <typename Step>
StepMaker fixed() {
    return [](int) { return std::make_shared<Step>(); };
}

template <typename Step>
StepMaker numbered() {
    return [](int version) { return std::make_shared<Step>(version); };
}

/// A chain of `length` steps: the ones in `steps` at their numbers, steps that change nothing at the others.
std::shared_ptr<Tessel::JSONMigrationList> chain(QByteArray const& documentType, int length,
                                                 std::map<int, StepMaker> const& steps) {
    auto list = std::make_shared<Tessel::JSONMigrationList>(documentType);
    for (int version = 1; version <= length; ++version) {
        auto const step = steps.find(version);
        list->append(step == steps.end() ? std::make_shared<Tessel::JSONEmptyMigration>(version)
                                         : step->second(version));
    }
    return list;
}

// Built at load, as the chains must be known before any document opens.
CreateDataModelMigrations const s_createDataModelMigrations;
CreateEmblemMigrations const s_createEmblemMigrations;

} // namespace

std::shared_ptr<Tessel::JSONMigrationList> canvasJsonMigrations() {
    return chain(SharedCanvas::documentType(), 32,
                 {
                     {6, fixed<AnnotationJSONMigration>()},
                     {7, fixed<TableCellSizeMigration>()},
                     {8, fixed<VectorContainerJSONMigration>()},
                     {9, fixed<VaryingWidthAnnotationJSONMigration>()},
                     {16, numbered<NotePaddingJSONMigration>()},
                     {18, numbered<AnchorOriginJSONMigration>()},
                     {20, numbered<TableBorderJSONMigration>()},
                     {21, numbered<BrokenNoteSizeJSONMigration>()},
                 });
}

std::shared_ptr<Tessel::JSONMigrationList> emblemActionJsonMigrations() {
    return chain(EmblemActionMap::documentType(), 4, {});
}

CreateDataModelMigrations::CreateDataModelMigrations() {
    Tessel::JSONMigrations::instance().addMigrationList(SharedCanvas::documentType(), canvasJsonMigrations());
}

CreateEmblemMigrations::CreateEmblemMigrations() {
    Tessel::JSONMigrations::instance().addMigrationList(EmblemActionMap::documentType(),
                                                        emblemActionJsonMigrations());
}

} // namespace Datamodel
