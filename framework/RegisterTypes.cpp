#include "framework/RegisterTypes.hpp"

#include "media/AssetFile.hpp"
#include "platform/tessel/AttributeResourcePermissions.hpp"

namespace Datamodel {

void registerTypes(Kelp::TypeRegistry& registry) {
    AssetFile::registerType(registry);
    Tessel::AttributeResourcePermissions::registerType(registry);
}

} // namespace Datamodel
