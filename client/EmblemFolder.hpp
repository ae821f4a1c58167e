#pragma once

#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "canvas/Folder.hpp"
#include "platform/tessel/ElementFactory.hpp"

#include <memory>

namespace Datamodel {

/// The root of a user's personal folder document ("tavola_personal_folder"): a folder that also names its
/// user, with the user's emblem code. Its items are copies of canvas items, of the kinds its factory knows.
class EmblemFolder : public Folder {
public:
    EmblemFolder();

    /// After the folder's values, copies the four user attributes that `source` holds on its user layer.
    /// False, copying nothing, when `source` is no EmblemFolder.
    bool copyValues(CanvasElement const& source) override;

    /// "personal-folder".
    static QByteArray documentType();
    /// The factory of the document type, built on the first call from any thread. Its table cells share
    /// their attribute groups with the canvas factory, which it builds first.
    static std::shared_ptr<Tessel::ElementFactory> elementFactory();
    /// A copy of a canvas element for this document, made through its factory: kinds it doesn't know are
    /// left out. Null when the element itself is of such a kind; the caller owns the result.
    static Tessel::Element* cloneElementHierarchy(CanvasElement const* element);

    /// "user-email".
    Basalt::AttributeT<QString> userEmail;
    /// "user-first-name".
    Basalt::AttributeT<QString> userFirstName;
    /// "user-last-name".
    Basalt::AttributeT<QString> userLastName;
    /// "user-emblem-code".
    Basalt::AttributeT<long> userEmblemCode;
};

} // namespace Datamodel
