#include "platform/tessel/Documents.hpp"

namespace Tessel {

namespace {

constexpr char documentAdded[] = "document-added";
constexpr char documentRemoved[] = "document-removed";

} // namespace

Documents::Documents() {
    eventAddOut(documentAdded);
    eventAddOut(documentRemoved);
}

std::shared_ptr<DocumentInfo> Documents::findDocumentInfoById(QByteArray const& id) const {
    auto const found = m_infos.find(id);
    return found == m_infos.end() ? nullptr : found->second;
}

std::vector<QByteArray> Documents::documentIds() const {
    std::vector<QByteArray> ids;
    for (auto const& entry : m_infos) {
        ids.push_back(entry.first);
    }
    return ids;
}

void Documents::list(QByteArray const& id, std::vector<Wire::AttributeValue> const& values,
                     Kelp::TypeRegistry const& registry) {
    std::shared_ptr<DocumentInfo>& info = m_infos[id];
    bool const added = !info;
    if (added) {
        info = std::make_shared<DocumentInfo>(id);
    }
    info->applyValues(values, registry);
    if (added) {
        announce(documentAdded, id);
    }
}

void Documents::unlist(QByteArray const& id) {
    if (m_infos.erase(id) > 0) {
        announce(documentRemoved, id);
    }
}

void Documents::announce(char const* event, QByteArray const& id) {
    Cobalt::BinaryData data;
    data.writeString(id);
    eventSend(event, data);
}

} // namespace Tessel
