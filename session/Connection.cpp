#include "session/Connection.hpp"

#include "session/TransientRoot.hpp"
#include "session/View.hpp"

namespace Datamodel {

Connection::Connection()
    : CanvasElement(Tessel::Element::Flags::fromBits(1)), userName(this, QByteArrayLiteral("user-name")),
      installationName(this, QByteArrayLiteral("installation-name")),
      userId(this, QByteArrayLiteral("user-id"), 0) {
    auto const announce = [this] {
        if (auto* root = dynamic_cast<TransientRoot*>(host())) {
            root->connectionChanged.raise(this);
        }
    };
    userName.addListener(announce, Basalt::Attribute::ROLE_CHANGE);
    installationName.addListener(announce, Basalt::Attribute::ROLE_CHANGE);
    userId.addListener(announce, Basalt::Attribute::ROLE_CHANGE);
}

void Connection::attributeAdded(Basalt::Attribute* attribute) {
    CanvasElement::attributeAdded(attribute);
    auto* view = dynamic_cast<View*>(attribute);
    auto* root = dynamic_cast<TransientRoot*>(host());
    if (view && root) {
        root->viewChanged.raise(view);
    }
}

void Connection::attributeRemoved(Basalt::Attribute* attribute) {
    CanvasElement::attributeRemoved(attribute);
    auto* view = dynamic_cast<View*>(attribute);
    auto* root = dynamic_cast<TransientRoot*>(host());
    if (view && root) {
        root->viewRemoved.raise(view);
    }
}

std::vector<View*> Connection::views() const {
    std::vector<View*> result;
    for (Entry const& entry : attributes()) {
        if (auto* view = dynamic_cast<View*>(entry.second)) {
            result.push_back(view);
        }
    }
    return result;
}

QString Connection::shortName() const {
    if (!userName.value().isEmpty()) {
        return userName.value();
    }
    if (!installationName.value().isEmpty()) {
        return installationName.value();
    }
    return QStringLiteral("<NA>");
}

QString Connection::longName() const {
    if (!userName.value().isEmpty() && !installationName.value().isEmpty()) {
        return QStringLiteral("%1, %2").arg(userName.value(), installationName.value());
    }
    return shortName();
}

} // namespace Datamodel
