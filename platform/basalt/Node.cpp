#include "platform/basalt/Node.hpp"

#include "platform/basalt/Archive.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "platform/cobalt/Trace.hpp"

#include <QMultiHash>
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

// Where each attribute of a large node sits in its list, by name. A name is borne by one attribute almost
// always; when several bear it, the smallest position is the first added.
struct Node::Index {
    QMultiHash<QByteArray, std::size_t> positions;
    // Slots of the list emptied by removals and not yet swept out.
    std::size_t vacant = 0;
};

Node::Node() = default;

Node::Node(Node* host, QByteArray const& name) : Attribute(host, name) {}

Node::~Node() {
    std::vector<Entry> attached;
    attached.swap(m_attributes);
    m_index.reset();
    for (Entry const& entry : attached) {
        if (entry.second) {
            entry.second->setHostFromNode(nullptr);
        }
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
    for (Entry const& entry : attributes()) {
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
    for (Entry const& entry : attributes()) {
        if (entry.second->isChanged()) {
            return true;
        }
    }
    return false;
}

void Node::setAsDefaults() {
    // A child's own listeners may add or remove attributes, so walk by index over what is there now.
    for (std::size_t i = 0; i < m_attributes.size(); ++i) {
        if (Attribute* const child = m_attributes[i].second) {
            child->setAsDefaults();
        }
    }
}

Attribute* Node::attribute(QByteArray const& name) const {
    if (m_index) {
        auto const namesakes = m_index->positions.equal_range(name);
        auto const first = std::min_element(namesakes.first, namesakes.second);
        return first == namesakes.second ? nullptr : m_attributes[*first].second;
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
    // A move from another node is one change of host: its listeners see the new host, never a detached
    // attribute in between.
    if (Node* const former = attribute->host()) {
        former->release(attribute);
    }
    append(attribute);
}

void Node::append(Attribute* attribute) {
    reserveForOneMore();
    m_attributes.emplace_back(attribute->name(), attribute);
    if (m_index) {
        m_index->positions.insert(attribute->name(), m_attributes.size() - 1);
    } else {
        indexIfLarge();
    }
    attribute->setHostFromNode(this);
    attributeAdded(attribute);
}

void Node::addAttribute(QByteArray const& name, Attribute* attribute) {
    if (!attribute) {
        return;
    }
    if (Node* const former = attribute->host()) {
        former->release(attribute);
    }
    attribute->m_name = name;
    append(attribute);
}

void Node::release(Attribute* attribute) {
    std::size_t const position = positionOf(attribute, attribute->name());
    if (position != notFound) {
        detach(position);
        attributeRemoved(attribute);
    }
}

bool Node::removeAttribute(Attribute* attribute) {
    std::size_t const position = attribute ? positionOf(attribute, attribute->name()) : notFound;
    if (position == notFound) {
        return false;
    }
    detach(position);
    attribute->setHostFromNode(nullptr);
    attributeRemoved(attribute);
    return true;
}

std::vector<Node::Entry> const& Node::attributes() const {
    compact();
    return m_attributes;
}

void Node::forgetAttribute(Attribute* attribute) {
    std::size_t const position = positionOf(attribute, attribute->name());
    if (position != notFound) {
        detach(position);
    }
}

void Node::renameAttribute(Attribute* attribute, QByteArray const& oldName) {
    std::size_t const position = positionOf(attribute, oldName);
    if (position == notFound) {
        return;
    }
    m_attributes[position].first = attribute->name();
    if (m_index) {
        m_index->positions.remove(oldName, position);
        m_index->positions.insert(attribute->name(), position);
    }
}

std::size_t Node::positionOf(Attribute const* attribute, QByteArray const& name) const {
    if (m_index) {
        auto const namesakes = m_index->positions.equal_range(name);
        auto const found = std::find_if(namesakes.first, namesakes.second, [&](std::size_t position) {
            return m_attributes[position].second == attribute;
        });
        return found == namesakes.second ? notFound : *found;
    }
    // Members leave in the reverse order of their declaration, so the search starts at the back.
    for (std::size_t i = m_attributes.size(); i-- > 0;) {
        if (m_attributes[i].second == attribute) {
            return i;
        }
    }
    return notFound;
}

// A small node closes the gap at once. A large one leaves an empty slot, swept out once the empty slots
// are more than half the list, so that each removal costs the same on average however long the list is.
void Node::detach(std::size_t position) {
    if (!m_index) {
        m_attributes.erase(m_attributes.begin() + static_cast<std::ptrdiff_t>(position));
        return;
    }
    m_index->positions.remove(m_attributes[position].first, position);
    if (position + 1 < m_attributes.size()) {
        m_attributes[position] = Entry();
        ++m_index->vacant;
        if (m_index->vacant > m_attributes.size() / 2) {
            compact();
        }
        return;
    }
    // At the back nothing needs sweeping: the tail goes, with the empty slots before it.
    m_attributes.pop_back();
    while (!m_attributes.empty() && !m_attributes.back().second) {
        m_attributes.pop_back();
        --m_index->vacant;
    }
}

void Node::compact() const {
    if (!m_index || m_index->vacant == 0) {
        return;
    }
    std::vector<std::size_t> moved(m_attributes.size(), notFound);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_attributes.size(); ++i) {
        if (!m_attributes[i].second) {
            continue;
        }
        if (i != kept) {
            m_attributes[kept] = std::move(m_attributes[i]);
        }
        moved[i] = kept++;
    }
    m_attributes.resize(kept);
    for (auto entry = m_index->positions.begin(); entry != m_index->positions.end(); ++entry) {
        entry.value() = moved[entry.value()];
    }
    m_index->vacant = 0;
}

void Node::indexIfLarge() {
    if (m_index || m_attributes.size() <= indexThreshold) {
        return;
    }
    m_index = std::make_unique<Index>();
    m_index->positions.reserve(static_cast<int>(m_attributes.size()));
    for (std::size_t i = 0; i < m_attributes.size(); ++i) {
        m_index->positions.insert(m_attributes[i].first, i);
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
