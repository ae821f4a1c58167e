#pragma once

#include "attributes/AttributeBool.hpp"
#include "attributes/AttributeColor.hpp"
#include "attributes/AttributeString.hpp"
#include "attributes/AttributeVectorContainer.hpp"
#include "attributes/Event.hpp"
#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/Element.hpp"

#include <memory>

namespace Datamodel {

/// One user of the server, as the user list of a connection carries it. Its element id is the user's
/// numeric id in decimal. Every change that can alter what the user may do is told to the server index of
/// the user's document (its `onUserChanged`); a user in no document, or in a document whose root is no
/// server index, tells nobody.
///
/// Belongs to the thread of its document; the events are raised there.
class User : public Tessel::Element {
public:
    /// The id whose blocking is announced on `UserContainer::onGuestBlocked`.
    static constexpr int guestId = 100;

    User();
    ~User() override;

    /// Display name.
    Basalt::AttributeT<QString> fullName;
    /// Mail address; also what the default avatar colour is derived from.
    Basalt::AttributeT<QString> email;
    /// Administrators may edit everything in the index.
    Basalt::AttributeT<bool> isAdmin;
    Basalt::AttributeT<bool> isBlocked;
    /// Ids of the groups the user belongs to. Only a change of the whole list is told to the index.
    Basalt::AttributeVectorContainer<int> groups;
    /// Premultiplied. The default layer follows "email"; a value on the user layer wins over it.
    Basalt::AttributeT<Cobalt::ColorPMA> avatarColor;

    /// The element id read as a decimal number; 0 when it isn't one.
    int userId() const;

private:
    void notifyIndex();
    void recolour();
    void announceGuestBlocked();
};

/// The user list of a connection, in its transient root under "user_container": one `User` child per user.
class UserContainer : public Tessel::Element {
public:
    UserContainer();

    /// The child named by `id` in decimal if it is a `User`; null otherwise. Owned by the container.
    User* findUserById(int id) const;

    /// The guest user got blocked (true) or unblocked (false) at the connection given. Shared by every
    /// connection of the process: listeners tell them apart by the connection.
    static Basalt::Event<std::shared_ptr<Tessel::ClientToServerConnection>, bool> onGuestBlocked;
};

} // namespace Datamodel
