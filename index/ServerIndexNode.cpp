#include "index/ServerIndexNode.hpp"

#include "index/ServerIndex.hpp"

#include <algorithm>

namespace Datamodel {

Basalt::EnumNames const s_accessModes{{"none", Tessel::PERMISSION_NONE},
                                      {"view", Tessel::PERMISSION_VIEW},
                                      {"edit", Tessel::PERMISSION_EDIT},
                                      {"owner", Tessel::PERMISSION_OWNER},
                                      {"nobody", Tessel::PERMISSION_NOBODY}};

ServerIndexNode::ServerIndexNode()
    : Tessel::Element(Flags::fromBits(2)), owner(this, QByteArrayLiteral("owner"), 0),
      permissionOverrides(this, QByteArrayLiteral("permission-overrides")),
      localEffectivePermissions(this, QByteArrayLiteral(".local-effective-permissions")),
      localInTrash(this, QByteArrayLiteral(".local-in-trash"), false),
      localAccess(this, QByteArrayLiteral(".local-access"), Tessel::PERMISSION_NONE, s_accessModes) {}

ServerIndexNode::~ServerIndexNode() = default;

ServerIndex* ServerIndexNode::serverIndex() const {
    return ServerIndex::root(const_cast<ServerIndexNode&>(*this));
}

void ServerIndexNode::childNodeAdded(ServerIndexNode* child) {
    childNodes.insert(child);
}

void ServerIndexNode::childNodeRemoved(ServerIndexNode* child) {
    childNodes.erase(child);
}

Tessel::Permission ServerIndexNode::resolveAccess(User const* user) const {
    if (!user) {
        return Tessel::PERMISSION_NONE;
    }
    int const id = user->userId();
    if (owner.isValueDefinedOnLayer(LAYER_USER) && owner.valueOnLayer(LAYER_USER) == id) {
        return Tessel::PERMISSION_OWNER;
    }
    // Administrators may change anything but don't own it; this comes before the user's own entry.
    if (user->isAdmin.value()) {
        return Tessel::PERMISSION_EDIT;
    }
    auto const& users = localEffectivePermissions.value().acl.users;
    auto const own = users.constFind(id);
    if (own != users.constEnd()) {
        // An entry of the user's own decides, even "none" over better group entries.
        return own->permission;
    }
    return bestGroupPermission(*user);
}

Tessel::Permission ServerIndexNode::bestGroupPermission(User const& user) const {
    auto const& groups = localEffectivePermissions.value().acl.groups;
    Tessel::Permission best = Tessel::PERMISSION_NONE;
    for (int const groupId : user.groups.values()) {
        auto const entry = groups.constFind(groupId);
        if (entry != groups.constEnd()) {
            // The numeric maximum, so "nobody" outranks every other group entry.
            best = std::max(best, entry->permission);
        }
    }
    return best;
}

} // namespace Datamodel
