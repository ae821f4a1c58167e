#pragma once

#include "platform/basalt/Node.hpp"
#include "platform/cobalt/Flags.hpp"

#include <memory>

namespace Tessel {

class DocumentConnection;

/// Base of every element of a document: a node with a guid and flags. Its children are attributes, and
/// among them its child elements, which it owns: destroying an element destroys its child elements.
/// Attributes that are members of a subclass are owned by the subclass, as usual.
///
/// Elements belong to the thread of their document (`DocumentConnection::mainThreadExecutor`).
class Element : public Basalt::Node {
public:
    /// Bits that an element class hands to the platform. Their meaning is the platform's: the data model
    /// only passes them. Never renumber: they are part of every class's declaration.
    enum Flag : unsigned {
        FLAG_0 = 1u << 0,
        FLAG_1 = 1u << 1,
    };
    using Flags = Cobalt::FlagsT<Flag>;

    explicit Element(Flags flags = Flags());
    /// Destroys the child elements.
    ~Element() override;

    /// The element's guid; empty until `initName` or `setGuid`.
    QByteArray const& guid() const { return m_guid; }
    void setGuid(QByteArray const& guid) { m_guid = guid; }
    Flags flags() const { return m_flags; }

    /// Gives the element a fresh guid and makes it its name too. Called on a new element or a new copy.
    void initName();

    /// The connection of the document that holds this element, found through its root; null when the
    /// element is in no document.
    std::shared_ptr<DocumentConnection> documentConnection() const;

    /// The topmost element above this one (itself when it has no element host).
    Element* rootElement() const;

    /// Searches the whole document that holds this element, whichever element it is called on, for an
    /// element with this guid that is an E: both trees of the document (persistent and transient) when the
    /// element is in one, else the tree it is part of. Null when there is none. A depth-first walk.
    template <typename E = Element>
    E* findByGuid(QByteArray const& guid) const {
        return dynamic_cast<E*>(findElementByGuid(guid));
    }
    Element* findElementByGuid(QByteArray const& guid) const;

    /// Called by the platform once the element has a connection. The base does nothing.
    virtual void initialize(DocumentConnection& connection);

    /// Whether a document shares this attribute of one of its elements: it has a name and is neither an
    /// element nor a component of a tuple (the tuple is shared whole), and its name doesn't begin with
    /// ".local-", which marks what each process derives for itself.
    static bool isSharedAttribute(Basalt::Attribute const& attribute);

private:
    friend class DocumentConnection;
    Element* findInSubtree(QByteArray const& guid);

    QByteArray m_guid;
    Flags m_flags;
    /// `initialize` ran, through the platform.
    bool m_initialized = false;
    // Set on the roots of a document only.
    std::weak_ptr<DocumentConnection> m_documentConnection;
};

} // namespace Tessel
