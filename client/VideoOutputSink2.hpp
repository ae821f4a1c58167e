#pragma once

#include "attributes/AttributeBool.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "framework/CanvasElement.hpp"

namespace Datamodel {

/// One video output of a client, in its client-state document. It stands beside the canvas's video
/// output sink, with a number on the client and a suspended state in place of the menus switch.
class VideoOutputSink2 : public CanvasElement {
public:
    VideoOutputSink2();

    /// What the output shows.
    Basalt::AttributeT<QString> source;
    /// Name of the output.
    Basalt::AttributeT<QString> outputName;
    /// Its number on the client.
    Basalt::AttributeT<int> index;
    /// Whether the output is suspended.
    Basalt::AttributeT<bool> suspended;
};

} // namespace Datamodel
