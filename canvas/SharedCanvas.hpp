#pragma once

#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeVectorContainer.hpp"
#include "framework/CanvasItem.hpp"
#include "platform/cobalt/Color.hpp"
#include "platform/tessel/ElementFactory.hpp"

#include <QString>

#include <memory>
#include <vector>

namespace Datamodel {

class CanvasBackground;
class ConnectorContainer;
class Folder;
class PresentationContainer;

/// The root element of a canvas document ("tavola_shared_canvas"). It declares the canvas-wide attributes
/// (anchor ids, four colour preset lists and the preset reset request), gives typed access to the
/// well-known children, which the server's operators create, and carries the identity of the document
/// type. Everything that fills or repairs a canvas runs on the server, not here.
///
/// Every live instance is registered in a process-wide set, guarded by its own mutex.
class SharedCanvas : public CanvasItem {
public:
    /// A canvas with a fresh uuid as name and the note background presets set.
    SharedCanvas();
    ~SharedCanvas() override;

    /// The child "presentations"; null when it is missing or of another class. Likewise below.
    PresentationContainer* presentations() const;
    /// The child "background".
    CanvasBackground* background() const;
    /// The child "connectors".
    ConnectorContainer* connectors() const;
    /// The child "upload-folder".
    Folder* uploadFolder();

    /// Drops every 0 from "anchor-ids", keeping the order, and reports the whole list once when something
    /// was dropped. A repair for clients.
    void removeNullAnchorIds();

    /// "kx-tavola".
    static QByteArray documentType();
    /// "kx_tavola".
    static QString defaultSqlSchemaName();
    /// "kxtavola", with a leading dot when asked.
    static QString fileFormatSuffix(bool withDot);
    /// The factory of every canvas element, built on the first call from any thread.
    static std::shared_ptr<Tessel::ElementFactory> elementFactory();
    /// The six note background colours a new canvas offers, premultiplied.
    static std::vector<Cobalt::ColorPMA> const& noteBackgroundPresetsDefaults();
    /// The six annotation colours the server seeds, premultiplied. The class itself never applies them.
    static std::vector<Cobalt::ColorPMA> const& annotationPresetsDefaults();

    /// "anchor-ids": the ids of the canvas's anchors, in order; 0 is no valid id.
    Basalt::AttributeVectorContainer<long> anchorIds;
    /// "annotation-color-presets".
    Basalt::AttributeVectorContainer<Cobalt::ColorPMA> annotationColorPresets;
    /// "note-background-color-presets".
    Basalt::AttributeVectorContainer<Cobalt::ColorPMA> noteBackgroundColorPresets;
    /// "note-text-color-presets".
    Basalt::AttributeVectorContainer<Cobalt::ColorPMA> noteTextColorPresets;
    /// "connector-color-presets".
    Basalt::AttributeVectorContainer<Cobalt::ColorPMA> connectorColorPresets;
    /// "reset-color-presets-request": non-zero asks the server to seed the presets again.
    Basalt::AttributeT<int> resetColorPresetsRequest;
};

} // namespace Datamodel
