#pragma once

#include "attributes/AttributeBool.hpp"
#include "attributes/AttributeEnum.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/EnumNames.hpp"
#include "attributes/WeakAttributePtrT.hpp"
#include "index/User.hpp"
#include "platform/tessel/AccessControl.hpp"
#include "platform/tessel/AttributeResourcePermissions.hpp"
#include "platform/tessel/Element.hpp"

#include <QByteArray>
#include <QMap>
#include <QSet>

#include <set>

namespace Datamodel {

class ServerIndex;
class ServerIndexFolder;

/// The names of `Tessel::Permission`: "none", "view", "edit", "owner", "nobody".
extern Basalt::EnumNames const s_accessModes;

/// Base of the folders and canvases of the server index. Besides the stored owner and the entries written
/// on the node itself, it holds what each process derives for itself, in attributes whose keys begin with
/// ".local-": the resolved permissions, whether the node lies in a trash folder, and the access level of
/// the user this process acts for.
///
/// Belongs to the thread that applies the index document's transactions.
class ServerIndexNode : public Tessel::Element {
public:
    ~ServerIndexNode() override;

    /// User id of the owner; counts only where it has a value on the user layer.
    Basalt::AttributeT<int> owner;
    /// The entries written on this very node.
    Tessel::AttributeResourcePermissions permissionOverrides;
    /// Derived: the resolved list of this node.
    Tessel::AttributeResourcePermissions localEffectivePermissions;
    /// Derived: the node lies below a trash folder.
    Basalt::AttributeT<bool> localInTrash;
    /// Derived: the level of `currentUser` on this node.
    Basalt::AttributeT<Tessel::Permission> localAccess;

    /// The user this process acts for; empty when there is none.
    Basalt::WeakNodePtrT<User> currentUser;
    /// The node has been announced as added.
    bool indexed = false;
    /// What this node inherits from its folder, before its own entries are applied.
    Tessel::AccessControlList inheritedAcl;
    /// The depth of this node below the top of the tree.
    int aclDepth = 0;
    /// The listener on the index's `onGroupsChanged`; -1 for none.
    int groupsListenerId = -1;
    /// The index this node is linked into; null until then. Not owned.
    ServerIndex* serverIndexPtr = nullptr;
    /// The nodes linked below this one, ordered by address: their order means nothing. Not owned.
    std::set<ServerIndexNode*> childNodes;
    /// The folder this node is linked into; it lags the element's host during a move.
    Basalt::WeakNodePtrT<ServerIndexFolder> parentFolder;

    /// The top of the chain of hosts as a `ServerIndex`; null when the top is something else, as for a
    /// node that hangs in no document.
    ServerIndex* serverIndex() const;

    // Notifications, raised at the end of the incoming transaction, one per node and kind however many
    // changes the transaction made.

    /// Announces the node as added when it isn't indexed yet, else as changed.
    void changedOrAdded();
    /// Announces a change of an indexed node.
    void changed();
    /// Announces a move, out of the folder the node is linked into now.
    void reparented();

    /// Undoes the link into the index: pending notifications are dropped, an indexed node is announced as
    /// erased, and it leaves its folder's list of children.
    void erased();
    /// Links the node and its subtree into `index` below `parent`: trash state, permissions and access are
    /// derived anew, and the move is announced.
    void attached(ServerIndex* index, ServerIndexFolder* parent);
    /// Makes `user` the one whose access ".local-access" shows, in the whole subtree.
    void setUser(User* user);
    /// Derives ".local-in-trash" from `parent`, and below as far as it changes.
    void updateInTrash(ServerIndexFolder* parent);
    /// Derives the node's list from what it inherits (`inherited`, written at depth below `depth`) and its
    /// own entries and owner, with the groups of the index; descends only where a list changed.
    void calculateCachedPermissions(Tessel::AccessControlList const& inherited, int depth);
    void calculateCachedPermissions(Tessel::AccessControlList const& inherited, int depth,
                                    QMap<int, QSet<int>> const& groups);
    /// Resolves `inheritedAcl` with `groups` into ".local-effective-permissions".
    void resolveEffectivePermissions(QMap<int, QSet<int>> const& groups);
    /// Listens to the index's group changes, where group membership can alter this node's result.
    void addGroupsChangedListener();

    /// Links `child` below this node; linking it twice changes nothing.
    void childNodeAdded(ServerIndexNode* child);
    /// Unlinks `child`; unlinking one that isn't linked changes nothing.
    void childNodeRemoved(ServerIndexNode* child);

    /// Announces a change of an indexed node.
    virtual void onChanged(ServerIndex& index) = 0;
    /// Announces the node as new, once it may be shown.
    virtual void onAdded(ServerIndex& index) = 0;
    /// Announces a move out of the folder with element id `oldParentId`.
    virtual void onReparented(ServerIndex& index, QByteArray const& oldParentId) = 0;
    /// Announces that the node left the index; `parent` is the folder it was linked into, or null.
    virtual void onErased(ServerIndex& index, ServerIndexFolder* parent) = 0;
    /// What `user` may do with this node, from "owner", the user's "is-admin" and groups, and the
    /// resolved list: the owner gets "owner", an administrator "edit", a user with an entry of their own
    /// exactly that entry (even "none"), anybody else the best entry among their groups. Null gives
    /// "none".
    virtual Tessel::Permission resolveAccess(User const* user) const;

protected:
    ServerIndexNode();

private:
    Tessel::Permission bestGroupPermission(User const& user) const;
    /// Whether the node is linked into an index that isn't being destroyed.
    bool indexIsLive() const;
    void removeGroupsListener();
    /// The node moved: it leaves the index, or is linked below its new folder.
    void hostChanged();
    /// Derives the node's list again from its folder's.
    void recalculate();
    /// Carries the restriction flag of the node's own entries to its resolved list.
    void copyRestricted();

    long m_hostListener = -1;
};

} // namespace Datamodel
