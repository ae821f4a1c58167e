#include "platform/tessel/UserAccounts.hpp"

#include "platform/tessel/StoredDocument.hpp"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPasswordDigestor>
#include <QRandomGenerator>

#include <algorithm>

namespace Tessel {

namespace {

constexpr int kSaltBytes = 16;
constexpr int kHashBytes = 32;

QByteArray derive(QString const& password, QByteArray const& salt, int rounds) {
    return QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha256, password.toUtf8(), salt, rounds,
                                              kHashBytes);
}

QByteArray randomSalt() {
    QByteArray salt(kSaltBytes, '\0');
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(salt.data()), kSaltBytes / 4);
    return salt;
}

/// Compares in a time that depends on the length only.
bool sameBytes(QByteArray const& a, QByteArray const& b) {
    if (a.size() != b.size()) {
        return false;
    }
    unsigned char difference = 0;
    for (int i = 0; i < a.size(); ++i) {
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    }
    return difference == 0;
}

QString hex(QByteArray const& bytes) {
    return QString::fromLatin1(bytes.toHex());
}

QByteArray fromHex(QJsonValue const& value) {
    return QByteArray::fromHex(value.toString().toLatin1());
}

} // namespace

UserAccounts::User UserAccounts::hashed(unsigned id, QString const& password) {
    User user;
    user.id = id;
    user.salt = randomSalt();
    user.iterations = iterations;
    user.hash = derive(password, user.salt, user.iterations);
    return user;
}

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
    m_users.emplace(name, hashed(id, password));
    return id;
}

bool UserAccounts::setPassword(QString const& name, QString const& password, QString& error) {
    auto const found = m_users.find(name);
    if (found == m_users.end() || password.isEmpty()) {
        error = found == m_users.end() ? QStringLiteral("There is no user '%1'").arg(name)
                                       : QStringLiteral("A password can't be empty");
        return false;
    }
    found->second = hashed(found->second.id, password);
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
    static User const s_nobody = hashed(0, QStringLiteral("nobody signs in as nobody"));
    auto const found = m_users.find(name);
    User const& user = found == m_users.end() ? s_nobody : found->second;
    bool const matches = sameBytes(derive(password, user.salt, user.iterations), user.hash);
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
        user.salt = fromHex(object.value(QStringLiteral("salt")));
        user.hash = fromHex(object.value(QStringLiteral("hash")));
        user.iterations = object.value(QStringLiteral("iterations")).toInt();
        if (user.id == 0 || user.hash.size() != kHashBytes || user.iterations <= 0) {
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
        users.insert(entry.first, QJsonObject{{QStringLiteral("id"), static_cast<qint64>(entry.second.id)},
                                              {QStringLiteral("salt"), hex(entry.second.salt)},
                                              {QStringLiteral("hash"), hex(entry.second.hash)},
                                              {QStringLiteral("iterations"), entry.second.iterations}});
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
