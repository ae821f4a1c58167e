#include "platform/tessel/SignInTokens.hpp"

#include <QCryptographicHash>
#include <QRandomGenerator>

namespace Tessel {

namespace {

constexpr int tokenBytes = 32;

} // namespace

QByteArray SignInTokens::digest(QByteArray const& token) {
    return QCryptographicHash::hash(token, QCryptographicHash::Sha256);
}

void SignInTokens::forgetExpired(Clock::time_point now) {
    for (auto holder = m_holders.begin(); holder != m_holders.end();) {
        holder = holder->second.expires <= now ? m_holders.erase(holder) : std::next(holder);
    }
}

QByteArray SignInTokens::issue(unsigned userId, QString const& userName, Clock::time_point now) {
    forgetExpired(now);
    QByteArray random(tokenBytes, '\0');
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(random.data()), tokenBytes / 4);
    QByteArray const token = random.toHex();
    m_holders[digest(token)] = Holder{userId, userName, now + m_lifetime};
    return token;
}

unsigned SignInTokens::verify(QString const& userName, QByteArray const& token, Clock::time_point now) const {
    auto const found = m_holders.find(digest(token));
    bool const valid =
        found != m_holders.end() && found->second.userName == userName && now < found->second.expires;
    return valid ? found->second.userId : 0;
}

} // namespace Tessel
