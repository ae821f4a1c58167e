#pragma once

// A server index open as a client holds it: the index as document root, the user list in the transient
// root under "user_container", and (unless told otherwise) a link to a server that announced `userId`.
// Shared by the tests of the index, its users and its canvases.
//
// Usage:
//     IndexTest::IndexDocument open(7);
//     Datamodel::User* user = open.addUser(7);
//     user->groups.setValues({3});
//     open.idle.drain();            // runs the queued rebuild of the group cache

#include "index/CanvasDocument.hpp"
#include "index/ServerIndex.hpp"
#include "index/User.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "tests/support/TestExecutors.hpp"

#include <memory>
#include <vector>

namespace IndexTest {

enum class Link { WithServer, WithoutServer };

/// Adds a new E under `name`; owned by `parent`.
template <typename E>
E* addChild(Basalt::Node& parent, QByteArray const& name) {
    auto* child = new E();
    parent.addAttribute(name, child);
    return child;
}

/// A folder under `parent` with this element id and name.
inline Datamodel::ServerIndexFolder* addFolder(Basalt::Node& parent, QByteArray const& id,
                                               QString const& folderName = QString()) {
    auto* folder = addChild<Datamodel::ServerIndexFolder>(parent, id);
    folder->folderName = folderName;
    return folder;
}

/// A canvas record under `parent` with this element id, canvas id and name.
inline Datamodel::CanvasDocument* addCanvas(Basalt::Node& parent, QByteArray const& id,
                                            QString const& canvasId = QString(),
                                            QString const& canvasName = QString()) {
    auto* canvas = addChild<Datamodel::CanvasDocument>(parent, id);
    canvas->canvasIdAttribute = canvasId;
    canvas->canvasName = canvasName;
    return canvas;
}

/// A user that is in no document: element id `id`, member of `groups`.
inline std::unique_ptr<Datamodel::User> detachedUser(QByteArray const& id, std::vector<int> groups = {},
                                                     bool isAdmin = false) {
    auto user = std::make_unique<Datamodel::User>();
    user->setName(id);
    user->groups.setValues(std::move(groups));
    user->isAdmin = isAdmin;
    return user;
}

class IndexDocument {
public:
    explicit IndexDocument(unsigned userId, Link link = Link::WithServer, std::int64_t serverTimeOffset = 0) {
        index = new Datamodel::ServerIndex();
        index->setName(QByteArrayLiteral("server-index-root"));
        auto* transient = new Tessel::Element();
        users = addChild<Datamodel::UserContainer>(*transient, QByteArrayLiteral("user_container"));
        std::shared_ptr<Tessel::ClientToServerConnection> connection;
        if (link == Link::WithServer) {
            Tessel::ClientToServerConnection::Announcement announcement;
            announcement.userId = userId;
            announcement.connectionId = 1;
            announcement.serverTimeOffset = serverTimeOffset;
            connection = std::make_shared<Tessel::ClientToServerConnection>(announcement, &idle);
        }
        document = Tessel::DocumentConnection::create(std::unique_ptr<Tessel::Element>(index),
                                                      std::unique_ptr<Tessel::Element>(transient), &main,
                                                      std::move(connection));
    }

    /// A user with element id `id` in the user list.
    Datamodel::User* addUser(int id) { return addChild<Datamodel::User>(*users, QByteArray::number(id)); }

    // Declared first: they outlive the document and whatever it queued on them.
    TestSupport::ManualExecutor main;
    TestSupport::ManualExecutor idle;
    Datamodel::ServerIndex* index = nullptr;
    Datamodel::UserContainer* users = nullptr;
    std::shared_ptr<Tessel::DocumentConnection> document;
};

} // namespace IndexTest
