#pragma once

// Live sites whose server runs the canvas operators, and helpers to build a stored canvas on the server, as
// storage hands one over when a document opens.
//
// Usage:
//     TestSupport::OperatorSites sites(0.2f);          // auto-pin after 0.2 s; 0 for no auto-pin
//     sites.openStored([](TestSupport::StoredTree& tree) {
//         auto note = tree.add(tree.root(), "note-1", "tavola_note");
//         tree.set<float>(*note, "depth", 3.0f);
//     });
//     auto& a = sites.join("a");                       // a joins the repaired canvas

#include "LiveSites.hpp"

#include "attributes/AttributeColor.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "operators/ServerOperators.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/Uuid.hpp"

#include <functional>
#include <memory>
#include <stdexcept>

namespace TestSupport {

/// Builds the tree of a document before its operators see it: nodes and values are added without telling
/// anybody, as a stored document is loaded.
class StoredTree {
public:
    explicit StoredTree(Tessel::ServerDocument& document) : m_document(document) {}

    Tessel::ServerDocument& document() const { return m_document; }
    Tessel::ServerNode& root() const { return *m_document.rootNode(); }

    /// A new node under `parent`, with a fresh guid.
    std::shared_ptr<Tessel::ServerNode> add(Tessel::ServerNode& parent, QByteArray const& name,
                                            QByteArray const& typeKey) const {
        auto node = std::make_shared<Tessel::ServerNode>(&m_document);
        node->setName(name);
        node->setTypeKey(typeKey);
        node->setGuid(Tessel::generateUuid());
        parent.addChildNode(node, false);
        return node;
    }

    /// A simple attribute holding `value` in the encoding of `Basalt::AttributeT<T>`.
    template <typename T>
    void set(Tessel::ServerNode& node, QByteArray const& name, T const& value) const {
        Basalt::AttributeT<T> temporary;
        temporary = value;
        node.addChildAttribute(Tessel::ServerAttributeSimple::createAttr(&m_document, name, temporary),
                               false);
    }

private:
    Tessel::ServerDocument& m_document;
};

/// The whole tree below `node` as text: names, type keys, and every attribute with its type code and bytes,
/// so that a test can tell whether anything changed.
inline QString describeTree(Tessel::ServerNode const& node, int depth = 0) {
    QString text =
        QString(depth * 2, QLatin1Char(' ')) + QString::fromUtf8(node.name() + " " + node.typeKey());
    for (auto const& attribute : node.childAttributes()) {
        text += QStringLiteral(" %1:%2=%3")
                    .arg(QString::fromUtf8(attribute->name()))
                    .arg(attribute->typeCode(), 0, 16)
                    .arg(QString::fromLatin1(attribute->encodedValue().bytes.toHex()));
    }
    text += QLatin1Char('\n');
    for (auto const& child : node.childNodes()) {
        text += describeTree(*child.second, depth + 1);
    }
    return text;
}

/// The value of a simple attribute of a server node, decoded through `Basalt::AttributeT<T>`; throws
/// `std::runtime_error` when the node has no such value.
template <typename T>
T storedValue(Tessel::ServerNode const& node, QByteArray const& name) {
    std::shared_ptr<Tessel::ServerAttribute> const attribute = node.childAttribute(name);
    Tessel::ServerAttributeSimple* const simple = attribute ? attribute->simpleAttribute() : nullptr;
    Basalt::AttributeT<T> decoded;
    if (!simple || !simple->valueToAttr(decoded)) {
        throw std::runtime_error("no value '" + name.toStdString() + "' of that type on node '" +
                                 node.name().toStdString() + "'");
    }
    return decoded.value();
}

namespace detail {
/// Holds the server's operator registry, so that it exists before the sites that use it.
struct CanvasOperators {
    explicit CanvasOperators(float autoPinSeconds) {
        Datamodel::addTavolaServerOperators(operatorRegistry, autoPinSeconds);
    }
    Tessel::ServerDocumentTypeOperators operatorRegistry;
};
} // namespace detail

/// Live sites whose server gives every canvas the four canvas operators (auto-pin only for a positive time).
class OperatorSites : private detail::CanvasOperators, public LiveSites {
public:
    explicit OperatorSites(float autoPinSeconds = 0.0f, QString const& version = QStringLiteral("26.07.5"))
        : detail::CanvasOperators(autoPinSeconds), LiveSites(version, &operatorRegistry) {}

    /// Gives every canvas that opens from now on one more operator, after the canvas operators.
    void addOperator(Tessel::ServerDocumentTypeOperators::Factory factory) {
        operatorRegistry.add(Datamodel::SharedCanvas::documentType(), std::move(factory));
    }

    /// Opens the canvas `id` on the server as `fill` builds it, before any client joins; the operators then
    /// see it as a stored canvas. Returns the server's document.
    std::shared_ptr<Tessel::ServerDocument> openStored(std::function<void(StoredTree&)> const& fill,
                                                       QByteArray const& id = "canvas") {
        QString error;
        auto document = server()->openDocument(id, Datamodel::SharedCanvas::documentType(), error,
                                               [&](Tessel::ServerDocument& opened) {
                                                   StoredTree tree(opened);
                                                   fill(tree);
                                               });
        if (!document) {
            throw std::runtime_error("the canvas didn't open: " + error.toStdString());
        }
        deliver();
        return document;
    }

    /// The operator of type `Op` of the server's document `id`; null if it has none.
    template <typename Op>
    std::shared_ptr<Op> serverOperator(QByteArray const& id = "canvas") const {
        for (auto const& op : serverDocument(id)->operators()) {
            if (auto found = std::dynamic_pointer_cast<Op>(op)) {
                return found;
            }
        }
        return nullptr;
    }
};

} // namespace TestSupport
