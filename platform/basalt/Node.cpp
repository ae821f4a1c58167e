#include "platform/basalt/Node.hpp"

#include "platform/basalt/Archive.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "platform/cobalt/Trace.hpp"

#include <QSet>

#include <algorithm>
#include <atomic>

namespace Basalt {

namespace {

// Below this many attributes a scan is faster and smaller than a hash.
constexpr std::size_t indexThreshold = 32;
constexpr std::size_t notFound = static_cast<std::size_t>(-1);

} // namespace

struct Node::Events {
    using Listeners = ListenerListT<Cobalt::BinaryData const&>;
    // Names this node raises, a handful at most: a list is smaller than a set and as fast to search.
    // Listeners may subscribe before the declaration, so the two are kept apart.
    std::vector<QByteArray> declared;
    QHash<QByteArray, std::shared_ptr<Listeners>> byName;

    std::shared_ptr<Listeners> const& listeners(QByteArray const& name) {
        auto found = byName.find(name);
        if (found == byName.end()) {
            found = byName.insert(name, std::make_shared<Listeners>());
        }
        return found.value();
    }
};

Node::Node() = default;

Node::Node(Node* host, QByteArray const& name) : Attribute(host, name) {}

Node::~Node() {
    std::vector<Entry> attached;
    attached.swap(m_attributes);
    m_index.reset();
    for (Entry const& entry : attached) {
        entry.second->setHostFromNode(nullptr);
    }
}

ArchiveElement Node::serialize(Archive& archive) const {
    ArchiveElement element = archive.createElement(QStringLiteral("node"));
    if (element.isNull()) {
        return element;
    }
    if (!name().isEmpty()) {
        element.setName(QString::fromUtf8(name()));
    }
    element.add(QStringLiteral("type"), QString::fromUtf8(type()));
    for (Entry const& entry : m_attributes) {
        if (entry.second->isSerializable()) {
            element.add(entry.second->serialize(archive));
        }
    }
    return element;
}

bool Node::deserialize(ArchiveElement const& element) {
    bool allRead = true;
    for (auto child = element.children(); child; ++child) {
        Attribute* const target = attribute(child->name().toUtf8());
        if (target) {
            allRead = target->deserialize(*child) && allRead;
        } else {
            readElement(*child);
        }
    }
    return allRead;
}

void Node::eventProcess(QByteArray const& id, Cobalt::BinaryData& data) {
    int const slash = id.indexOf('/');
    QByteArray const childName = slash < 0 ? id : id.left(slash);
    Attribute* const child = attribute(childName);
    if (child) {
        child->eventProcess(slash < 0 ? QByteArray() : id.mid(slash + 1), data);
    }
}

QByteArray Node::type() const {
    return QByteArrayLiteral("node");
}

bool Node::isChanged() const {
    for (Entry const& entry : m_attributes) {
        if (entry.second->isChanged()) {
            return true;
        }
    }
    return false;
}

void Node::setAsDefaults() {
    // A child's own listeners may add or remove attributes, so walk by index over what is there now.
    for (std::size_t i = 0; i < m_attributes.size(); ++i) {
        m_attributes[i].second->setAsDefaults();
    }
}

Attribute* Node::attribute(QByteArray const& name) const {
    if (m_index) {
        return m_index->value(name, nullptr);
    }
    for (Entry const& entry : m_attributes) {
        if (entry.first == name) {
            return entry.second;
        }
    }
    return nullptr;
}

void Node::readElement(ArchiveElement const&) {}
void Node::attributeAdded(Attribute*) {}
void Node::attributeRemoved(Attribute*) {}

// Elements are mostly small and many: they grow in steps of four, which leaves an element of a dozen
// attributes without the spare room that doubling would give it. Large nodes grow by half.
void Node::reserveForOneMore() {
    std::size_t const capacity = m_attributes.capacity();
    if (m_attributes.size() < capacity) {
        return;
    }
    m_attributes.reserve(capacity < indexThreshold ? capacity + 4 : capacity + capacity / 2);
}

void Node::addAttribute(Attribute* attribute) {
    if (!attribute || attribute->host() == this) {
        return;
    }
    attribute->removeHost();
    reserveForOneMore();
    m_attributes.emplace_back(attribute->name(), attribute);
    indexInsert(attribute->name(), attribute);
    attribute->setHostFromNode(this);
    attributeAdded(attribute);
}

void Node::addAttribute(QByteArray const& name, Attribute* attribute) {
    if (!attribute) {
        return;
    }
    attribute->removeHost();
    attribute->m_name = name;
    addAttribute(attribute);
}

bool Node::removeAttribute(Attribute* attribute) {
    std::size_t const index = indexOf(attribute);
    if (index == notFound) {
        return false;
    }
    detach(index);
    attribute->setHostFromNode(nullptr);
    attributeRemoved(attribute);
    return true;
}

void Node::forgetAttribute(Attribute* attribute) {
    std::size_t const index = indexOf(attribute);
    if (index != notFound) {
        detach(index);
    }
}

void Node::renameAttribute(Attribute* attribute, QByteArray const& oldName) {
    std::size_t const index = indexOf(attribute);
    if (index == notFound) {
        return;
    }
    m_attributes[index].first = attribute->name();
    // Either name may now lead to another attribute: each goes to the first entry that bears it.
    indexRefresh(oldName);
    indexRefresh(attribute->name());
}

std::size_t Node::indexOf(Attribute const* attribute) const {
    // Members leave in the reverse order of their declaration, so the search starts at the back.
    for (std::size_t i = m_attributes.size(); i-- > 0;) {
        if (m_attributes[i].second == attribute) {
            return i;
        }
    }
    return notFound;
}

void Node::detach(std::size_t index) {
    Entry const entry = m_attributes[index];
    m_attributes.erase(m_attributes.begin() + static_cast<std::ptrdiff_t>(index));
    indexErase(entry.first, entry.second);
}

void Node::indexInsert(QByteArray const& name, Attribute* attribute) {
    if (!m_index && m_attributes.size() > indexThreshold) {
        m_index = std::make_unique<QHash<QByteArray, Attribute*>>();
        m_index->reserve(static_cast<int>(m_attributes.size()));
        for (Entry const& entry : m_attributes) {
            if (!m_index->contains(entry.first)) {
                m_index->insert(entry.first, entry.second);
            }
        }
        return;
    }
    if (m_index && !m_index->contains(name)) {
        m_index->insert(name, attribute);
    }
}

void Node::indexErase(QByteArray const& name, Attribute const* attribute) {
    if (!m_index) {
        return;
    }
    auto const found = m_index->find(name);
    if (found == m_index->end() || found.value() != attribute) {
        return;
    }
    m_index->erase(found);
    // Another attribute of the same name, added later, becomes the one that is found.
    for (Entry const& entry : m_attributes) {
        if (entry.first == name) {
            m_index->insert(name, entry.second);
            return;
        }
    }
}

void Node::indexRefresh(QByteArray const& name) {
    if (!m_index) {
        return;
    }
    m_index->remove(name);
    for (Entry const& entry : m_attributes) {
        if (entry.first == name) {
            m_index->insert(name, entry.second);
            return;
        }
    }
}

void Node::eventAddOut(QByteArray const& name) {
    if (!m_events) {
        m_events = std::make_unique<Events>();
    }
    if (!hasEventOut(name)) {
        m_events->declared.push_back(sharedName(name));
    }
}

bool Node::hasEventOut(QByteArray const& name) const {
    if (!m_events) {
        return false;
    }
    auto const& declared = m_events->declared;
    return std::find(declared.begin(), declared.end(), name) != declared.end();
}

void Node::eventSend(QByteArray const& name) {
    eventSend(name, Cobalt::BinaryData());
}

void Node::eventSend(QByteArray const& name, Cobalt::BinaryData const& data) {
    if (!hasEventOut(name)) {
        Cobalt::Trace::warning("Node::eventSend # Event '%s' was not declared", name.constData());
        return;
    }
    // Held here so that a listener that destroys this node doesn't pull the list away mid-call.
    std::shared_ptr<Events::Listeners> const listeners = m_events->byName.value(name);
    if (listeners) {
        listeners->call(~0u, data);
    }
}

long Node::eventAddListenerBd(QByteArray const& name, Node* owner, EventListener listener, ListenerType) {
    if (!m_events) {
        m_events = std::make_unique<Events>();
    }
    auto const reader = [listener = std::move(listener)](Cobalt::BinaryData const& data) {
        Cobalt::BinaryData own(data.data()); // each listener reads the message from its start
        listener(own);
    };
    return m_events->listeners(name)->add(reader, ~0u, owner);
}

void Node::eventRemoveListener(long id) {
    if (!m_events) {
        return;
    }
    for (auto const& listeners : qAsConst(m_events->byName)) {
        if (listeners->remove(id)) {
            return;
        }
    }
}

void Node::eventRemoveListeners(Node* owner) {
    if (!m_events) {
        return;
    }
    for (auto const& listeners : qAsConst(m_events->byName)) {
        listeners->removeOwner(owner, ~0u);
    }
}

long Node::generateId() {
    static std::atomic<long> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::shared_ptr<Node> Node::sharedPtr() {
    return weak_from_this().lock();
}

} // namespace Basalt
