#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace Tessel {

/// A password kept only as a salted, slow hash: PBKDF2 with SHA-256, `defaultIterations` rounds for a new
/// one, a random salt of its own.
struct PasswordHash {
    /// Rounds of PBKDF2 for a new password.
    static constexpr int defaultIterations = 100000;

    QByteArray salt;
    QByteArray hash;
    int iterations = 0;

    /// The hash of `password` with a new salt.
    static PasswordHash of(QString const& password);
    /// Whether `password` is the one hashed, compared in a time that doesn't depend on where they differ.
    bool matches(QString const& password) const;
    /// Whether it holds a hash that a password can match.
    bool isValid() const;

    /// The stored form: "salt", "hash" (hexadecimal) and "iterations".
    QJsonObject toJson() const;
    /// Reads the stored form; an object that isn't one gives a hash that `isValid` refuses.
    static PasswordHash fromJson(QJsonObject const& stored);
};

} // namespace Tessel
