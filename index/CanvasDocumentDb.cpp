#include "index/CanvasDocumentDb.hpp"

#include "index/CanvasDocument.hpp"
#include "platform/cobalt/StringUtils.hpp"

#include <mutex>

namespace Datamodel {

std::weak_ptr<CanvasDocumentDb> CanvasDocumentDb::s_multiSingletonInstance;

std::shared_ptr<CanvasDocumentDb> CanvasDocumentDb::instance() {
    // Locked on every call rather than tried once outside the lock first: a weak pointer can't be read
    // while another thread writes it, and a record asks only once, when it binds.
    std::lock_guard<Cobalt::Mutex> lock(Cobalt::s_singletonMutex);
    if (std::shared_ptr<CanvasDocumentDb> existing = s_multiSingletonInstance.lock()) {
        return existing;
    }
    auto made = std::make_shared<CanvasDocumentDb>();
    s_multiSingletonInstance = made;
    return made;
}

bool CanvasDocumentDb::KeyLess::operator()(Key const& left, Key const& right) const {
    if (left.connectionId != right.connectionId) {
        return left.connectionId < right.connectionId;
    }
    return qstrcmp(left.canvasId, right.canvasId) < 0;
}

void CanvasDocumentDb::add(unsigned connectionId, CanvasDocument* document) {
    m_documents[Key{connectionId, document->canvasId()}] = document;
    onDocumentAdded.raise(connectionId, document);
}

void CanvasDocumentDb::remove(unsigned connectionId, CanvasDocument* document) {
    m_documents.erase(Key{connectionId, document->canvasId()});
    onDocumentRemoved.raise(connectionId, document);
}

CanvasDocument* CanvasDocumentDb::find(unsigned connectionId, QByteArray const& canvasId) const {
    auto const found = m_documents.find(Key{connectionId, canvasId});
    return found == m_documents.end() ? nullptr : found->second;
}

Tessel::Permission CanvasDocumentDb::linkPermission(QByteArray const& canvasId) const {
    for (auto const& entry : m_documents) {
        if (entry.first.canvasId == canvasId) {
            return entry.second->parsedLinkPermissions();
        }
    }
    return Tessel::PERMISSION_NONE;
}

} // namespace Datamodel
