#include "operators/ServerDirectory.hpp"

#include "index/ServerIndex.hpp"
#include "operators/ServerOperators.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/ServerOperators.hpp"
#include "platform/tessel/UserAccounts.hpp"

#include <QtEndian>

namespace Datamodel {

namespace {

constexpr unsigned groupIdsTypeCode = Kelp::TYPE_VECTOR_FLAG | Kelp::TYPE_INT32;

QByteArray encodeGroupIds(QVector<int> const& ids) {
    QByteArray bytes(ids.size() * 4, Qt::Uninitialized);
    for (int i = 0; i < ids.size(); ++i) {
        qToLittleEndian<qint32>(ids[i], bytes.data() + i * 4);
    }
    return bytes;
}

/// Publishes a directory into one server index document: each change of the directory is written into the
/// document's transient tree as the server's own change, which every client receives.
class DirectoryPublisher : public Tessel::ServerDocumentOperator {
public:
    explicit DirectoryPublisher(std::shared_ptr<ServerDirectory> const& directory) : m_directory(directory) {
        directory->changed.addListener(m_alive, [this] { publish(); });
    }

    void addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) override { m_document = document; }
    void rootNodeUpdated() override { publish(); }

private:
    void publish() {
        std::shared_ptr<ServerDirectory> const directory = m_directory.lock();
        std::shared_ptr<Tessel::ServerDocument> const document = m_document.lock();
        std::shared_ptr<Tessel::ServerNode> const transient =
            document ? document->transientRootNode() : nullptr;
        if (!directory || !transient) {
            return;
        }
        ServerOwnChanges const serverOwn(*document);
        Tessel::ServerNode& users = container(*document, *transient, "user_container");
        sync(*document, users, directory->users(), m_publishedUsers, "user",
             [](Tessel::ServerNode& node, DirectoryUser const& user) {
                 node.setAttributeValue<QString>("full-name", user.fullName);
                 node.setAttributeValue<QString>("email", user.email);
                 node.setAttributeValue<bool>("is-admin", user.isAdmin);
                 node.setAttributeValue<bool>("is-blocked", user.isBlocked);
                 setGroupIds(node, user.groups);
             });
        Tessel::ServerNode& groups = container(*document, *transient, "group_container");
        sync(*document, groups, directory->groups(), m_publishedGroups, "group",
             [](Tessel::ServerNode& node, DirectoryGroup const& group) {
                 node.setAttributeValue<QString>("group-name", group.name);
                 node.setAttributeValue<QString>("description", group.description);
             });
    }

    static Tessel::ServerNode& container(Tessel::ServerDocument& document, Tessel::ServerNode& transient,
                                         QByteArray const& key) {
        if (std::shared_ptr<Tessel::ServerNode> const existing = transient.childNode(key)) {
            return *existing;
        }
        std::shared_ptr<Tessel::ServerNode> const made = makeServerNode(document, key, key);
        transient.addChildNode(made, true);
        return *made;
    }

    static void setGroupIds(Tessel::ServerNode& node, QVector<int> const& ids) {
        QByteArray const bytes = encodeGroupIds(ids);
        auto const count = static_cast<unsigned>(ids.size());
        std::shared_ptr<Tessel::ServerAttribute> const existing = node.childAttribute("groups");
        if (Tessel::ServerAttributeVectorContainer* const list =
                existing ? existing->vectorContainer() : nullptr) {
            // A list written again, even unchanged, reaches every client as a change of the user.
            if (existing->encodedValue().bytes != bytes) {
                list->setValues(bytes, count, 0);
            }
            return;
        }
        node.addChildAttribute(std::make_shared<Tessel::ServerAttributeVectorContainer>(
                                   node.document(), "groups", bytes, count, groupIdsTypeCode),
                               true);
    }

