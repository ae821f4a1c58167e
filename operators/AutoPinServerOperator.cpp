#include "operators/AutoPinServerOperator.hpp"

#include "operators/ServerOperators.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"

#include <QTimer>

#include <exception>

namespace Datamodel {

namespace {

bool isWatched(QByteArray const& name) {
    return name == "location" || name == "scale" || name == "size" || name == "pinned";
}

bool isTableCell(std::shared_ptr<Tessel::ServerNode> const& node) {
    return node->typeKey() == "tavola_table_cell";
}

} // namespace

AutoPinServerDocumentOperator::AutoPinServerDocumentOperator(float timeoutSeconds)
    : m_timeoutSeconds(timeoutSeconds) {}

// Deleting the timer stops the whole mechanism.
AutoPinServerDocumentOperator::~AutoPinServerDocumentOperator() = default;

void AutoPinServerDocumentOperator::addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) {
    m_document = document;
}

void AutoPinServerDocumentOperator::rootNodeUpdated() {
    LiveRoot const live(m_document);
    if (!live) {
        return;
    }
    if (!m_timer) {
        m_timer = std::make_unique<QTimer>();
        m_timer->setSingleShot(true);
        // A coarse timer may fire 5 % early: a minute's wait would end seconds before the canvas was still.
        m_timer->setTimerType(Qt::PreciseTimer);
        // The timer dies with the operator, so `this` outlives every signal it sends.
        QObject::connect(m_timer.get(), &QTimer::timeout, [this] { timeout(); });
        m_timer->start(intervalMilliseconds());
    }
    live.root->addOperator(shared_from_this());
}

void AutoPinServerDocumentOperator::addedToNode(std::shared_ptr<Tessel::ServerNode> node) {
    std::shared_ptr<AutoPinServerDocumentOperator> const self = shared_from_this();
    // A copy: attaching tells the child, which may change nothing here but must not see a moving list.
    auto const children = node->childNodes();
    for (auto const& entry : children) {
        if (!entry.second->hasOperator(self)) {
            entry.second->addOperator(self);
        }
    }
    auto const attributes = node->childAttributes();
    for (auto const& attribute : attributes) {
        childAttributeAdded(attribute);
    }
}

void AutoPinServerDocumentOperator::childAttributeAdded(std::shared_ptr<Tessel::ServerAttribute> attribute) {
    if (isWatched(attribute->name())) {
        attribute->addOperator(shared_from_this());
    }
}

void AutoPinServerDocumentOperator::childNodeAdded(std::shared_ptr<Tessel::ServerNode> node) {
    std::shared_ptr<AutoPinServerDocumentOperator> const self = shared_from_this();
    if (node->hasOperator(self)) {
        return;
    }
    node->addOperator(self);
    touched();
}

void AutoPinServerDocumentOperator::valueSetSimple(Tessel::ServerAttributeSimple&) {
    touched();
}

void AutoPinServerDocumentOperator::touched() {
    if (m_pinning || !m_timer) {
        return;
    }
    m_timer->stop();
    m_timer->start(intervalMilliseconds());
}

bool AutoPinServerDocumentOperator::isAutoPinnable(std::shared_ptr<Tessel::ServerNode> const& node) {
    if (node->typeKey() == "tavola_shared_canvas") {
        return false;
    }
    std::shared_ptr<Tessel::ServerNode> const parent = node->parent();
    if (!parent || isTableCell(parent)) {
        return false;
    }
    std::shared_ptr<Tessel::ServerNode> const grandparent = parent->parent();
    return !grandparent || !isTableCell(grandparent);
}

void AutoPinServerDocumentOperator::pinHierarchyRecursive(Tessel::ServerDocument& document,
                                                          std::shared_ptr<Tessel::ServerNode> const& node) {
    Tessel::ServerNodeTypeDefinition const* const type = document.nodeTypes().type(node->typeKey());
    if (type && type->attributeTypeDefinition("pinned", Kelp::TYPE_BOOL) && isAutoPinnable(node)) {
        node->setAttributeValue<bool>("pinned", true);
    }
    // A copy: a child may go while the walk writes.
    auto const children = node->childNodes();
    for (auto const& entry : children) {
        pinHierarchyRecursive(document, entry.second);
    }
}

void AutoPinServerDocumentOperator::timeout() {
    std::shared_ptr<Tessel::ServerDocument> const document = m_document.lock();
    if (!document) {
        return;
    }
    // The walk's own writes to "pinned" are no touch.
    m_pinning = true;
    try {
        pinHierarchyRecursive(*document, document->rootNode());
    } catch (std::exception const& failure) {
        Cobalt::Trace::error("AutoPinServerDocumentOperator::timeout # %s", failure.what());
    }
    m_pinning = false;
}

bool AutoPinServerDocumentOperator::isCounting() const {
    return m_timer && m_timer->isActive();
}

} // namespace Datamodel
