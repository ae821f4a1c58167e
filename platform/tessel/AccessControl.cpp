#include "platform/tessel/AccessControl.hpp"

#include "platform/cobalt/BinaryData.hpp"

#include <QRegularExpression>
#include <QStringList>

namespace Tessel {

namespace {

// QLatin1String's constructor from a bare pointer measures the text with strlen, which clang refuses in a
// constant expression; the length of a literal is known.
template <int N>
constexpr QLatin1String latin1(char const (&text)[N]) {
    return QLatin1String(text, N - 1);
}

constexpr QLatin1String s_userPrefix = latin1("user");
constexpr QLatin1String s_groupPrefix = latin1("group");
constexpr QLatin1String s_restrictedToken = latin1("restricted");

void appendEntries(QStringList& tokens, QLatin1String prefix, QMap<int, PermissionWithDepth> const& entries) {
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
        tokens.append(QStringLiteral("%1:%2=%3@%4")
                          .arg(prefix)
                          .arg(entry.key())
                          .arg(static_cast<int>(entry->permission))
                          .arg(entry->depth));
    }
}

/// Reads one "user:..." or "group:..." token into its map; false when the token is neither.
bool parseEntry(QString const& token, AccessControlList& acl) {
    static QRegularExpression const entry(QStringLiteral("^(user|group):(-?\\d+)=(\\d+)@(-?\\d+)$"));
    QRegularExpressionMatch const match = entry.match(token);
    if (!match.hasMatch()) {
        return false;
    }
    bool idOk = false;
    bool permissionOk = false;
    bool depthOk = false;
    int const id = match.captured(2).toInt(&idOk);
    int const permission = match.captured(3).toInt(&permissionOk);
    int const depth = match.captured(4).toInt(&depthOk);
    if (!idOk || !permissionOk || !depthOk || !isPermission(permission)) {
        return false;
    }
    auto& entries = match.captured(1) == s_userPrefix ? acl.users : acl.groups;
    entries.insert(id, PermissionWithDepth{static_cast<Permission>(permission), depth});
    return true;
}

void writeEntries(Cobalt::BinaryData& data, QMap<int, PermissionWithDepth> const& entries) {
    data.writeInt32(entries.size());
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
        data.writeInt32(entry.key());
        data.writeInt32(static_cast<std::int32_t>(entry->permission));
        data.writeInt32(entry->depth);
    }
}

bool readEntries(Cobalt::BinaryData& data, QMap<int, PermissionWithDepth>& entries) {
    bool ok = false;
    std::int32_t const count = data.readInt32(&ok);
    if (!ok || count < 0) {
        return false;
    }
    for (std::int32_t i = 0; i < count; ++i) {
        bool idOk = false;
        bool permissionOk = false;
        bool depthOk = false;
        std::int32_t const id = data.readInt32(&idOk);
        std::int32_t const permission = data.readInt32(&permissionOk);
        std::int32_t const depth = data.readInt32(&depthOk);
        if (!idOk || !permissionOk || !depthOk || !isPermission(permission)) {
            return false;
        }
        entries.insert(id, PermissionWithDepth{static_cast<Permission>(permission), depth});
    }
    return true;
}

} // namespace

bool isPermission(int value) {
    return value >= PERMISSION_NONE && value <= PERMISSION_NOBODY;
}

bool operator==(PermissionWithDepth const& a, PermissionWithDepth const& b) {
    return a.permission == b.permission && a.depth == b.depth;
}

bool operator!=(PermissionWithDepth const& a, PermissionWithDepth const& b) {
    return !(a == b);
}

bool operator==(AccessControlList const& a, AccessControlList const& b) {
    return a.users == b.users && a.groups == b.groups;
}

bool operator!=(AccessControlList const& a, AccessControlList const& b) {
    return !(a == b);
}

bool operator==(ResourcePermissions const& a, ResourcePermissions const& b) {
    return a.restricted == b.restricted && a.acl == b.acl;
}

bool operator!=(ResourcePermissions const& a, ResourcePermissions const& b) {
    return !(a == b);
}

QString toText(ResourcePermissions const& permissions) {
    QStringList tokens;
    appendEntries(tokens, s_userPrefix, permissions.acl.users);
    appendEntries(tokens, s_groupPrefix, permissions.acl.groups);
    if (permissions.restricted) {
        tokens.append(s_restrictedToken);
    }
    return tokens.join(QLatin1Char(' '));
}

bool fromText(QString const& text, ResourcePermissions& permissions) {
    static QRegularExpression const whiteSpace(QStringLiteral("\\s+"));
    ResourcePermissions read;
    for (QString const& token : text.split(whiteSpace, Qt::SkipEmptyParts)) {
        if (token == s_restrictedToken) {
            read.restricted = true;
        } else if (!parseEntry(token, read.acl)) {
            return false;
        }
    }
    permissions = read;
    return true;
}

void writeMessage(Cobalt::BinaryData& data, ResourcePermissions const& permissions) {
    writeEntries(data, permissions.acl.users);
    writeEntries(data, permissions.acl.groups);
    data.writeBool(permissions.restricted);
}

bool readMessage(Cobalt::BinaryData& data, ResourcePermissions& permissions) {
    ResourcePermissions read;
    if (!readEntries(data, read.acl.users) || !readEntries(data, read.acl.groups)) {
        return false;
    }
    bool ok = false;
    read.restricted = data.readBool(&ok);
    if (!ok) {
        return false;
    }
    permissions = read;
    return true;
}

} // namespace Tessel
