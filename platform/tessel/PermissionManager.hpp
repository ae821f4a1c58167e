#pragma once

#include "platform/tessel/AccessControl.hpp"

#include <QMap>
#include <QSet>

namespace Tessel {

/// What group membership means in an access control list.
class PermissionManager {
public:
    /// Makes group membership explicit in `acl`. A group's entry speaks for each of its members: every
    /// member of a listed group gets a user entry with the best level among its listed groups, at the depth
    /// of that group's entry, unless the user has an entry of its own, which always decides. The group
    /// entries then go, as the user entries now say all that they meant. Members are those that `groups`
    /// (group id to user ids) names, so a change of membership counts once `groups` says so; a group that
    /// `groups` doesn't know grants nobody anything.
    static void resolveAcl(AccessControlList& acl, QMap<int, QSet<int>> const& groups);
};

} // namespace Tessel
