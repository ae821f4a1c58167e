#pragma once

#include "platform/cobalt/Color.hpp"

#include <QByteArray>

#include <memory>
#include <vector>

namespace Tessel {
class ServerDocument;
class ServerDocumentConnection;
class ServerDocumentTypeOperators;
class ServerNode;
} // namespace Tessel

namespace Datamodel {

/// The colour lists a server offers on its canvases.
struct ColorPresetDefaults {
    /// Colours offered for annotations and connectors.
    std::vector<Cobalt::ColorPMA> annotationPresets;
    /// Colours offered for note backgrounds.
    std::vector<Cobalt::ColorPMA> noteBackgroundPresets;
};

/// Configures this process as a canvas server: every canvas document that opens from now on gets, in this
/// order, an auto-pin operator (only when `autoPinSeconds` is above 0: the one switch of that feature), a
/// presentation operator, a canvas initialisation operator and a colour preset reset operator, each object
/// its own per document. `defaults` become the configured colour lists. Call once, at server start, before
/// documents open and from one thread; a second call logs an error and changes nothing.
void registerTavolaServerOperators(float autoPinSeconds, ColorPresetDefaults const& defaults);

/// Adds the makers of the canvas operators, in the order `registerTavolaServerOperators` adds them, to
/// `registry`: for a server given a registry of its own (`Tessel::TesselServer::Options::operators`). The
/// operators read the process's configured colour lists.
void addTavolaServerOperators(Tessel::ServerDocumentTypeOperators& registry, float autoPinSeconds);

/// The colour lists as configured, empty lists left empty; both empty before registration.
ColorPresetDefaults const& configuredColorPresetDefaults();

/// The colour lists the operators use: the configured ones, each empty list replaced by the canvas's own
/// defaults (`SharedCanvas::annotationPresetsDefaults`, `noteBackgroundPresetsDefaults`). Never empty.
ColorPresetDefaults effectiveColorPresetDefaults();

/// The colours encoded back to back as the server stores a list of `Cobalt::ColorPMA`, with the encoder of
/// `document`'s type registry.
QByteArray encodeColorPresets(Tessel::ServerDocument const& document,
                              std::vector<Cobalt::ColorPMA> const& colors);

/// An operator's document and its root, held for the length of one call; both null when the document is gone.
struct LiveRoot {
    /// Locks `document`.
    explicit LiveRoot(std::weak_ptr<Tessel::ServerDocument> const& document);
    explicit operator bool() const { return root != nullptr; }

    std::shared_ptr<Tessel::ServerDocument> document;
    std::shared_ptr<Tessel::ServerNode> root;
};

/// A new node of `document` with a fresh guid, named `name`, of type `typeKey`, in no tree yet.
std::shared_ptr<Tessel::ServerNode> makeServerNode(Tessel::ServerDocument& document, QByteArray const& name,
                                                   QByteArray const& typeKey);

/// Makes the changes of its scope the server's own: sets the document's acting connection to null and puts
/// the former one back when the scope ends, also when an exception leaves it.
class ServerOwnChanges {
public:
    explicit ServerOwnChanges(Tessel::ServerDocument& document);
    ~ServerOwnChanges();
    ServerOwnChanges(ServerOwnChanges const&) = delete;
    ServerOwnChanges& operator=(ServerOwnChanges const&) = delete;

private:
    Tessel::ServerDocument& m_document;
    Tessel::ServerDocumentConnection* m_former;
};

} // namespace Datamodel
