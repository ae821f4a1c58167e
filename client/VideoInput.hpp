#pragma once

#include "attributes/AttributeString.hpp"
#include "attributes/AttributeTuple.hpp"
#include "platform/tessel/Element.hpp"

namespace Datamodel {

/// Container of a client's video inputs, in its client-state document; it declares no attributes.
class VideoInputMap : public Tessel::Element {
public:
    VideoInputMap();
};

/// One video input of a client.
class VideoInput : public Tessel::Element {
public:
    VideoInput();

    /// The input's source.
    Basalt::AttributeT<QString> source;
    /// The attribute "name": its name for people. Not called `name`, which would hide the element's own
    /// name.
    Basalt::AttributeT<QString> inputName;
    /// Its picture size; components "width" and "height".
    Basalt::AttributeT<Fathom::SizeT<int>> resolution;
};

} // namespace Datamodel
