#include "client/VideoInput.hpp"

namespace Datamodel {

VideoInputMap::VideoInputMap() = default;

VideoInput::VideoInput()
    : source(this, QByteArrayLiteral("source")), inputName(this, QByteArrayLiteral("name")),
      resolution(this, QByteArrayLiteral("resolution"), Fathom::SizeT<int>(0, 0)) {
    // A client writes one side of the picture size by its own key.
    resolution.component(0).setName(QByteArrayLiteral("width"));
    resolution.component(1).setName(QByteArrayLiteral("height"));
}

} // namespace Datamodel
