#include "platform/tessel/PermissionManager.hpp"

namespace Tessel {

void PermissionManager::resolveAcl(AccessControlList& acl, QMap<int, QSet<int>> const& groups) {
    QMap<int, PermissionWithDepth> granted;
    for (auto group = acl.groups.cbegin(); group != acl.groups.cend(); ++group) {
        for (int const member : groups.value(group.key())) {
            if (acl.users.contains(member)) {
                continue; // the user's own entry decides
            }
            auto const found = granted.constFind(member);
            // The numeric maximum, so "nobody" outranks every other group's level.
            if (found == granted.constEnd() || found->permission < group->permission) {
                granted.insert(member, *group);
            }
        }
    }
    for (auto entry = granted.cbegin(); entry != granted.cend(); ++entry) {
        acl.users.insert(entry.key(), entry.value());
    }
    acl.groups.clear();
}

} // namespace Tessel
