#pragma once

namespace Kelp {
class TypeRegistry;
}

namespace Datamodel {

/// Teaches `registry` the attribute classes of this library: an asset hash becomes a
/// `Datamodel::AssetFile`, and the permissions of the server index become known. The application calls it
/// once, after `Basalt::registerAttributeTypes` and before any document opens; the registry isn't locked, so
/// no document may be reading it meanwhile.
void registerTypes(Kelp::TypeRegistry& registry);

} // namespace Datamodel
