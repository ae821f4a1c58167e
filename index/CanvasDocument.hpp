#pragma once

#include "attributes/AttributeBool.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "attributes/AttributeTimeStamp.hpp"
#include "attributes/AttributeTuple.hpp"
#include "attributes/WeakAttributePtrT.hpp"
#include "index/ServerIndexNode.hpp"
#include "media/AssetFile.hpp"
#include "platform/cobalt/TimeStamp.hpp"
#include "platform/tessel/DocumentInfo.hpp"
#include "platform/tessel/Documents.hpp"

#include <QByteArray>

#include <vector>

#include <memory>

namespace Datamodel {

class CanvasDocumentDb;

/// The index record of one canvas: a leaf of the server index that stands for a canvas document stored
/// elsewhere on the server, tied to it by "canvas-id" and by nothing else. It holds what a list of
/// canvases shows (name, size, times, whether passwords are set, a preview) and what a link to the canvas
/// grants.
///
/// Most of those values aren't stored in the record: once "canvas-id" is set in a live index, the record
/// finds the server's `Tessel::DocumentInfo` of that canvas among the connection's documents and mirrors it
/// on the user layer, and it enters the index only then. It enters the process's `CanvasDocumentDb` too.
///
/// Belongs to the thread that applies the index document's transactions.
class CanvasDocument : public ServerIndexNode {
public:
    CanvasDocument();
    ~CanvasDocument() override;

    /// Preview image of the canvas.
    AssetFile preview;
    /// What a link to the canvas grants, as text: "none", "view" or "edit" in any case.
    Basalt::AttributeT<QString> linkPermission;
    Basalt::AttributeT<QString> canvasName;
    Basalt::AttributeT<bool> demoCanvas;
    Basalt::AttributeT<bool> hasMainPassword;
    Basalt::AttributeT<bool> hasAccessPassword;
    /// Stored size of the canvas.
    Basalt::AttributeT<unsigned long> size;
    Basalt::AttributeT<Cobalt::TimeStamp> created;
    Basalt::AttributeT<Cobalt::TimeStamp> modified;
    /// Carried in the record for the server; this library neither reads nor writes them.
    Basalt::AttributeT<QString> initialMainPassword;
    Basalt::AttributeT<QString> initialAccessPassword;
    /// Carried in the record for the server, with the components "new-width" and "new-height".
    Basalt::AttributeT<Fathom::SizeT<float>> newResolution;
    /// The canvas's id among the server's documents; meant to be written once.
    Basalt::AttributeT<QString> canvasIdAttribute;

    /// Server time of the last change of "preview" seen with a connection; zero until then.
    Cobalt::TimeStamp previewUpdated;
    /// The id of the connection of the index this record was bound in; 0 until it is bound.
    unsigned connectionId = 0;
    /// The process's table of records, held from the binding on.
    std::shared_ptr<CanvasDocumentDb> documentDb;
    /// The server's information of the canvas that the record mirrors; null while the server lists no
    /// canvas of that id.
    std::shared_ptr<Tessel::DocumentInfo> documentInfo;

    /// Hands the connection on to "preview".
    void initialize(Tessel::DocumentConnection& connection) override;

    /// "canvas-id" as UTF-8.
    QByteArray canvasId() const;
    /// The element id of the folder the record hangs in; empty when it has no host.
    QByteArray folderId() const;
    /// "link-permission" read in any case: "view" and "edit" give their level, anything else (white
    /// space around a word included) "none".
    Tessel::Permission parsedLinkPermissions() const;

    /// Mirrors `info` from now on, and announces the record as added (or changed) once it mirrors one.
    /// Null ends the mirroring: the record leaves the index and its mirrored values fall back to their
    /// defaults. The same pointer again changes nothing.
    void setDocumentInfo(std::shared_ptr<Tessel::DocumentInfo> info);

    /// The greater of what the link grants and what the node grants `user`: so a link grant holds for
    /// anybody, even for a null user.
    Tessel::Permission resolveAccess(User const* user) const override;

    /// Raises `onCanvasChanged`.
    void onChanged(ServerIndex& index) override;
    /// Enters the record into the index's table, then raises `onCanvasAdded`.
    void onAdded(ServerIndex& index) override;
    /// Raises `onCanvasReparented` with `oldParentId` when the record is indexed; otherwise nothing.
    void onReparented(ServerIndex& index, QByteArray const& oldParentId) override;
    /// Raises `onCanvasErased`, then takes the record out of the index's table.
    void onErased(ServerIndex& index, ServerIndexFolder* parent) override;

private:
    void notePreviewUpdate();
    /// Sets ".local-access" anew and tells the table what the link grants now.
    void linkPermissionChanged();
    /// Enters the table and mirrors the server's information of "canvas-id", when the record is in a
    /// document linked to a server.
    void bind();
    /// The server listed or dropped a document: the message holds its id.
    void documentListed(Cobalt::BinaryData& message);
    void documentUnlisted(Cobalt::BinaryData& message);
    /// Whether `message` names this record's canvas.
    bool isAboutThisCanvas(Cobalt::BinaryData& message) const;
    /// Removes this record's listeners from every attribute of `info`.
    void stopMirroring(Tessel::DocumentInfo& info);

    /// The connection's list of documents, whose messages this record hears; null once it is gone.
    Basalt::WeakNodePtrT<Tessel::Documents> m_documentList;
    /// The record's listeners on the list of documents.
    std::vector<long> m_documentListeners;
};

} // namespace Datamodel
