#pragma once

#include <QString>

namespace Datamodel {

/// The release of this library, as "major.minor.patch". Stored documents record which release wrote them.
QString libraryVersion();

} // namespace Datamodel
