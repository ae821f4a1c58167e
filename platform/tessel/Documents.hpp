#pragma once

#include "platform/basalt/Node.hpp"
#include "platform/tessel/DocumentInfo.hpp"
#include "platform/tessel/WireFormat.hpp"

#include <QByteArray>

#include <map>
#include <memory>
#include <vector>

namespace Kelp {
class TypeRegistry;
}

namespace Tessel {

/// A client's list of the documents its server holds, kept true by the server: one `DocumentInfo` per
/// document, whether or not the client has it open.
///
/// Raises the node events "document-added" and "document-removed" as documents come and go; the data of
/// each is one string, the document's id. Used on the client's thread.
class Documents : public Basalt::Node {
public:
    Documents();

    /// The information of a document; null for a document the server doesn't list.
    std::shared_ptr<DocumentInfo> findDocumentInfoById(QByteArray const& id) const;
    /// The ids of the listed documents, in byte order.
    std::vector<QByteArray> documentIds() const;

    // The platform's side.

    /// Takes the server's values of the document `id`; a document not listed yet is added and announced.
    void list(QByteArray const& id, std::vector<Wire::AttributeValue> const& values,
              Kelp::TypeRegistry const& registry);
    /// Drops the document `id` and announces it; nothing when it isn't listed.
    void unlist(QByteArray const& id);

private:
    void announce(char const* event, QByteArray const& id);

    std::map<QByteArray, std::shared_ptr<DocumentInfo>> m_infos;
};

} // namespace Tessel
