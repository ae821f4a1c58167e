#include "client/VideoOutputSink2.hpp"

namespace Datamodel {

VideoOutputSink2::VideoOutputSink2()
    : source(this, QByteArrayLiteral("source")), outputName(this, QByteArrayLiteral("output-name")),
      index(this, QByteArrayLiteral("index"), 0), suspended(this, QByteArrayLiteral("suspended"), false) {}

} // namespace Datamodel
