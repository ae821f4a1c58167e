#include "platform/tessel/PasswordHash.hpp"

#include <QCryptographicHash>
#include <QPasswordDigestor>
#include <QRandomGenerator>

namespace Tessel {

namespace {

constexpr int saltBytes = 16;
constexpr int hashBytes = 32;

QByteArray derive(QString const& password, QByteArray const& salt, int rounds) {
    return QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha256, password.toUtf8(), salt, rounds,
                                              hashBytes);
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

} // namespace

PasswordHash PasswordHash::of(QString const& password) {
    PasswordHash made;
    made.salt = QByteArray(saltBytes, '\0');
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(made.salt.data()), saltBytes / 4);
    made.iterations = defaultIterations;
    made.hash = derive(password, made.salt, made.iterations);
    return made;
}

bool PasswordHash::matches(QString const& password) const {
    return isValid() && sameBytes(derive(password, salt, iterations), hash);
}

bool PasswordHash::isValid() const {
    return hash.size() == hashBytes && iterations > 0;
}

QJsonObject PasswordHash::toJson() const {
    return QJsonObject{{QStringLiteral("salt"), QString::fromLatin1(salt.toHex())},
                       {QStringLiteral("hash"), QString::fromLatin1(hash.toHex())},
                       {QStringLiteral("iterations"), iterations}};
}

PasswordHash PasswordHash::fromJson(QJsonObject const& stored) {
    PasswordHash read;
    read.salt = QByteArray::fromHex(stored.value(QStringLiteral("salt")).toString().toLatin1());
    read.hash = QByteArray::fromHex(stored.value(QStringLiteral("hash")).toString().toLatin1());
    read.iterations = stored.value(QStringLiteral("iterations")).toInt();
    return read;
}

} // namespace Tessel
