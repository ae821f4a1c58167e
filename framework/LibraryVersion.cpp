#include "framework/LibraryVersion.hpp"

namespace Datamodel {

QString libraryVersion() {
    return QStringLiteral(DATAMODEL_VERSION);
}

} // namespace Datamodel
