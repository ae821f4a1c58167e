#pragma once

#include "platform/tessel/PasswordHash.hpp"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <map>

namespace Tessel {

/// The users of a server who sign in with a name and a password, and its groups of them. Passwords are
/// kept only as salted, slow hashes (`PasswordHash`).
///
/// Not thread safe: a server reads it on its own thread, and a tool changes it while no server runs.
class UserAccounts {
public:
    /// The file of the accounts in a server's data directory.
    static constexpr char fileName[] = "users.json";
    /// The first identifier a user gets; those below belong to the permissions' own roles (the guest ...).
    static constexpr unsigned firstUserId = 1001;
    /// The guest: whoever signs in with this name and no password, while guests are allowed.
    static constexpr unsigned guestId = 100;
    static constexpr char guestName[] = "guest";

    struct User {
        unsigned id = 0;
        PasswordHash password;
    };
    struct Group {
        unsigned id = 0;
        QStringList members;
    };

    /// Reads the accounts of `path`; a file that doesn't exist gives none. False, with the reason in
    /// `error`, when the file can't be read or isn't an accounts file.
    bool load(QString const& path, QString& error);
    /// Writes the accounts to `path`, whole or not at all.
    bool save(QString const& path, QString& error) const;

    /// Adds a user; its identifier, or 0 with the reason in `error` when the name is empty or taken or the
    /// password empty.
    unsigned addUser(QString const& name, QString const& password, QString& error);
    /// Gives a user a new password (and a new salt). False when there is no such user or the password is
    /// empty.
    bool setPassword(QString const& name, QString const& password, QString& error);
    /// Adds a group of users, or replaces its members. False when a member is no user or the name is empty.
    bool setGroup(QString const& name, QStringList const& members, QString& error);

    /// The identifier of `name` when `password` is its password; 0 otherwise. An unknown name costs the
    /// time of a known one, so that the answer's time tells nothing. The guest (`guestName`, no password)
    /// gets `guestId` while guests are allowed.
    unsigned verify(QString const& name, QString const& password) const;

    /// Whether a client may sign in as the guest; not unless allowed.
    bool guestsAllowed() const { return m_guestsAllowed; }
    void setGuestsAllowed(bool allowed) { m_guestsAllowed = allowed; }

    bool isEmpty() const { return m_users.empty(); }
    std::map<QString, User> const& users() const { return m_users; }
    std::map<QString, Group> const& groups() const { return m_groups; }

private:
    std::map<QString, User> m_users;
    std::map<QString, Group> m_groups;
    bool m_guestsAllowed = false;
};

} // namespace Tessel
