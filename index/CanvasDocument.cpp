#include "index/CanvasDocument.hpp"

#include "index/CanvasDocumentDb.hpp"
#include "index/ServerConnection.hpp"
#include "index/ServerIndex.hpp"
#include "platform/tessel/ClientRootInfoNode.hpp"
#include "platform/tessel/DocumentConnection.hpp"

#include <algorithm>
#include <initializer_list>

namespace Datamodel {

namespace {

/// What a link can grant; "owner" and "nobody" are no grants a link can make.
struct LinkGrant {
    char const* name;
    Tessel::Permission permission;
};

constexpr LinkGrant s_linkGrants[] = {
    {"none", Tessel::PERMISSION_NONE},
    {"view", Tessel::PERMISSION_VIEW},
    {"edit", Tessel::PERMISSION_EDIT},
};

/// One value the record mirrors from the server's information of its canvas: the key there, the key of the
/// record's attribute, and the copy from the one to the other on the user layer.
struct Mirror {
    char const* infoKey;
    char const* recordKey;
    void (*copy)(CanvasDocument& record, Tessel::DocumentInfo const& info);
};

constexpr Basalt::Attribute::Layer mirrorLayer = Basalt::Attribute::LAYER_USER;

Mirror const s_mirrors[] = {
    {"document-name", "canvas-name",
     [](CanvasDocument& record, Tessel::DocumentInfo const& info) {
         record.canvasName.setValue(info.documentName(), mirrorLayer);
     }},
    {"document-state", "demo-canvas",
     [](CanvasDocument& record, Tessel::DocumentInfo const& info) {
         // States the platform may add later say nothing about a demonstration: the flag stays as it is.
         switch (info.documentState()) {
         case Tessel::DOCUMENT_STATE_REGULAR:
             record.demoCanvas.setValue(false, mirrorLayer);
             break;
         case Tessel::DOCUMENT_STATE_DEMO:
             record.demoCanvas.setValue(true, mirrorLayer);
             break;
         }
     }},
    {"has-main-password", "has-main-password",
     [](CanvasDocument& record, Tessel::DocumentInfo const& info) {
         record.hasMainPassword.setValue(info.hasMainPassword(), mirrorLayer);
     }},
    {"has-access-password", "has-access-password",
     [](CanvasDocument& record, Tessel::DocumentInfo const& info) {
         record.hasAccessPassword.setValue(info.hasAccessPassword(), mirrorLayer);
     }},
    {"size", "size",
     [](CanvasDocument& record, Tessel::DocumentInfo const& info) {
         record.size.setValue(info.size(), mirrorLayer);
     }},
    {"created", "created",
     [](CanvasDocument& record, Tessel::DocumentInfo const& info) {
         record.created.setValue(info.createdTimestamp(), mirrorLayer);
     }},
    {"modified", "modified",
     [](CanvasDocument& record, Tessel::DocumentInfo const& info) {
         record.modified.setValue(info.modifiedTimestamp(), mirrorLayer);
     }},
};

constexpr int allRoles =
    Basalt::Attribute::ROLE_DELETE | Basalt::Attribute::ROLE_CHANGE | Basalt::Attribute::ROLE_HOST_CHANGE;

constexpr char documentAdded[] = "document-added";
constexpr char documentRemoved[] = "document-removed";

} // namespace

CanvasDocument::CanvasDocument()
    : preview(*this, QByteArrayLiteral("preview")),
      linkPermission(this, QByteArrayLiteral("link-permission")),
      canvasName(this, QByteArrayLiteral("canvas-name")),
      demoCanvas(this, QByteArrayLiteral("demo-canvas"), false),
      hasMainPassword(this, QByteArrayLiteral("has-main-password"), false),
      hasAccessPassword(this, QByteArrayLiteral("has-access-password"), false),
      size(this, QByteArrayLiteral("size"), 0), created(this, QByteArrayLiteral("created")),
      modified(this, QByteArrayLiteral("modified")),
      initialMainPassword(this, QByteArrayLiteral("initial-main-password")),
      initialAccessPassword(this, QByteArrayLiteral("initial-access-password")),
      newResolution(this, QByteArrayLiteral("new-resolution"), Fathom::SizeT<float>(-1.0f, -1.0f)),
      canvasIdAttribute(this, QByteArrayLiteral("canvas-id")) {
    // The server addresses the components by these keys, not by the suffixed names a tuple starts with.
    newResolution.component(0).setName(QByteArrayLiteral("new-width"));
    newResolution.component(1).setName(QByteArrayLiteral("new-height"));
    canvasIdAttribute.addListener([this] { bind(); }, ROLE_CHANGE);
    preview.addListener([this] { notePreviewUpdate(); }, ROLE_CHANGE);
    // "has-access-password" is left out on purpose: a change of it alone announces nothing, and is seen
    // with the next announcement.
    for (Basalt::Attribute* announced :
         std::initializer_list<Basalt::Attribute*>{&canvasName, &demoCanvas, &hasMainPassword, &size,
                                                   &created, &modified, &preview, &linkPermission}) {
        announced->addListener([this] { changed(); }, ROLE_CHANGE);
    }
    linkPermission.addListener([this] { linkPermissionChanged(); }, ROLE_CHANGE);
}

CanvasDocument::~CanvasDocument() {
    if (documentDb) {
        documentDb->remove(connectionId, this);
    }
    erased();
    // The information and the list of documents may outlive the record: they must not call it any more.
    if (documentInfo) {
        stopMirroring(*documentInfo);
    }
    if (Tessel::Documents* const documents = m_documentList.get()) {
        // By identifier: a search by owner would walk the listeners of every record of the index.
        for (long const id : m_documentListeners) {
            documents->eventRemoveListener(id);
        }
    }
}

void CanvasDocument::initialize(Tessel::DocumentConnection& connection) {
    preview.initialize(connection);
}

QByteArray CanvasDocument::canvasId() const {
    return canvasIdAttribute.value().toUtf8();
}

QByteArray CanvasDocument::folderId() const {
    return host() ? host()->name() : QByteArray();
}

Tessel::Permission CanvasDocument::parsedLinkPermissions() const {
    QByteArray const text = linkPermission.value().toLower().toUtf8();
    for (LinkGrant const& grant : s_linkGrants) {
        if (text == grant.name) {
            return grant.permission;
        }
    }
    return Tessel::PERMISSION_NONE;
}

void CanvasDocument::setDocumentInfo(std::shared_ptr<Tessel::DocumentInfo> info) {
    if (info == documentInfo) {
        return;
    }
    if (documentInfo) {
        stopMirroring(*documentInfo);
    }
    documentInfo = std::move(info);
    if (!documentInfo) {
        erased();
        for (Mirror const& mirror : s_mirrors) {
            attribute(mirror.recordKey)->clearValue(mirrorLayer);
        }
        return;
    }
    Tessel::DocumentInfo* const source = documentInfo.get();
    for (Mirror const& mirror : s_mirrors) {
        auto const copy = mirror.copy;
        // The listener lives on the information's attribute, so the information is alive whenever it runs.
        source->attribute(mirror.infoKey)
            ->addListener(
                this, [this, source, copy] { copy(*this, *source); }, ROLE_CHANGE);
        copy(*this, *source);
    }
    // Only now may the record be shown: one without its information never enters the index.
    changedOrAdded();
}

Tessel::Permission CanvasDocument::resolveAccess(User const* user) const {
    return std::max(parsedLinkPermissions(), ServerIndexNode::resolveAccess(user));
}

void CanvasDocument::onChanged(ServerIndex& index) {
    index.onCanvasChanged.raise(this);
}

void CanvasDocument::onAdded(ServerIndex& index) {
    index.addToIndex(this);
    index.onCanvasAdded.raise(this);
}

void CanvasDocument::onReparented(ServerIndex& index, QByteArray const& oldParentId) {
    if (indexed) {
        index.onCanvasReparented.raise(this, oldParentId);
    }
}

void CanvasDocument::onErased(ServerIndex& index, ServerIndexFolder* parent) {
    index.onCanvasErased.raise(this, parent);
    index.removeFromIndex(this);
}

void CanvasDocument::notePreviewUpdate() {
    if (std::shared_ptr<Tessel::ClientToServerConnection> const connection = serverConnection(*this)) {
        previewUpdated = connection->currentServerTime();
    }
}

void CanvasDocument::linkPermissionChanged() {
    localAccess.setValue(resolveAccess(currentUser.get()), LAYER_USER);
    // Told even when the level stayed the same.
    if (documentDb) {
        documentDb->onLinkPermissionChanged.raise(this, parsedLinkPermissions());
    }
}

void CanvasDocument::bind() {
    QByteArray const id = canvasId();
    if (id.isEmpty()) {
        return;
    }
    std::shared_ptr<Tessel::DocumentConnection> const document =
        Tessel::ClientRootInfoNode::findDocumentConnection(*this);
    std::shared_ptr<Tessel::ClientToServerConnection> const connection =
        document ? document->connection() : nullptr;
    if (!connection) {
        return;
    }
    documentDb = CanvasDocumentDb::instance();
    connectionId = connection->connectionId();
    documentDb->add(connectionId, this);
    Tessel::Documents* const documents = connection->documents();
    if (!documents) {
        return;
    }
    // An unknown id binds nothing yet: the record waits for the server to list its canvas.
    setDocumentInfo(documents->findDocumentInfoById(id));
    m_documentList = documents;
    m_documentListeners.push_back(documents->eventAddListenerBd(
        documentAdded, this, [this](Cobalt::BinaryData& message) { documentListed(message); }));
    m_documentListeners.push_back(documents->eventAddListenerBd(
        documentRemoved, this, [this](Cobalt::BinaryData& message) { documentUnlisted(message); }));
}

void CanvasDocument::documentListed(Cobalt::BinaryData& message) {
    if (!isAboutThisCanvas(message)) {
        return;
    }
    if (Tessel::Documents* const documents = m_documentList.get()) {
        setDocumentInfo(documents->findDocumentInfoById(canvasId()));
    }
}

void CanvasDocument::documentUnlisted(Cobalt::BinaryData& message) {
    if (isAboutThisCanvas(message)) {
        setDocumentInfo(nullptr);
    }
}

bool CanvasDocument::isAboutThisCanvas(Cobalt::BinaryData& message) const {
    QByteArray id;
    return message.readString(id) && id == canvasId();
}

void CanvasDocument::stopMirroring(Tessel::DocumentInfo& info) {
    for (Basalt::Node::Entry const& entry : info.attributes()) {
        entry.second->removeListener(this, allRoles);
    }
}

} // namespace Datamodel
