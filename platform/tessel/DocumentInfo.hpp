#pragma once

#include "attributes/AttributeBool.hpp"
#include "attributes/AttributeEnum.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "attributes/AttributeTimeStamp.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/tessel/WireFormat.hpp"

#include <QByteArray>

#include <vector>

namespace Kelp {
class TypeRegistry;
}

namespace Tessel {

/// The state of a listed document. Travels as its number: never renumber.
enum DocumentState : int {
    DOCUMENT_STATE_REGULAR = 0,
    /// A demonstration document, shown as such by clients.
    DOCUMENT_STATE_DEMO = 1,
};

/// The names of `DocumentState`: "regular" and "demo".
extern Basalt::EnumNames const s_documentStates;

/// What a server tells its clients of one of its documents, whether or not they have it open: its name,
/// state, whether passwords guard it, its size and its times. A node whose attributes are these values, so
/// that a client can listen to each ("document-name", "document-state", "has-main-password",
/// "has-access-password", "size", "created", "modified").
///
/// The server holds one per listed document and tells every client its values whenever they change; a
/// client's copy (`Documents`) takes them on the user layer. Used on the thread of its owner.
class DocumentInfo : public Basalt::Node {
public:
    explicit DocumentInfo(QByteArray documentId);

    QByteArray const& documentId() const { return m_documentId; }
    QString documentName() const { return nameAttribute.value(); }
    DocumentState documentState() const { return stateAttribute.value(); }
    bool hasMainPassword() const { return mainPasswordAttribute.value(); }
    bool hasAccessPassword() const { return accessPasswordAttribute.value(); }
    /// The number of nodes in the document's persistent tree.
    unsigned long size() const { return sizeAttribute.value(); }
    Cobalt::TimeStamp createdTimestamp() const { return createdAttribute.value(); }
    /// When the document last changed, to within a second: changes within a second of the last one noted
    /// don't move it.
    Cobalt::TimeStamp modifiedTimestamp() const { return modifiedAttribute.value(); }

    /// Every value, encoded as the server stores values, for a message.
    std::vector<Wire::AttributeValue> encodedValues(Kelp::TypeRegistry const& registry) const;
    /// Takes values of a message on the user layer. A value of another type or an unknown name is skipped.
    void applyValues(std::vector<Wire::AttributeValue> const& values, Kelp::TypeRegistry const& registry);

    Basalt::AttributeT<QString> nameAttribute;
    Basalt::AttributeT<DocumentState> stateAttribute;
    Basalt::AttributeT<bool> mainPasswordAttribute;
    Basalt::AttributeT<bool> accessPasswordAttribute;
    Basalt::AttributeT<unsigned long> sizeAttribute;
    Basalt::AttributeT<Cobalt::TimeStamp> createdAttribute;
    Basalt::AttributeT<Cobalt::TimeStamp> modifiedAttribute;

private:
    QByteArray m_documentId;
};

} // namespace Tessel
