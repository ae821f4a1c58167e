#pragma once

#include "platform/tessel/WireFormat.hpp"

#include <QByteArray>
#include <QVariant>

#include <memory>
#include <vector>

namespace Basalt {
class Attribute;
}

namespace Tessel {

class ServerAttributeOperator;
class ServerAttributeSimple;
class ServerAttributeVectorContainer;
class ServerDocument;
class ServerNode;

/// An attribute of a server node: a name, a type code (`Kelp::TypeCode`) and an encoded value. The server
/// holds no typed attributes; values are converted through temporary typed attributes where needed.
///
/// Used on the document's executor only. Changes of an attribute that sits on a node of the document reach
/// every client (see `ServerDocument` for who is told).
class ServerAttribute : public std::enable_shared_from_this<ServerAttribute> {
public:
    virtual ~ServerAttribute();
    /// The simple form; null for a vector.
    virtual ServerAttributeSimple* simpleAttribute();
    /// The vector form; null for a simple attribute.
    virtual ServerAttributeVectorContainer* vectorContainer();
    /// The value whole, as an added node carries it to clients.
    virtual Wire::AttributeValue encodedValue() const = 0;

    QByteArray const& name() const { return m_name; }
    unsigned typeCode() const { return m_typeCode; }
    ServerDocument* document() const { return m_document; }
    /// The node that holds the attribute; null until it is added to one.
    ServerNode* node() const { return m_node; }

    /// Attaches an operator and calls its `addedToAttribute`.
    void addOperator(std::shared_ptr<ServerAttributeOperator> op);
    bool hasOperator(std::shared_ptr<ServerAttributeOperator> const& op) const;

protected:
    ServerAttribute(ServerDocument* document, QByteArray name, unsigned typeCode);
    /// Hands a change to the document for its clients, when the attribute sits on a node in the document.
    void publish(Wire::Operation operation) const;
    /// An operation of `kind` about this attribute, addressed to its node.
    Wire::Operation operation(Wire::OperationKind kind) const;
    std::vector<std::shared_ptr<ServerAttributeOperator>> const& operators() const { return m_operators; }

private:
    friend class ServerNode;
    friend class ServerDocument;

    ServerDocument* m_document;
    QByteArray m_name;
    unsigned m_typeCode;
    ServerNode* m_node = nullptr;
    std::vector<std::shared_ptr<ServerAttributeOperator>> m_operators;
};

/// One encoded value.
class ServerAttributeSimple : public ServerAttribute {
public:
    /// A new attribute holding the value of `attribute`, encoded; null when its type is unknown to the
    /// document's type registry.
    static std::shared_ptr<ServerAttributeSimple> createAttr(ServerDocument* document, QByteArray const& name,
                                                             Basalt::Attribute& attribute);
    /// A new attribute holding `value`, through a temporary typed attribute. Instantiated for bool, int,
    /// long, float and QString.
    template <typename T>
    static std::shared_ptr<ServerAttributeSimple> createT(ServerDocument* document, QByteArray const& name,
                                                          T const& value);

    /// An attribute holding encoded bytes as they came from a client or from storage.
    ServerAttributeSimple(ServerDocument* document, QByteArray name, unsigned typeCode, QByteArray bytes);

    ServerAttributeSimple* simpleAttribute() override;
    Wire::AttributeValue encodedValue() const override;

    /// Decodes the value into `attribute`, on its user layer. False, leaving it alone, when there is no value
    /// or `attribute` is of another type.
    bool valueToAttr(Basalt::Attribute& attribute) const;
    /// Stores the value of `attribute` (the mask is the platform's; ~0U stores all). A new value reaches the
    /// clients; the operators' `valueSetSimple` hears of every set, also of the same value again.
    void setValueFromAttr(Basalt::Attribute& attribute, unsigned int mask = ~0U);
    /// Stores encoded bytes, with the same effects.
    void setEncoded(QByteArray const& bytes);

    bool isValid() const { return m_valid; }
    QByteArray const& bytes() const { return m_bytes; }
    /// The value as a QVariant: bool, int, qlonglong, qulonglong, float or QString by type, the value's text
    /// for other types; an invalid QVariant without a value.
    QVariant asVariant() const;

private:
    /// A detached typed attribute of this attribute's type holding its value; null when the type is unknown.
    std::unique_ptr<Basalt::Attribute> decoded() const;

    QByteArray m_bytes;
    bool m_valid;
};

template <>
std::shared_ptr<ServerAttributeSimple>
ServerAttributeSimple::createT(ServerDocument* document, QByteArray const& name, long const& value);

/// A vector of encoded values of one type, back to back.
class ServerAttributeVectorContainer : public ServerAttribute {
public:
    /// An empty vector. `type` is the vector's type code (with `Kelp::TYPE_VECTOR_FLAG`).
    ServerAttributeVectorContainer(ServerDocument* document, QByteArray const& name, unsigned int type);
    /// A vector of `count` values given back to back in `values`.
    ServerAttributeVectorContainer(ServerDocument* document, QByteArray const& name, QByteArray values,
                                   unsigned int count, unsigned int type);

    ServerAttributeVectorContainer* vectorContainer() override;
    Wire::AttributeValue encodedValue() const override;

    /// Keeps the first `start` values and puts the `count` values of `values` after them. Clients get the
    /// whole list.
    void setValues(QByteArray values, unsigned int count, unsigned int start = 0);
    /// The bytes of value `index`; empty when there is none.
    QByteArray at(unsigned long index) const;
    unsigned count() const { return m_count; }
    /// The connection id of the site whose change made the present value; 0 for the server's own changes
    /// and a loaded value. A client's edit of one value that follows another site's change may rest on a
    /// list that client hadn't seen yet.
    unsigned lastWriter() const { return m_lastWriter; }
    /// Bytes of one value.
    unsigned valueSize() const { return m_valueSize; }
    QByteArray const& values() const { return m_values; }

    /// Single-value changes, told to clients as such. False, changing nothing, on a bad index or size.
    bool insertAt(unsigned index, QByteArray const& value);
    bool removeAt(unsigned index);
    bool replaceAt(unsigned index, QByteArray const& value);

private:
    /// Publishes a change of the values, made on behalf of the document's acting connection.
    void changed(Wire::Operation change);

    unsigned m_valueSize;
    unsigned m_count;
    QByteArray m_values;
    unsigned m_lastWriter = 0;
};

} // namespace Tessel
