#pragma once

#include "attributes/Event.hpp"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVector>

#include <memory>

namespace Tessel {
class ServerDocumentTypeOperators;
class UserAccounts;
} // namespace Tessel

namespace Datamodel {

/// One user of a server, as the server index shows it to clients.
struct DirectoryUser {
    /// Above 0; 100 is the guest.
    int id = 0;
    QString fullName;
    QString email;
    bool isAdmin = false;
    bool isBlocked = false;
    /// Ids of the groups the user is a member of.
    QVector<int> groups;
};

/// One group of a server. Membership lies with the users (`DirectoryUser::groups`).
struct DirectoryGroup {
    int id = 0;
    QString name;
    QString description;
};

bool operator==(DirectoryUser const& a, DirectoryUser const& b);
bool operator==(DirectoryGroup const& a, DirectoryGroup const& b);

/// The users and groups of a server. Every client that opens the server index finds them in the index's
/// transient tree: under "user_container" one "user" per user, under "group_container" one "group" per group,
/// each named by its id in decimal, and every change made here reaches those clients at once. Used on the
/// server's thread; made with `create`.
class ServerDirectory : public std::enable_shared_from_this<ServerDirectory> {
public:
    static std::shared_ptr<ServerDirectory> create();

    /// Adds a user or replaces the one with its id; false, changing nothing, for an id below 1.
    bool setUser(DirectoryUser const& user);
    /// False when there is no such user.
    bool removeUser(int id);
    /// Adds a group or replaces the one with its id; false, changing nothing, for an id below 1.
    bool setGroup(DirectoryGroup const& group);
    bool removeGroup(int id);

    /// Takes the users and groups of a server's accounts, in place of all it held: each user by its name,
    /// in the groups that list it, and the guest, blocked unless guests are allowed.
    void setAccounts(Tessel::UserAccounts const& accounts);

    QMap<int, DirectoryUser> const& users() const { return m_users; }
    QMap<int, DirectoryGroup> const& groups() const { return m_groups; }

    /// Publishes the directory in every server index document that `registry`'s server opens from now on.
    void publishIn(Tessel::ServerDocumentTypeOperators& registry);

    /// Raised after each change.
    Basalt::Event<> changed;

private:
    ServerDirectory() = default;
    /// Adds or replaces an entry with an id above 0 and tells of it.
    template <typename Entry>
    bool setEntry(QMap<int, Entry>& entries, Entry const& entry);
    /// Removes an entry and tells of it; false when there is none.
    template <typename Entry>
    bool removeEntry(QMap<int, Entry>& entries, int id);

    QMap<int, DirectoryUser> m_users;
    QMap<int, DirectoryGroup> m_groups;
};

} // namespace Datamodel
