#include "platform/basalt/Attribute.hpp"

#include "platform/basalt/Archive.hpp"
#include "platform/basalt/ChangeObserver.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/basalt/TransitionManager.hpp"

#include <QSet>

namespace Basalt {

ChangeObserver::~ChangeObserver() = default;

Attribute::Attribute() = default;

// Every instance of a class declares the same keys, so one shared copy of each key serves them all: on a
// large canvas the keys would otherwise cost more than many of the values. Kept per thread, so that
// building elements takes no lock; the shared text itself may cross threads. The table only grows by
// distinct keys, and keys are a fixed vocabulary of the element classes.
QByteArray Attribute::sharedName(QByteArray const& name) {
    if (name.isEmpty()) {
        return name;
    }
    thread_local QSet<QByteArray> names;
    auto found = names.constFind(name);
    if (found == names.constEnd()) {
        found = names.insert(name);
    }
    return *found;
}

Attribute::Attribute(Node* host, QByteArray const& name) : m_name(sharedName(name)) {
    if (host) {
        host->addAttribute(this);
    }
}

Attribute::~Attribute() {
    notify(ROLE_DELETE);
    if (m_host) {
        m_host->forgetAttribute(this);
    }
}

ArchiveElement Attribute::serialize(Archive&) const {
    return ArchiveElement();
}
bool Attribute::deserialize(ArchiveElement const&) {
    return false;
}
void Attribute::eventProcess(QByteArray const&, Cobalt::BinaryData&) {}

namespace {
template <typename T>
T refuse(bool* ok) {
    if (ok) {
        *ok = false;
    }
    return T();
}
} // namespace

float Attribute::asFloat(bool* ok, Layer) const {
    return refuse<float>(ok);
}
int Attribute::asInt(bool* ok, Layer) const {
    return refuse<int>(ok);
}
QString Attribute::asString(bool* ok, Layer) const {
    return refuse<QString>(ok);
}
bool Attribute::set(float, Layer, ValueUnit) {
    return false;
}
bool Attribute::set(int, Layer, ValueUnit) {
    return false;
}
bool Attribute::set(QString const&, Layer, ValueUnit) {
    return false;
}
bool Attribute::set(Fathom::Vector2T<float> const&, Layer, QList<ValueUnit>) {
    return false;
}
bool Attribute::set(Fathom::Vector3T<float> const&, Layer, QList<ValueUnit>) {
    return false;
}
bool Attribute::set(Fathom::Vector4T<float> const&, Layer, QList<ValueUnit>) {
    return false;
}
bool Attribute::set(StyleValue const&, Layer) {
    return false;
}
QByteArray Attribute::type() const {
    return QByteArrayLiteral("attribute");
}
void Attribute::copyValueFromLayer(Layer, Layer) {}
bool Attribute::isChanged() const {
    return false;
}
void Attribute::clearValue(Layer) {}
void Attribute::clearBeforeRestore() {}
bool Attribute::handleShorthand(StyleValue const&, Cobalt::ArrayMap<Attribute*, StyleValue>&) {
    return false;
}
bool Attribute::isValueDefinedOnLayer(Layer layer) const {
    return layer > LAYER_COUNT;
}
Attribute* Attribute::attribute(QByteArray const&) const {
    return nullptr;
}
void Attribute::setAsDefaults() {}
void Attribute::setTransitionParameters(TransitionParameters) {}
void Attribute::reportChangeToHost() {
    if (ChangeObserver* const observer = m_host->changeObserver()) {
        observer->attributeChanged(*this);
    }
}

void Attribute::emitChange() {
    notify(ROLE_CHANGE);
}
void Attribute::emitDelete() {
    notify(ROLE_DELETE);
}

void Attribute::setName(QByteArray const& name) {
    if (name == m_name) {
        return;
    }
    QByteArray const oldName = m_name;
    m_name = name;
    if (m_host) {
        m_host->renameAttribute(this, oldName);
    }
}

void Attribute::removeHost() {
    if (m_host) {
        m_host->removeAttribute(this);
    }
}

void Attribute::setHostFromNode(Node* host) {
    m_host = host;
    notify(ROLE_HOST_CHANGE);
}

long Attribute::addListener(Listener listener, int role) {
    return addListener(nullptr, std::move(listener), role);
}

long Attribute::addListener(Node* owner, Listener listener, int role) {
    if (!m_listeners) {
        m_listeners = std::make_unique<ListenerListT<>>();
    }
    return m_listeners->add(std::move(listener), static_cast<unsigned>(role), owner);
}

void Attribute::removeListener(long id) {
    if (m_listeners) {
        m_listeners->remove(id);
    }
}

void Attribute::removeListener(Node* owner, int role) {
    if (m_listeners) {
        m_listeners->removeOwner(owner, static_cast<unsigned>(role));
    }
}

} // namespace Basalt
