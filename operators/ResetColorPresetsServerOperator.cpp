#include "operators/ResetColorPresetsServerOperator.hpp"

#include "attributes/AttributeNumericT.hpp"
#include "operators/ServerOperators.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"

namespace Datamodel {

namespace {

constexpr unsigned kColorPmaVectorTypeCode = Kelp::TYPE_VECTOR_FLAG | Kelp::TYPE_COLOR_PMA;

void setPresetVector(Tessel::ServerNode& root, Tessel::ServerDocument& document, QByteArray const& key,
                     std::vector<Cobalt::ColorPMA> const& colors) {
    QByteArray const bytes = encodeColorPresets(document, colors);
    auto const count = static_cast<unsigned>(colors.size());
    std::shared_ptr<Tessel::ServerAttribute> const present = root.childAttribute(key);
    if (present && present->typeCode() == kColorPmaVectorTypeCode && present->vectorContainer()) {
        present->vectorContainer()->setValues(bytes, count, 0);
        return;
    }
    if (present) {
        root.removeChildAttribute(key, false);
    }
    root.addChildAttribute(std::make_shared<Tessel::ServerAttributeVectorContainer>(
                               &document, key, bytes, count, kColorPmaVectorTypeCode),
                           false);
}

} // namespace

void ResetColorPresetsServerOperator::addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) {
    m_document = document;
}

void ResetColorPresetsServerOperator::rootNodeUpdated() {
    LiveRoot const live(m_document);
    if (live && !live.root->hasOperator(shared_from_this())) {
        live.root->addOperator(shared_from_this());
    }
}

void ResetColorPresetsServerOperator::addedToNode(std::shared_ptr<Tessel::ServerNode> node) {
    auto const attributes = node->childAttributes();
    for (auto const& attribute : attributes) {
        childAttributeAdded(attribute);
    }
}

void ResetColorPresetsServerOperator::childAttributeAdded(
    std::shared_ptr<Tessel::ServerAttribute> attribute) {
    if (attribute && attribute->name() == s_resetRequestAttr) {
        attribute->addOperator(shared_from_this());
    }
}

void ResetColorPresetsServerOperator::valueSetSimple(Tessel::ServerAttributeSimple& attribute) {
    Basalt::AttributeT<int> request;
    if (attribute.name() == s_resetRequestAttr && attribute.isValid() && attribute.valueToAttr(request) &&
        request.value() != 0) {
        reseed();
    }
}

void ResetColorPresetsServerOperator::reseed() {
    LiveRoot const live(m_document);
    if (!live) {
        return;
    }
    std::shared_ptr<Tessel::ServerDocument> const& document = live.document;
    std::shared_ptr<Tessel::ServerNode> const& root = live.root;
    ServerOwnChanges const serverOwn(*document);
    ColorPresetDefaults const defaults = effectiveColorPresetDefaults();
    setPresetVector(*root, *document, "annotation-color-presets", defaults.annotationPresets);
    setPresetVector(*root, *document, "note-background-color-presets", defaults.noteBackgroundPresets);
    setPresetVector(*root, *document, "connector-color-presets", defaults.annotationPresets);
}

} // namespace Datamodel
