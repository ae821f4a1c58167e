#include "index/ServerIndex.hpp"

#include "framework/ElementFactoryOnce.hpp"
#include "index/CanvasDocument.hpp"
#include "index/Group.hpp"
#include "index/ServerConnection.hpp"
#include "index/User.hpp"
#include "platform/tessel/DocumentConnection.hpp"

namespace Datamodel {

namespace {

/// The user the connection of `element`'s document acts for; 0 without a connection.
unsigned connectedUserId(Tessel::Element const& element) {
    std::shared_ptr<Tessel::ClientToServerConnection> const connection = serverConnection(element);
    return connection ? connection->userId() : 0;
}

QByteArray trashId(unsigned userId) {
    return QByteArrayLiteral("trash.") + QByteArray::number(userId);
}

} // namespace

ServerIndex::ServerIndex() {
    serverIndexPtr = this;
    onUserChanged.addListener([this](User* user) {
        unsigned const userId = connectedUserId(*this);
        if (user && userId > 0 && static_cast<int>(userId) == user->userId()) {
            setUser(user);
        }
        queueGroupsUpdate();
    });
}

// Marked first, while the events still exist: the folders and canvases that the root detaches as it goes
// must not announce anything.
ServerIndex::~ServerIndex() {
    markTearingDown();
}

QByteArray ServerIndex::documentType() {
    return QByteArrayLiteral("server-index");
}

std::shared_ptr<Tessel::ElementFactory> ServerIndex::elementFactory() {
    static std::atomic<bool> built{false};
    static std::shared_ptr<Tessel::ElementFactory> factory;
    return elementFactoryOnce(built, factory, [] {
        auto made = std::make_shared<Tessel::ElementFactory>();
        made->addFactory<ServerIndex>("server_index");
        made->addFactory<ServerIndexFolder>("server_index_folder");
        made->addFactory<CanvasDocument>("canvas_document");
        made->addFactory<UserContainer>("user_container");
        made->addFactory<User>("user");
        made->addFactory<Group>("group");
        made->addFactory<GroupContainer>("group_container");
        // The server's users and groups reach the clients in the transient tree, which lives only while
        // they are connected.
        made->setTransientRoot<Tessel::Element>("node");
        return made;
    });
}

ServerIndex* ServerIndex::root(Tessel::Element& element) {
    Basalt::Attribute* top = &element;
    while (top->host()) {
        top = top->host();
    }
    return dynamic_cast<ServerIndex*>(top);
}

ServerIndexFolder* ServerIndex::findByFolderId(QByteArray const& id) {
    if (id == name()) {
        return this;
    }
    return folderIndex.value(id, nullptr);
}

CanvasDocument* ServerIndex::findByCanvasId(QByteArray const& id) const {
    return canvasIndex.value(id, nullptr);
}

void ServerIndex::addToIndex(ServerIndexFolder* folder) {
    folderIndex.insert(folder->name(), folder);
}

void ServerIndex::addToIndex(CanvasDocument* canvas) {
    canvasIndex.insert(canvas->canvasId(), canvas);
}

void ServerIndex::removeFromIndex(ServerIndexFolder* folder) {
    folderIndex.remove(folder->name());
}

void ServerIndex::removeFromIndex(CanvasDocument* canvas) {
    canvasIndex.remove(canvas->canvasId());
}

void ServerIndex::updateCachedGroups() {
    m_cachedGroups.clear();
    std::shared_ptr<Tessel::DocumentConnection> const document = documentConnection();
    Tessel::Element const* const transientRoot = document ? document->transientRoot() : nullptr;
    // The user list belongs to the connection, so it hangs in the transient part, not in this tree.
    auto const* users =
        transientRoot
            ? dynamic_cast<Basalt::Node const*>(transientRoot->attribute(QByteArrayLiteral("user_container")))
            : nullptr;
    if (!users) {
        return;
    }
    for (Basalt::Node::Entry const& entry : users->attributes()) {
        auto const* user = dynamic_cast<User const*>(entry.second);
        if (!user) {
            continue;
        }
        for (int const groupId : user->groups.values()) {
            m_cachedGroups[groupId].insert(user->userId());
        }
    }
}

ServerIndexFolder* ServerIndex::home(unsigned userId) {
    if (userId == 0) {
        userId = connectedUserId(*this);
    }
    if (userId == 0) {
        return nullptr;
    }
    return childFolder(*this, QByteArray::number(userId));
}

ServerIndexFolder* ServerIndex::trash() {
    unsigned const userId = connectedUserId(*this);
    if (userId > 0) {
        if (ServerIndexFolder const* const home = childFolder(*this, QByteArray::number(userId))) {
            if (ServerIndexFolder* const own = childFolder(*home, trashId(userId))) {
                return own;
            }
        }
    }
    return childFolder(*this, trashId(2));
}

void ServerIndex::queueGroupsUpdate() {
    std::shared_ptr<Tessel::ClientToServerConnection> const connection = serverConnection(*this);
    if (!connection || groupsUpdatePending) {
        return;
    }
    groupsUpdatePending = true;
    // The index may be gone by the time the client is idle.
    connection->idleExecutor()->add([index = Basalt::WeakNodePtrT<ServerIndex>(this)] {
        if (index) {
            index->runGroupsUpdate();
        }
    });
}

void ServerIndex::runGroupsUpdate() {
    groupsUpdatePending = false;
    updateCachedGroups();
    onGroupsChanged.raise(&m_cachedGroups);
}

ServerIndexFolder* ServerIndex::childFolder(Basalt::Node const& parent, QByteArray const& id) {
    return dynamic_cast<ServerIndexFolder*>(parent.attribute(id));
}

} // namespace Datamodel
