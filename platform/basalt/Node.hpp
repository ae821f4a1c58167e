#pragma once

#include "platform/basalt/Attribute.hpp"

#include <QHash>

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace Basalt {

class ChangeObserver;

/// An attribute that holds attributes: the tree of a document. It keeps its attributes in order of
/// addition as pairs of name and pointer; elements are nodes, so the element tree is the attribute tree.
/// Adding, finding and removing an attribute cost the same however many the node holds, so that taking a
/// whole tree apart is linear in its size.
///
/// A node owns none of its attributes: members are owned by the object that declares them, and child
/// elements by the element layer. Destroying a node detaches what is still attached.
class Node : public Attribute, public std::enable_shared_from_this<Node> {
public:
    /// How a listener of a node event is called.
    enum ListenerType {
        LISTENER_DIRECT = 0, ///< synchronously, inside `eventSend`
    };
    using Entry = std::pair<QByteArray, Attribute*>;
    using EventListener = std::function<void(Cobalt::BinaryData&)>;

    Node();
    Node(Node* host, QByteArray const& name);
    ~Node() override;

    /// An element named "node" holding the serialisable children that have something to write.
    ArchiveElement serialize(Archive& archive) const override;
    /// Hands each child element to the attribute of its name, or to `readElement` when there is none.
    /// False when some attribute refused its element; the others are read all the same.
    bool deserialize(ArchiveElement const& element) override;
    /// Routes the message to the child named by the part of `id` before the first '/', passing the rest
    /// on. A message for an unknown child is dropped.
    void eventProcess(QByteArray const& id, Cobalt::BinaryData& data) override;
    QByteArray type() const override;
    /// Whether any child is changed.
    bool isChanged() const override;
    /// On every child.
    void setAsDefaults() override;
    /// The first attribute added under `name`, or null.
    Attribute* attribute(QByteArray const& name) const override;

    /// Hook for an archive child that matches no attribute; the default ignores it.
    virtual void readElement(ArchiveElement const& element);
    /// Hooks called on the host after an attribute was added or removed.
    virtual void attributeAdded(Attribute* attribute);
    virtual void attributeRemoved(Attribute* attribute);

    /// Adds under the attribute's own name, sets its host and calls `attributeAdded`. An attribute that
    /// has a host is first taken from it (which calls that host's `attributeRemoved`): a move, which its
    /// ROLE_HOST_CHANGE listeners hear once, with the new host.
    void addAttribute(Attribute* attribute);
    /// The same under `name`, which becomes the attribute's name.
    void addAttribute(QByteArray const& name, Attribute* attribute);
    /// Detaches an attribute (it is not deleted) and calls `attributeRemoved`; false if it isn't here.
    bool removeAttribute(Attribute* attribute);
    /// The attributes in order of addition. The reference stays valid until the node next changes. Like
    /// every use of a node, only on its document's thread: reading may sweep out slots left by removals.
    std::vector<Entry> const& attributes() const;

    /// Declares an outgoing event name.
    void eventAddOut(QByteArray const& name);
    /// Whether `name` was declared.
    bool hasEventOut(QByteArray const& name) const;
    /// Raises a declared event without data. An undeclared name is logged and ignored.
    void eventSend(QByteArray const& name);
    /// Raises a declared event; each listener reads `data` from its start.
    void eventSend(QByteArray const& name, Cobalt::BinaryData const& data);
    /// Subscribes to a named event of this node; returns an identifier for `eventRemoveListener`. Subscribing
    /// doesn't declare the event: the listener is called once the node declares it and raises it.
    long eventAddListenerBd(QByteArray const& name, Node* owner, EventListener listener,
                            ListenerType type = LISTENER_DIRECT);
    void eventRemoveListener(long id);
    /// Removes every event listener of `owner`.
    void eventRemoveListeners(Node* owner);

    /// Who hears the changes of this node's own attributes; null (the default) for nobody. Not owned.
    ChangeObserver* changeObserver() const { return m_changeObserver; }
    void setChangeObserver(ChangeObserver* observer) { m_changeObserver = observer; }

    /// A new 64-bit identifier, unique in this process. Safe from any thread.
    static long generateId();
    /// A shared pointer to this node sharing ownership with whoever holds it; null when no shared
    /// pointer owns it.
    std::shared_ptr<Node> sharedPtr();

    /// Whether the node is being destroyed: set by a derived class's destructor, before its own members go,
    /// so that children it still holds can tell, while it detaches them, not to reach for what is gone.
    bool isTearingDown() const { return m_tearingDown; }

protected:
    void markTearingDown() { m_tearingDown = true; }

private:
    friend class Attribute;
    /// Appends an attribute that has no host, or whose former host let it go, and makes this its host.
    void append(Attribute* attribute);
    /// Lets a moving attribute go without changing its host: the next host takes it.
    void release(Attribute* attribute);
    /// Drops an attribute that is being destroyed, without hooks: the object is half gone.
    void forgetAttribute(Attribute* attribute);
    void renameAttribute(Attribute* attribute, QByteArray const& oldName);
    /// Where `attribute` is in the list, looked up under `name`, which must be the name its entry bears;
    /// the largest size_t when it isn't here.
    std::size_t positionOf(Attribute const* attribute, QByteArray const& name) const;
    /// Takes the entry at `position` out of the list and the index.
    void detach(std::size_t position);
    /// Drops the empty slots that removals left in the list.
    void compact() const;
    /// Builds the index once the list passes the size where scanning stops paying.
    void indexIfLarge();

    /// Makes room for one more attribute, growing the list by the node's growth rule.
    void reserveForOneMore();

    struct Index;
    struct Events;

    bool m_tearingDown = false;
    // With an index, removals leave empty slots (a null pointer) that `compact` sweeps out: the list is
    // handed out clean, so sweeping can happen on a read.
    mutable std::vector<Entry> m_attributes;
    // Built once a node has many attributes; small nodes scan, and keep no empty slots.
    std::unique_ptr<Index> m_index;
    std::unique_ptr<Events> m_events;
    ChangeObserver* m_changeObserver = nullptr;
};

} // namespace Basalt
