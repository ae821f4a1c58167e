#pragma once

#include <QMap>
#include <QString>

namespace Cobalt {
class BinaryData;
}

namespace Tessel {

/// How much a user may do with a resource. Levels compare as integers, and the best of several is their
/// maximum. The numbers are stored and travel in messages: never renumber them.
enum Permission : int {
    PERMISSION_NONE = 0,
    PERMISSION_VIEW = 1,
    PERMISSION_EDIT = 2,
    PERMISSION_OWNER = 3,
    /// Above every other level, so that an entry with it wins any comparison.
    PERMISSION_NOBODY = 4,
};

/// Whether `value` is one of the numbers of `Permission`.
bool isPermission(int value);

/// One entry of an access control list: the level granted and the depth of the node that wrote it (0 for
/// a node without a parent folder, one more for each level below).
struct PermissionWithDepth {
    Permission permission = PERMISSION_NONE;
    int depth = 0;
};

bool operator==(PermissionWithDepth const& a, PermissionWithDepth const& b);
bool operator!=(PermissionWithDepth const& a, PermissionWithDepth const& b);

/// Who may do what with a resource: entries by user id, then entries by group id, each ordered by id.
struct AccessControlList {
    QMap<int, PermissionWithDepth> users;
    QMap<int, PermissionWithDepth> groups;

    bool isEmpty() const { return users.isEmpty() && groups.isEmpty(); }
};

/// Equal when both maps have the same ids with the same permissions and depths.
bool operator==(AccessControlList const& a, AccessControlList const& b);
bool operator!=(AccessControlList const& a, AccessControlList const& b);

/// An access control list as a resource carries it.
struct ResourcePermissions {
    AccessControlList acl;
    /// Marks a resource that only those with an entry may see, whatever the server grants by default.
    /// Carried with the list; the data model copies it and never tests it.
    bool restricted = false;
};

bool operator==(ResourcePermissions const& a, ResourcePermissions const& b);
bool operator!=(ResourcePermissions const& a, ResourcePermissions const& b);

/// The text form: one blank-separated token per entry, users first, each in order of id, as
/// "user:ID=PERMISSION@DEPTH" or "group:ID=PERMISSION@DEPTH" with the permission's number, then
/// "restricted" when the flag is set. Empty permissions give an empty text.
QString toText(ResourcePermissions const& permissions);
/// Reads the text form; tokens may be separated by any white space. A repeated id takes the later
/// entry. False, leaving `permissions` alone, on an unknown token or a number outside `Permission`.
bool fromText(QString const& text, ResourcePermissions& permissions);

/// Appends the message form: for users and then groups a 32-bit count followed by id, permission and
/// depth of each entry as 32-bit integers, then the flag as a boolean.
void writeMessage(Cobalt::BinaryData& data, ResourcePermissions const& permissions);
/// Reads the message form. False, leaving `permissions` alone, when a value is missing or of another
/// type, a count is negative or a permission is out of range; what was read by then stays consumed.
bool readMessage(Cobalt::BinaryData& data, ResourcePermissions& permissions);

} // namespace Tessel
