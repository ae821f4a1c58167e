#include "index/ServerIndexNode.hpp"

#include "index/ServerIndex.hpp"
#include "index/ServerIndexFolder.hpp"
#include "platform/tessel/ClientTransaction.hpp"
#include "platform/tessel/PermissionManager.hpp"

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
      localAccess(this, QByteArrayLiteral(".local-access"), Tessel::PERMISSION_NONE, s_accessModes) {
    m_hostListener = addListener([this] { hostChanged(); }, ROLE_HOST_CHANGE);
    permissionOverrides.addListener([this] { recalculate(); }, ROLE_CHANGE);
    owner.addListener([this] { recalculate(); }, ROLE_CHANGE);
    permissionOverrides.addListener([this] { copyRestricted(); }, ROLE_CHANGE);
    localEffectivePermissions.addListener(
        [this] {
            localAccess.setValue(resolveAccess(currentUser.get()), LAYER_USER);
            changed();
        },
        ROLE_CHANGE);
    localAccess.addListener([this] { changed(); }, ROLE_CHANGE);
}

ServerIndexNode::~ServerIndexNode() {
    // Children that outlive this part of the node (the element base deletes them later) must not reach
    // back into it.
    for (ServerIndexNode* const child : childNodes) {
        child->parentFolder.reset();
    }
    if (parentFolder) {
        parentFolder->childNodeRemoved(this);
    }
    removeGroupsListener();
    Tessel::ClientTransaction::clearTransactionEndCallback(this);
    removeListener(m_hostListener);
}

bool ServerIndexNode::indexIsLive() const {
    return serverIndexPtr && !serverIndexPtr->isTearingDown();
}

void ServerIndexNode::removeGroupsListener() {
    if (groupsListenerId != -1 && indexIsLive()) {
        serverIndexPtr->onGroupsChanged.removeListener(groupsListenerId);
    }
    groupsListenerId = -1;
}

void ServerIndexNode::hostChanged() {
    if (!host()) {
        erased();
    } else {
        attached(serverIndex(), dynamic_cast<ServerIndexFolder*>(host()));
    }
}

void ServerIndexNode::recalculate() {
    if (auto const* const folder = dynamic_cast<ServerIndexFolder const*>(host())) {
        calculateCachedPermissions(folder->inheritedAcl, folder->aclDepth + 1);
    } else {
        calculateCachedPermissions(Tessel::AccessControlList(), 0);
    }
}

void ServerIndexNode::copyRestricted() {
    bool const restricted = permissionOverrides.value().restricted;
    if (localEffectivePermissions.value().restricted != restricted) {
        Tessel::ResourcePermissions copy = localEffectivePermissions.value();
        copy.restricted = restricted;
        localEffectivePermissions.setValue(copy);
    }
}

void ServerIndexNode::calculateCachedPermissions(Tessel::AccessControlList const& inherited, int depth) {
    if (ServerIndex const* const index = serverIndex()) {
        calculateCachedPermissions(inherited, depth, index->cachedGroups());
    }
}

void ServerIndexNode::calculateCachedPermissions(Tessel::AccessControlList const& inherited, int depth,
                                                 QMap<int, QSet<int>> const& groups) {
    if (serverIndexPtr) {
        ++serverIndexPtr->permissionCalculations;
    }
    Tessel::AccessControlList working = inherited;
    Tessel::AccessControlList const& overrides = permissionOverrides.value().acl;
    // Ownership doesn't descend: an owner above holds "edit" here, and user 1 holds nothing.
    for (auto entry = working.users.begin(); entry != working.users.end();) {
        if (entry->permission != Tessel::PERMISSION_OWNER) {
            ++entry;
        } else if (entry.key() == 1) {
            entry = working.users.erase(entry);
        } else {
            entry->permission = Tessel::PERMISSION_EDIT;
            ++entry;
        }
    }
    for (auto entry = overrides.users.cbegin(); entry != overrides.users.cend(); ++entry) {
        working.users[entry.key()] = {entry->permission, depth};
    }
    for (auto entry = overrides.groups.cbegin(); entry != overrides.groups.cend(); ++entry) {
        working.groups[entry.key()] = {entry->permission, depth};
    }
    int const ownerId = owner.value();
    if (ownerId >= 2) {
        working.users[ownerId] = {Tessel::PERMISSION_OWNER, depth};
    }
    aclDepth = depth;
    // Where nothing changed, nothing below can change either.
    if (working == inheritedAcl) {
        return;
    }
    inheritedAcl = working;
    resolveEffectivePermissions(groups);
    if (serverIndexPtr && groupsListenerId == -1) {
        addGroupsChangedListener();
    }
    for (ServerIndexNode* const child : childNodes) {
        child->calculateCachedPermissions(inheritedAcl, depth + 1, groups);
    }
}

