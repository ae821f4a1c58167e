#include "index/User.hpp"

#include "index/ServerConnection.hpp"
#include "index/ServerIndex.hpp"
#include "platform/tessel/AvatarColor.hpp"
#include "platform/tessel/DocumentConnection.hpp"

namespace Datamodel {

namespace {

Cobalt::ColorPMA avatarColorFor(QString const& seed) {
    return Cobalt::toPMA(Tessel::randomAvatarColor(seed));
}

} // namespace

Basalt::Event<std::shared_ptr<Tessel::ClientToServerConnection>, bool> UserContainer::onGuestBlocked;

User::User()
    : Tessel::Element(Flags::fromBits(3)), fullName(this, QByteArrayLiteral("full-name")),
      email(this, QByteArrayLiteral("email")), isAdmin(this, QByteArrayLiteral("is-admin"), false),
      isBlocked(this, QByteArrayLiteral("is-blocked"), false), groups(this, QByteArrayLiteral("groups")),
      avatarColor(this, QByteArrayLiteral("avatar-color"), avatarColorFor(QString())) {
    auto const notify = [this] { notifyIndex(); };
    fullName.addListener(notify, ROLE_CHANGE);
    email.addListener(
        [this] {
            recolour();
            notifyIndex();
        },
        ROLE_CHANGE);
    isAdmin.addListener(notify, ROLE_CHANGE);
    isBlocked.addListener(
        [this] {
            notifyIndex();
            announceGuestBlocked();
        },
        ROLE_CHANGE);
    avatarColor.addListener(notify, ROLE_CHANGE);
    groups.events().addListener(Basalt::AttributeEvent::LIST_CHANGED,
                                [this](Basalt::AttributeEvent) { notifyIndex(); });
    addListener(notify, ROLE_HOST_CHANGE);
}

User::~User() = default;

int User::userId() const {
    return name().toInt(nullptr, 10);
}

void User::notifyIndex() {
    std::shared_ptr<Tessel::DocumentConnection> const document = documentConnection();
    if (!document) {
        return;
    }
    if (auto* index = dynamic_cast<ServerIndex*>(document->documentRoot())) {
        index->onUserChanged.raise(this);
    }
}

void User::recolour() {
    // On the default layer, so that every client derives the same colour while a chosen one still wins.
    avatarColor.setValue(avatarColorFor(email.value()), LAYER_DEFAULT);
}

void User::announceGuestBlocked() {
    if (userId() != guestId) {
        return;
    }
    if (std::shared_ptr<Tessel::ClientToServerConnection> connection = serverConnection(*this)) {
        UserContainer::onGuestBlocked.raise(std::move(connection), isBlocked.value());
    }
}

UserContainer::UserContainer() : Tessel::Element(Flags::fromBits(3)) {}

User* UserContainer::findUserById(int id) const {
    return dynamic_cast<User*>(attribute(QByteArray::number(id)));
}

} // namespace Datamodel
