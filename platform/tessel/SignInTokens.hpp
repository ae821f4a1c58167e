#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>
#include <map>

namespace Tessel {

/// The tokens a server gives users who signed in with their password, so that their clients can sign in
/// again without it, after a lost link, until the token expires. Only a digest of each token is kept, in
/// memory: a server that restarts knows none. Used on the server's thread.
class SignInTokens {
public:
    using Clock = std::chrono::steady_clock;

    explicit SignInTokens(std::chrono::seconds lifetime) : m_lifetime(lifetime) {}

    /// A new token for the user, valid for the lifetime from `now`.
    QByteArray issue(unsigned userId, QString const& userName, Clock::time_point now = Clock::now());
    /// The id of the user whom `token` was issued to, when that is `userName` and it hasn't expired at
    /// `now`; 0 otherwise.
    unsigned verify(QString const& userName, QByteArray const& token,
                    Clock::time_point now = Clock::now()) const;

private:
    struct Holder {
        unsigned userId = 0;
        QString userName;
        Clock::time_point expires;
    };
    static QByteArray digest(QByteArray const& token);
    void forgetExpired(Clock::time_point now);

    std::chrono::seconds m_lifetime;
    /// By the digest of the token.
    std::map<QByteArray, Holder> m_holders;
};

} // namespace Tessel