void ServerIndexNode::resolveEffectivePermissions(QMap<int, QSet<int>> const& groups) {
    Tessel::ResourcePermissions resolved{inheritedAcl, permissionOverrides.value().restricted};
    Tessel::PermissionManager::resolveAcl(resolved.acl, groups);
    localEffectivePermissions.setValue(resolved);
}

void ServerIndexNode::addGroupsChangedListener() {
    auto const& users = inheritedAcl.users;
    bool const soleOwner = users.size() == 1 && users.first().permission == Tessel::PERMISSION_OWNER;
    if (inheritedAcl.groups.isEmpty() || users.isEmpty() || soleOwner || !indexIsLive()) {
        return;
    }
    groupsListenerId = serverIndexPtr->onGroupsChanged.addListener(
        [this](QMap<int, QSet<int>> const* groups) { resolveEffectivePermissions(*groups); });
}

void ServerIndexNode::updateInTrash(ServerIndexFolder* parent) {
    bool const inTrash =
        parent && (parent->localInTrash.value() || parent->name().startsWith(QByteArrayLiteral("trash")));
    if (inTrash == localInTrash.value()) {
        return;
    }
    localInTrash.setValue(inTrash, LAYER_USER);
    auto* const self = dynamic_cast<ServerIndexFolder*>(this);
    for (ServerIndexNode* const child : childNodes) {
        child->updateInTrash(self);
    }
}

void ServerIndexNode::attached(ServerIndex* index, ServerIndexFolder* parent) {
    if (index) {
        serverIndexPtr = index;
        if (groupsListenerId == -1) {
            addGroupsChangedListener();
        }
        reparented();
    }
    updateInTrash(parent);
    if (parent != parentFolder.get()) {
        if (parentFolder) {
            parentFolder->childNodeRemoved(this);
        }
        if (parent) {
            parent->childNodeAdded(this);
            parentFolder = parent;
        }
    }
    if (parent) {
        calculateCachedPermissions(parent->inheritedAcl, parent->aclDepth + 1);
        setUser(parent->currentUser.get());
    }
    auto* const self = dynamic_cast<ServerIndexFolder*>(this);
    // A copy: a child's attachment may change the set.
    std::set<ServerIndexNode*> const children = childNodes;
    for (ServerIndexNode* const child : children) {
        child->attached(index, self);
    }
}

void ServerIndexNode::setUser(User* user) {
    localAccess.setValue(resolveAccess(user), LAYER_USER);
    if (currentUser.get() != user) {
        currentUser = user;
    }
    for (ServerIndexNode* const child : childNodes) {
        child->setUser(user);
    }
}

void ServerIndexNode::erased() {
    Tessel::ClientTransaction::clearTransactionEndCallback(this);
    if (indexIsLive()) {
        if (indexed) {
            onErased(*serverIndexPtr, parentFolder.get());
        }
        removeGroupsListener();
    }
    indexed = false;
    serverIndexPtr = nullptr;
    if (parentFolder) {
        parentFolder->childNodeRemoved(this);
    }
    parentFolder = nullptr;
}

void ServerIndexNode::changedOrAdded() {
    Tessel::ClientTransaction::onTransactionEnd(this, 0, [this] {
        ServerIndex* const index = serverIndex();
        if (!index) {
            return;
        }
        if (indexed) {
            onChanged(*index);
            return;
        }
        if (!serverIndexPtr) {
            attached(index, dynamic_cast<ServerIndexFolder*>(host()));
        }
        indexed = true;
        onAdded(*index);
    });
}

void ServerIndexNode::changed() {
    Tessel::ClientTransaction::onTransactionEnd(this, 1, [this] {
        if (ServerIndex* const index = serverIndex(); index && indexed) {
            onChanged(*index);
        }
    });
}

void ServerIndexNode::reparented() {
    QByteArray const oldParentId = parentFolder ? parentFolder->name() : QByteArray();
    Tessel::ClientTransaction::onTransactionEnd(this, 2, [this, oldParentId] {
        if (serverIndexPtr) {
            onReparented(*serverIndexPtr, oldParentId);
        }
    });
}

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
