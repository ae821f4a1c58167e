#pragma once

#include "attributes/Event.hpp"
#include "index/ServerIndexFolder.hpp"
#include "platform/tessel/ElementFactory.hpp"

#include <QByteArray>
#include <QHash>
#include <QMap>
#include <QSet>

#include <memory>

namespace Datamodel {

class CanvasDocument;

/// Root of a "server-index" document: the tree of folders and canvases that a server holds, itself the
/// top folder. By convention of element ids, each user's home folder lies directly below the root under
/// the user's id in decimal, the user's trash folder inside it under "trash." and the id, and the root
/// holds "trash.2" for a process without a user.
///
/// Besides the tree it keeps two look-up tables (folders by element id, canvases by canvas id), the
/// group membership of all users, and the events through which the tree announces its changes.
///
/// Belongs to the thread that applies the document's transactions; the events are raised there.
class ServerIndex : public ServerIndexFolder {
public:
    ServerIndex();
    ~ServerIndex() override;

    /// "server-index".
    static QByteArray documentType();
    /// The factory of the document type, built on the first call from any thread.
    static std::shared_ptr<Tessel::ElementFactory> elementFactory();
    /// The top of the chain of hosts of `element` as a `ServerIndex`; null when it is something else.
    static ServerIndex* root(Tessel::Element& element);

    /// The root itself when `id` is the root's element id, else the indexed folder of that id; null when
    /// there is none.
    ServerIndexFolder* findByFolderId(QByteArray const& id);
    /// The indexed canvas of that canvas id; null when there is none.
    CanvasDocument* findByCanvasId(QByteArray const& id) const;
    /// Enters `folder` under its element id, replacing an entry of that id.
    void addToIndex(ServerIndexFolder* folder);
    /// Enters `canvas` under its canvas id, replacing an entry of that id.
    void addToIndex(CanvasDocument* canvas);
    /// Drops the entry under the folder's element id as it stands now, whichever folder it names; an
    /// absent id is ignored.
    void removeFromIndex(ServerIndexFolder* folder);
    /// Drops the entry under the canvas's canvas id as it stands now, in the same way.
    void removeFromIndex(CanvasDocument* canvas);

    /// Group id to the ids of its members, as of the last `updateCachedGroups`.
    QMap<int, QSet<int>> const& cachedGroups() const { return m_cachedGroups; }
    /// Rebuilds the group membership from the "groups" of the users under "user_container" in the
    /// transient root of this document's connection; without a connection or that container it is
    /// empty.
    void updateCachedGroups();

    /// The home folder of user `userId`, or with 0 of the user the connection acts for; null when that
    /// is still 0 (or there is no connection) or the root has no folder of that id. Owned by the tree.
    ServerIndexFolder* home(unsigned userId = 0);
    /// The trash folder of the user the connection acts for; without a positive user id, or when that
    /// user has no home or trash folder, the root's "trash.2"; null when that is missing too. Owned by
    /// the tree.
    ServerIndexFolder* trash();

    Basalt::Event<ServerIndexFolder*> onFolderAdded;
    Basalt::Event<ServerIndexFolder*> onFolderChanged;
    /// With the element id of the folder that was left.
    Basalt::Event<ServerIndexFolder*, QByteArray> onFolderReparented;
    /// With the folder the erased one was in, which may be null.
    Basalt::Event<ServerIndexFolder*, ServerIndexFolder*> onFolderErased;
    Basalt::Event<CanvasDocument*> onCanvasAdded;
    Basalt::Event<CanvasDocument*> onCanvasChanged;
    /// With the element id of the folder that was left.
    Basalt::Event<CanvasDocument*, QByteArray> onCanvasReparented;
    /// With the folder the erased canvas was in, which may be null.
    Basalt::Event<CanvasDocument*, ServerIndexFolder*> onCanvasErased;
    /// A user changed in a way that may alter what they may do. Raising it queues a rebuild of the group
    /// membership.
    Basalt::Event<User*> onUserChanged;
    /// The group membership was rebuilt; the map is `cachedGroups()`, valid while the listener runs.
    Basalt::Event<QMap<int, QSet<int>> const*> onGroupsChanged;

    /// Folders by element id. The folders are owned by the tree.
    QHash<QByteArray, ServerIndexFolder*> folderIndex;
    /// Canvases by canvas id. The canvases are owned by the tree.
    QHash<QByteArray, CanvasDocument*> canvasIndex;
    /// A rebuild of the group membership is queued on the connection's idle executor.
    bool groupsUpdatePending = false;
    /// How many times a node of this index derived its list: what a change of permissions cost, for those
    /// who measure it.
    std::size_t permissionCalculations = 0;

private:
    /// Queues one rebuild of the group membership for when the client is idle; a burst of user changes
    /// costs one rebuild. Does nothing without a connection.
    void queueGroupsUpdate();
    void runGroupsUpdate();
    /// The direct child `id` of `parent` if it is a folder; null otherwise.
    static ServerIndexFolder* childFolder(Basalt::Node const& parent, QByteArray const& id);

    QMap<int, QSet<int>> m_cachedGroups;
};

} // namespace Datamodel
