#include "platform/tessel/UserAccounts.hpp"

#include "platform/tessel/StoredDocument.hpp"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace Tessel {

unsigned UserAccounts::addUser(QString const& name, QString const& password, QString& error) {
    if (name.trimmed().isEmpty() || password.isEmpty()) {
        error = QStringLiteral("A user needs a name and a password");
        return 0;
    }
    if (m_users.count(name) || name == QLatin1String(guestName)) {
        error = QStringLiteral("There is a user '%1' already").arg(name);
        return 0;
    }
    unsigned id = firstUserId;
    for (auto const& user : m_users) {
        id = std::max(id, user.second.id + 1);
    }
    m_users.emplace(name, User{id, PasswordHash::of(password)});
    return id;
}

bool UserAccounts::setPassword(QString const& name, QString const& password, QString& error) {
    auto const found = m_users.find(name);
    if (found == m_users.end() || password.isEmpty()) {
        error = found == m_users.end() ? QStringLiteral("There is no user '%1'").arg(name)
                                       : QStringLiteral("A password can't be empty");
        return false;
    }
    found->second.password = PasswordHash::of(password);
    return true;
}

bool UserAccounts::setGroup(QString const& name, QStringList const& members, QString& error) {
    if (name.trimmed().isEmpty()) {
        error = QStringLiteral("A group needs a name");
        return false;
    }
    for (QString const& member : members) {
        if (!m_users.count(member)) {
            error = QStringLiteral("There is no user '%1'").arg(member);
            return false;
        }
    }
    Group& group = m_groups[name];
    if (group.id == 0) {
        group.id = static_cast<unsigned>(m_groups.size());
    }
    group.members = members;
    return true;
}

unsigned UserAccounts::verify(QString const& name, QString const& password) const {
    if (name == QLatin1String(guestName)) {
        return m_guestsAllowed && password.isEmpty() ? guestId : 0;
    }
    // An unknown user is checked against a made-up one, so that both answers take one derivation.
    static User const s_nobody{0, PasswordHash::of(QStringLiteral("nobody signs in as nobody"))};
    auto const found = m_users.find(name);
    User const& user = found == m_users.end() ? s_nobody : found->second;
    bool const matches = user.password.matches(password);
    return matches && found != m_users.end() ? user.id : 0;
}

bool UserAccounts::load(QString const& path, QString& error) {
    m_users.clear();
    m_groups.clear();
    m_guestsAllowed = false;
    if (!QFile::exists(path)) {
        return true;
    }
    QJsonObject stored;
    if (!StoredDocument::read(path, stored, error)) {
        return false;
    }
    QJsonObject const users = stored.value(QStringLiteral("users")).toObject();
    for (auto entry = users.begin(); entry != users.end(); ++entry) {
        QJsonObject const object = entry.value().toObject();
        User user;
        user.id = static_cast<unsigned>(object.value(QStringLiteral("id")).toInt());
        user.password = PasswordHash::fromJson(object);
        if (user.id == 0 || !user.password.isValid()) {
            error = QStringLiteral("'%1' has a broken account '%2'").arg(path, entry.key());
            m_users.clear();
            return false;
        }
        m_users.emplace(entry.key(), user);
    }
    QJsonObject const groups = stored.value(QStringLiteral("groups")).toObject();
    for (auto entry = groups.begin(); entry != groups.end(); ++entry) {
        QJsonObject const object = entry.value().toObject();
        Group group;
        group.id = static_cast<unsigned>(object.value(QStringLiteral("id")).toInt());
        for (QJsonValue const& member : object.value(QStringLiteral("members")).toArray()) {
            group.members << member.toString();
        }
        m_groups.emplace(entry.key(), group);
    }
    m_guestsAllowed = stored.value(QStringLiteral("guests")).toBool();
    return true;
}

bool UserAccounts::save(QString const& path, QString& error) const {
    QJsonObject users;
    for (auto const& entry : m_users) {
        QJsonObject stored = entry.second.password.toJson();
        stored.insert(QStringLiteral("id"), static_cast<qint64>(entry.second.id));
        users.insert(entry.first, stored);
    }
    QJsonObject groups;
    for (auto const& entry : m_groups) {
        groups.insert(entry.first, QJsonObject{{QStringLiteral("id"), static_cast<qint64>(entry.second.id)},
                                               {QStringLiteral("members"),
                                                QJsonArray::fromStringList(entry.second.members)}});
    }
    return StoredDocument::write(path,
                                 QJsonObject{{QStringLiteral("users"), users},
                                             {QStringLiteral("groups"), groups},
                                             {QStringLiteral("guests"), m_guestsAllowed}},
                                 error);
}

} // namespace Tessel
