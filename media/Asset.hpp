#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasItem.hpp"
#include "media/AssetFile.hpp"

namespace Datamodel {

/// A canvas item whose content is a stored file, with a title, the file's name and the pose of a
/// three-dimensional model for assets that show one.
///
/// The pose attributes ("backdrop-color", "model-yaw", "model-pitch", "camera-fov", "model-roll") were added
/// to the schema over several server releases. They exist in every object with their defaults, but join
/// the node only in `initialize`, once the server's version says it knows them; until then the node neither
/// lists, stores nor sends them.
class Asset : public CanvasItem {
public:
    Asset();

    /// Ties "source" and "companions-source" to the connection, then attaches the pose attributes that the
    /// connected server knows. Without a server link, logs an error and attaches none. Runs on the
    /// document's thread; safe to call again.
    void initialize(Tessel::DocumentConnection& connection) override;
    /// False, copying nothing, unless `element` is an `Asset`. Copies the user-layer values of the item,
    /// the file name, the title and the pose, and makes "source" refer to the other's local storage item
    /// (no content when it has none), and "companions-source" too when the other has one (else it stays).
    /// The files follow asynchronously; before `initialize` they wait for it.
    bool copyValues(CanvasElement const& element) override;
    /// The title, else the file name (both with white space simplified), else `uiTitleDefault()`.
    QString uiTitle() const override;
    /// The class name of the object without its ending "Asset" ("Datamodel::Image" for an image).
    QString uiTitleDefault() const override;
    /// The file's name: "original-filename", else the name the asset node of "source" knows, else the
    /// name of the local storage item of "source"; a null string when none has one.
    QString findOriginalFilename() const;

    /// The file's name at the time of import.
    Basalt::AttributeT<QString> originalFilename;
    /// Title that a user gave.
    Basalt::AttributeT<QString> title;
    /// The content.
    AssetFile source;
    /// Colour behind a model; attached from server 26.07.3.
    Basalt::AttributeT<Cobalt::ColorPMA> backdropColor;
    /// Yaw of the model; attached from server 26.07.3.
    Basalt::AttributeT<float> modelYaw;
    /// Pitch of the model, in radians; attached from server 26.07.3.
    Basalt::AttributeT<float> modelPitch;
    /// Field of view of the camera; attached from server 26.07.4.
    Basalt::AttributeT<float> cameraFov;
    /// Roll of the model; attached from server 26.07.5.
    Basalt::AttributeT<float> modelRoll;
    /// File with the companion data of a model.
    AssetFile companionsSource;

private:
    /// Adds a pose attribute to this node unless it is here already, so a second initialize keeps the order.
    void attach(Basalt::Attribute& attribute);
};

} // namespace Datamodel
