#include "client/EmblemActions.hpp"

#include "framework/ElementFactoryOnce.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/NodeTransaction.hpp"

#include <stdexcept>

namespace Datamodel {

EmblemAction::EmblemAction()
    : scheme(this, QByteArrayLiteral("scheme")), target(this, QByteArrayLiteral("target")),
      code(this, QByteArrayLiteral("code"), 0L) {
    auto const announce = [this] {
        if (auto* map = dynamic_cast<EmblemActionMap*>(host())) {
            map->emblemActionChanged.raise(this);
        }
    };
    scheme.addListener(announce, Basalt::Attribute::ROLE_CHANGE);
    target.addListener(announce, Basalt::Attribute::ROLE_CHANGE);
    code.addListener(announce, Basalt::Attribute::ROLE_CHANGE);
}

EmblemActionMap::EmblemActionMap() = default;

// Arrivals and departures are told alike: listeners re-read the map rather than track deltas.
void EmblemActionMap::attributeAdded(Basalt::Attribute* attribute) {
    announce(attribute);
}

void EmblemActionMap::attributeRemoved(Basalt::Attribute* attribute) {
    announce(attribute);
}

void EmblemActionMap::announce(Basalt::Attribute* attribute) {
    if (auto* action = dynamic_cast<EmblemAction*>(attribute)) {
        emblemActionChanged.raise(action);
    }
}

EmblemAction* EmblemActionMap::findEmblemActionByCode(unsigned long code) const {
    for (Entry const& entry : attributes()) {
        auto* action = dynamic_cast<EmblemAction*>(entry.second);
        if (action && static_cast<unsigned long>(action->code.value()) == code) {
            return action;
        }
    }
    return nullptr;
}

EmblemAction* EmblemActionMap::findEmblemAction(QString const& scheme, QByteArray const& target) const {
    QString const wanted = target.isNull() ? QString() : QString::fromLatin1(target);
    for (Entry const& entry : attributes()) {
        auto* action = dynamic_cast<EmblemAction*>(entry.second);
        if (action && action->scheme.value() == scheme && action->target.value() == wanted) {
            return action;
        }
    }
    return nullptr;
}

folly::Future<folly::Unit> EmblemActionMap::setEmblemAction(QString const& scheme, QByteArray const& target,
                                                            unsigned long code) {
    Cobalt::Trace::debug("EmblemActionMap::setEmblemAction # %s:%s %lld", qPrintable(scheme),
                         target.constData(), static_cast<long long>(code));
    EmblemAction* const withCode = findEmblemActionByCode(code);
    EmblemAction* const withTarget = findEmblemAction(scheme, target);
    auto action = std::make_unique<EmblemAction>();
    action->initName();
    action->scheme = scheme;
    action->target = QString::fromLatin1(target);
    action->code = static_cast<long>(code);
    std::shared_ptr<Tessel::DocumentConnection> const document = documentConnection();
    if (!document) {
        return folly::makeFuture<folly::Unit>(std::runtime_error("Connection lost"));
    }
    Tessel::NodeTransaction transaction(*document);
    if (withCode) {
        transaction.deleteNode(*withCode);
    }
    if (withTarget && withTarget != withCode) {
        transaction.deleteNode(*withTarget);
    }
    transaction.addNode(*action.release(), *this);
    return transaction.commit();
}

QByteArray EmblemActionMap::documentType() {
    return QByteArrayLiteral("emblem-action");
}

std::shared_ptr<Tessel::ElementFactory> EmblemActionMap::elementFactory() {
    static std::atomic<bool> built{false};
    static std::shared_ptr<Tessel::ElementFactory> factory;
    return elementFactoryOnce(built, factory, [] {
        auto made = std::make_shared<Tessel::ElementFactory>();
        made->addFactory<EmblemAction>("emblem_action");
        made->addFactory<EmblemActionMap>("emblem_action_map");
        return made;
    });
}

} // namespace Datamodel
