#pragma once

#include "attributes/AttributeString.hpp"
#include "platform/tessel/Element.hpp"

namespace Datamodel {

/// One group of users. Its element id is the group's numeric id in decimal. It holds no member list:
/// membership lives in the users' "groups", and the server index keeps the inverse map.
class Group : public Tessel::Element {
public:
    Group();

    Basalt::AttributeT<QString> groupName;
    Basalt::AttributeT<QString> description;
};

/// The group list: one `Group` child per group.
class GroupContainer : public Tessel::Element {
public:
    GroupContainer();

    /// The child named by `id` in decimal if it is a `Group`; null otherwise. Owned by the container.
    Group* findGroupById(int id) const;
};

} // namespace Datamodel
