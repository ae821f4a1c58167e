#include "operators/ServerOperators.hpp"

#include "attributes/AttributeColor.hpp"
#include "canvas/SharedCanvas.hpp"
#include "operators/AutoPinServerOperator.hpp"
#include "operators/InitCanvasServerOperator.hpp"
#include "operators/PresentationServerOperator.hpp"
#include "operators/ResetColorPresetsServerOperator.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/ServerOperators.hpp"
#include "platform/tessel/Uuid.hpp"

namespace Datamodel {

namespace {

// Written once at server start, before documents open, and only read after: no lock.
ColorPresetDefaults g_colorPresetDefaults;
bool s_registered = false;

} // namespace

void registerTavolaServerOperators(float autoPinSeconds, ColorPresetDefaults const& defaults) {
    if (s_registered) {
        Cobalt::Trace::error("Datamodel::registerTavolaServerOperators called more than once!");
        return;
    }
    s_registered = true;
    g_colorPresetDefaults = defaults;
    addTavolaServerOperators(Tessel::ServerDocumentTypeOperators::instance(), autoPinSeconds);
}

void addTavolaServerOperators(Tessel::ServerDocumentTypeOperators& registry, float autoPinSeconds) {
    QByteArray const canvas = SharedCanvas::documentType();
    if (autoPinSeconds > 0) {
        registry.add(canvas, [autoPinSeconds](Tessel::ServerDocument&) {
            return std::make_shared<AutoPinServerDocumentOperator>(autoPinSeconds);
        });
    }
    registry.add(canvas, [](Tessel::ServerDocument&) {
        return std::make_shared<PresentationServerDocumentOperator>();
    });
    registry.add(canvas,
                 [](Tessel::ServerDocument&) { return std::make_shared<InitCanvasServerOperator>(); });
    registry.add(canvas,
                 [](Tessel::ServerDocument&) { return std::make_shared<ResetColorPresetsServerOperator>(); });
}

ColorPresetDefaults const& configuredColorPresetDefaults() {
    return g_colorPresetDefaults;
}

ColorPresetDefaults effectiveColorPresetDefaults() {
    ColorPresetDefaults effective = g_colorPresetDefaults;
    if (effective.annotationPresets.empty()) {
        effective.annotationPresets = SharedCanvas::annotationPresetsDefaults();
    }
    if (effective.noteBackgroundPresets.empty()) {
        effective.noteBackgroundPresets = SharedCanvas::noteBackgroundPresetsDefaults();
    }
    return effective;
}

QByteArray encodeColorPresets(Tessel::ServerDocument const& document,
                              std::vector<Cobalt::ColorPMA> const& colors) {
    Basalt::AttributeT<Cobalt::ColorPMA> temporary;
    unsigned typeCode = 0;
    unsigned valueSize = 0;
    auto const encoder = document.typeRegistry().createSerializer(&temporary, typeCode, valueSize);
    QByteArray bytes;
    for (Cobalt::ColorPMA const& color : colors) {
        temporary = color;
        bytes += encoder ? encoder->serialize(temporary) : QByteArray();
    }
    return bytes;
}

std::shared_ptr<Tessel::ServerNode> makeServerNode(Tessel::ServerDocument& document, QByteArray const& name,
                                                   QByteArray const& typeKey) {
    auto node = std::make_shared<Tessel::ServerNode>(&document);
    node->setName(name);
    node->setTypeKey(typeKey);
    node->setGuid(Tessel::generateUuid());
    return node;
}

LiveRoot::LiveRoot(std::weak_ptr<Tessel::ServerDocument> const& weak)
    : document(weak.lock()), root(document ? document->rootNode() : nullptr) {}

ServerOwnChanges::ServerOwnChanges(Tessel::ServerDocument& document)
    : m_document(document), m_former(document.actingConnection()) {
    m_document.setActingConnection(nullptr);
}

ServerOwnChanges::~ServerOwnChanges() {
    m_document.setActingConnection(m_former);
}

} // namespace Datamodel
