#pragma once

#include "attributes/AttributeString.hpp"
#include "index/ServerIndexNode.hpp"

#include <QSet>
#include <QString>

namespace Datamodel {

/// A folder of the server index, holding folders and canvases. Which folder is a user's home or trash is
/// a matter of element ids, not of type: see `ServerIndex`.
class ServerIndexFolder : public ServerIndexNode {
public:
    ServerIndexFolder();
    ~ServerIndexFolder() override;

    /// The name shown; a folder without one isn't announced.
    Basalt::AttributeT<QString> folderName;

    /// The "folder-name" of every child folder, trimmed and in lower case, to test a new name against.
    QSet<QString> lowerCaseFolderNames() const;
    /// The same over the child canvases and their "canvas-name".
    QSet<QString> lowerCaseCanvasNames() const;

    /// Raises `onFolderChanged`.
    void onChanged(ServerIndex& index) override;
    /// Enters the folder into the index's table, then raises `onFolderAdded`, so that listeners can look
    /// it up.
    void onAdded(ServerIndex& index) override;
    /// Raises `onFolderReparented` with `oldParentId` when the folder is indexed; otherwise nothing.
    void onReparented(ServerIndex& index, QByteArray const& oldParentId) override;
    /// Raises `onFolderErased`, then takes the folder out of the index's table, so that listeners can
    /// still find it.
    void onErased(ServerIndex& index, ServerIndexFolder* parent) override;
};

} // namespace Datamodel
