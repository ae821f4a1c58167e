#include "framework/RegisterTypes.hpp"

#include "media/AssetFile.hpp"

namespace Datamodel {

void registerTypes(Kelp::TypeRegistry& registry) {
    AssetFile::registerType(registry);
}

} // namespace Datamodel