    /// Makes the children of `parent` follow `wanted`: entries that went are removed, new ones added with
    /// their values, changed ones rewritten. `published` is what the document holds, updated.
    template <typename Entry, typename Write>
    static void sync(Tessel::ServerDocument& document, Tessel::ServerNode& parent,
                     QMap<int, Entry> const& wanted, QMap<int, Entry>& published, QByteArray const& typeKey,
                     Write write) {
        for (auto entry = published.begin(); entry != published.end();) {
            if (wanted.contains(entry.key())) {
                ++entry;
                continue;
            }
            parent.removeChildNode(QByteArray::number(entry.key()));
            entry = published.erase(entry);
        }
        for (auto entry = wanted.cbegin(); entry != wanted.cend(); ++entry) {
            auto const former = published.constFind(entry.key());
            if (former != published.constEnd() && *former == entry.value()) {
                continue;
            }
            QByteArray const name = QByteArray::number(entry.key());
            std::shared_ptr<Tessel::ServerNode> node = parent.childNode(name);
            if (node) {
                write(*node, entry.value());
            } else {
                // Written before it joins, so that clients get it whole.
                node = makeServerNode(document, name, typeKey);
                write(*node, entry.value());
                parent.addChildNode(node, true);
            }
            published.insert(entry.key(), entry.value());
        }
    }

    std::weak_ptr<ServerDirectory> m_directory;
    std::weak_ptr<Tessel::ServerDocument> m_document;
    QMap<int, DirectoryUser> m_publishedUsers;
    QMap<int, DirectoryGroup> m_publishedGroups;
    /// Owner of the listener on the directory: it ends with this operator.
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
};

} // namespace

bool operator==(DirectoryUser const& a, DirectoryUser const& b) {
    return a.id == b.id && a.fullName == b.fullName && a.email == b.email && a.isAdmin == b.isAdmin &&
           a.isBlocked == b.isBlocked && a.groups == b.groups;
}

bool operator==(DirectoryGroup const& a, DirectoryGroup const& b) {
    return a.id == b.id && a.name == b.name && a.description == b.description;
}

std::shared_ptr<ServerDirectory> ServerDirectory::create() {
    return std::shared_ptr<ServerDirectory>(new ServerDirectory());
}

bool ServerDirectory::setUser(DirectoryUser const& user) {
    return setEntry(m_users, user);
}

bool ServerDirectory::removeUser(int id) {
    return removeEntry(m_users, id);
}

bool ServerDirectory::setGroup(DirectoryGroup const& group) {
    return setEntry(m_groups, group);
}

bool ServerDirectory::removeGroup(int id) {
    return removeEntry(m_groups, id);
}

template <typename Entry>
bool ServerDirectory::setEntry(QMap<int, Entry>& entries, Entry const& entry) {
    if (entry.id < 1) {
        return false;
    }
    entries.insert(entry.id, entry);
    changed.raise();
    return true;
}

template <typename Entry>
bool ServerDirectory::removeEntry(QMap<int, Entry>& entries, int id) {
    if (!entries.remove(id)) {
        return false;
    }
    changed.raise();
    return true;
}

void ServerDirectory::setAccounts(Tessel::UserAccounts const& accounts) {
    m_users.clear();
    m_groups.clear();
    for (auto const& account : accounts.users()) {
        DirectoryUser user;
        user.id = static_cast<int>(account.second.id);
        user.fullName = account.first;
        for (auto const& group : accounts.groups()) {
            if (group.second.members.contains(account.first)) {
                user.groups << static_cast<int>(group.second.id);
            }
        }
        m_users.insert(user.id, user);
    }
    DirectoryUser guest;
    guest.id = static_cast<int>(Tessel::UserAccounts::guestId);
    guest.fullName = QString::fromLatin1(Tessel::UserAccounts::guestName);
    guest.isBlocked = !accounts.guestsAllowed();
    m_users.insert(guest.id, guest);
    for (auto const& account : accounts.groups()) {
        DirectoryGroup group;
        group.id = static_cast<int>(account.second.id);
        group.name = account.first;
        m_groups.insert(group.id, group);
    }
    changed.raise();
}

void ServerDirectory::publishIn(Tessel::ServerDocumentTypeOperators& registry) {
    std::weak_ptr<ServerDirectory> const weak = weak_from_this();
    registry.add(ServerIndex::documentType(),
                 [weak](Tessel::ServerDocument&) -> std::shared_ptr<Tessel::ServerDocumentOperator> {
                     std::shared_ptr<ServerDirectory> const directory = weak.lock();
                     return directory ? std::make_shared<DirectoryPublisher>(directory) : nullptr;
                 });
}

} // namespace Datamodel
