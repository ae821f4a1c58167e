#include "operators/InitCanvasServerOperator.hpp"

#include "attributes/AttributeColor.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "operators/ServerOperators.hpp"
#include "operators/ServerTreeSearch.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/Uuid.hpp"

#include <QColor>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Datamodel {

namespace {

// Stored type codes of the attributes this operator checks; fixed by the stored form, never renumber.
constexpr unsigned kInt64TypeCode = Kelp::TYPE_INT64;
constexpr unsigned kInt64VectorTypeCode = Kelp::TYPE_VECTOR_FLAG | Kelp::TYPE_INT64;
constexpr unsigned kColorPmaVectorTypeCode = Kelp::TYPE_VECTOR_FLAG | Kelp::TYPE_COLOR_PMA;
static_assert(kInt64TypeCode == 11 && kInt64VectorTypeCode == 0x100000b &&
                  kColorPmaVectorTypeCode == 0x1000030,
              "stored type codes changed");

struct FixedChild {
    char const* name;
    char const* typeKey;
    /// The "folder-name" of a folder; null for other types.
    char const* folderName;
};

// The fixed children of a canvas root that the operator creates when missing, in the order it makes them.
constexpr FixedChild kFixedChildren[] = {
    {"browser-bookmarks", "tavola_bookmark_container", nullptr},
    {"ip-stream-bookmarks", "tavola_bookmark_container", nullptr},
    {"background", "tavola_canvas_background", nullptr},
    {"upload-folder", "tavola_folder", "Upload folder"},
};

/// The simple form of the node's attribute `name` if it holds a value; null otherwise.
Tessel::ServerAttributeSimple* simpleValue(Tessel::ServerNode const& node, QByteArray const& name) {
    std::shared_ptr<Tessel::ServerAttribute> const attribute = node.childAttribute(name);
    Tessel::ServerAttributeSimple* const simple = attribute ? attribute->simpleAttribute() : nullptr;
    return simple && simple->isValid() ? simple : nullptr;
}

/// Whether the attribute `name` of `node` holds the name of a node of the tree.
bool isNode(Tessel::ServerNode const& node, QByteArray const& name, ServerNodeNames const& names) {
    Tessel::ServerAttributeSimple* const simple = simpleValue(node, name);
    Basalt::AttributeT<QString> text;
    if (!simple || !simple->valueToAttr(text) || text.value().isEmpty()) {
        return false;
    }
    return names.contains(text.value().toLatin1());
}

bool isFinite(float value) {
    return std::isfinite(value);
}

/// The colour components a note stores for `name`, premultiplied or not; false when it holds none.
bool readColorComponents(Tessel::ServerAttributeSimple const& simple, Cobalt::Color& color) {
    Basalt::AttributeT<Cobalt::ColorPMA> premultiplied;
    if (simple.valueToAttr(premultiplied)) {
        Cobalt::ColorPMA const& value = premultiplied.value();
        color = Cobalt::Color(value.red, value.green, value.blue, value.alpha);
        return true;
    }
    Basalt::AttributeT<Cobalt::Color> plain;
    if (simple.valueToAttr(plain)) {
        color = plain.value();
        return true;
    }
    return false;
}

void handleColorPreset(Tessel::ServerNode& root, Tessel::ServerDocument& document, QByteArray const& key,
                       std::vector<Cobalt::ColorPMA> const& colors) {
    if (root.childAttribute(key)) {
        return;
    }
    root.addChildAttribute(std::make_shared<Tessel::ServerAttributeVectorContainer>(
                               &document, key, encodeColorPresets(document, colors),
                               static_cast<unsigned>(colors.size()), kColorPmaVectorTypeCode),
                           false);
}

} // namespace

void InitCanvasServerOperator::addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) {
    m_document = document;
}

void InitCanvasServerOperator::rootNodeUpdated() {
    LiveRoot const live(m_document);
    if (!live) {
        return;
    }
    std::shared_ptr<Tessel::ServerDocument> const& document = live.document;
    std::shared_ptr<Tessel::ServerNode> const& root = live.root;
    ServerOwnChanges const serverOwn(*document);

    std::vector<std::shared_ptr<Tessel::ServerNode>> created;
    for (FixedChild const& fixed : kFixedChildren) {
        if (root->childNode(fixed.name)) {
            continue;
        }
        created.push_back(makeServerNode(*document, fixed.name, fixed.typeKey));
        if (fixed.folderName) {
            created.back()->setAttributeValue<QString>("folder-name", QString::fromUtf8(fixed.folderName));
        }
    }
    if (std::shared_ptr<Tessel::ServerNode> const connectors = root->childNode("connectors")) {
        fixConnectors(*document, *root, *connectors);
    } else {
        created.push_back(makeServerNode(*document, "connectors", "tavola_connector_container"));
    }
    fixDepth(*root);
    fixAnchors(*root, *document);
    setColorPresets(*root, *document);
    findAndAddTextColorToNote(*root);
    // Last, so that the repairs above never see the new children.
    for (auto const& node : created) {
        root->addChildNode(node, true);
    }
}

void InitCanvasServerOperator::fixConnectors(Tessel::ServerDocument&, Tessel::ServerNode const& root,
                                             Tessel::ServerNode& connectors) {
    // One walk for every connector's two look-ups, so that a big canvas isn't searched once per end.
    ServerNodeNames const names(root);
    std::vector<QByteArray> unsound;
    for (auto const& entry : connectors.childNodes()) {
        Tessel::ServerNode const& connector = *entry.second;
        if (connector.typeKey() == "tavola_connector" &&
            !(isNode(connector, "src", names) && isNode(connector, "dst", names))) {
            unsound.push_back(entry.first);
        }
    }
    // removeChildNode tells the document of each node it takes out.
    for (QByteArray const& name : unsound) {
        connectors.removeChildNode(name);
    }
}

void InitCanvasServerOperator::setDepth(Tessel::ServerNode& node, float depth) {
    std::shared_ptr<Tessel::ServerAttribute> const attribute = node.childAttribute("depth");
    if (Tessel::ServerAttributeSimple* const simple = attribute ? attribute->simpleAttribute() : nullptr) {
        Basalt::AttributeT<float> temporary;
        temporary = depth;
        simple->setValueFromAttr(temporary, ~0U);
    }
}

void InitCanvasServerOperator::fixDepth(Tessel::ServerNode const& node) {
    struct Entry {
        float depth;
        Tessel::ServerNode* child;
    };
    std::vector<Entry> entries;
    for (auto const& entry : node.childNodes()) {
        fixDepth(*entry.second);
        Tessel::ServerAttributeSimple* const simple = simpleValue(*entry.second, "depth");
        Basalt::AttributeT<float> depth;
        if (simple && simple->valueToAttr(depth)) {
            entries.push_back({depth.value(), entry.second.get()});
        }
    }
    // Ascending depth, equal depths in name order; a NaN, which compares with nothing, goes last.
    std::stable_sort(entries.begin(), entries.end(), [](Entry const& a, Entry const& b) {
        return std::isnan(a.depth) || std::isnan(b.depth) ? !std::isnan(a.depth) && std::isnan(b.depth)
                                                          : a.depth < b.depth;
    });
    float last = 0.0f;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        Entry const& entry = entries[i];
        float const lowest = i == 0 ? 1.0f : last + 0.5f;
        if (isFinite(entry.depth) && entry.depth >= lowest) {
            last = entry.depth;
            continue;
        }
        last = i == 0 ? 10.0f : last + 1.0f;
        setDepth(*entry.child, last);
    }
}

std::set<QByteArray> InitCanvasServerOperator::findAndFixAnchorIds(Tessel::ServerNode const& root,
                                                                   Tessel::ServerDocument& document) {
    std::set<QByteArray> ids;
    for (auto const& entry : root.childNodes()) {
        Tessel::ServerNode& anchor = *entry.second;
        if (anchor.typeKey() != "tavola_anchor") {
            continue;
        }
        std::shared_ptr<Tessel::ServerAttribute> attribute = anchor.childAttribute("anchor-id");
        Tessel::ServerAttributeSimple* simple = attribute ? attribute->simpleAttribute() : nullptr;
        if (!simple || attribute->typeCode() != kInt64TypeCode) {
            if (attribute) {
                Cobalt::Trace::warning("InitCanvasServerOperator::fixAnchors # corrupted anchor, wrong "
                                       "anchor-id type (%u), fixing",
                                       attribute->typeCode());
                anchor.removeChildAttribute("anchor-id", false);
            } else {
                Cobalt::Trace::warning(
                    "InitCanvasServerOperator::fixAnchors # found broken anchor without an id, fixing");
            }
            std::shared_ptr<Tessel::ServerAttributeSimple> const fresh =
                Tessel::ServerAttributeSimple::createT<long>(&document, "anchor-id",
                                                             Basalt::Node::generateId());
            anchor.addChildAttribute(fresh, false);
            simple = fresh.get();
        }
        if (ids.count(simple->bytes())) {
            Cobalt::Trace::warning(
                "InitCanvasServerOperator::fixAnchors # found duplicate anchor-id, fixing");
            while (ids.count(simple->bytes())) {
                Basalt::AttributeT<long> temporary;
                temporary = Basalt::Node::generateId();
                simple->setValueFromAttr(temporary, ~0U);
            }
        }
        ids.insert(simple->bytes());
    }
    return ids;
}

void InitCanvasServerOperator::fixAnchors(Tessel::ServerNode& root, Tessel::ServerDocument& document) {
    std::set<QByteArray> ids = findAndFixAnchorIds(root, document);
    std::shared_ptr<Tessel::ServerAttribute> const attribute = root.childAttribute("anchor-ids");
    Tessel::ServerAttributeVectorContainer* list =
        attribute && attribute->typeCode() == kInt64VectorTypeCode ? attribute->vectorContainer() : nullptr;
    std::shared_ptr<Tessel::ServerAttributeVectorContainer> rebuilt;
    if (!list) {
        if (!attribute && ids.empty()) {
            return;
        }
        Cobalt::Trace::warning("InitCanvasServerOperator::fixAnchors # anchor-ids is missing, rebuilding");
        if (attribute) {
            root.removeChildAttribute("anchor-ids", false);
        }
        // Built and dropped: the list stays absent until a client writes one.
        rebuilt = std::make_shared<Tessel::ServerAttributeVectorContainer>(&document, "anchor-ids",
                                                                           kInt64VectorTypeCode);
        list = rebuilt.get();
    }
    QByteArray bytes;
    unsigned count = 0;
    for (unsigned i = 0; i < list->count(); ++i) {
        QByteArray const id = list->at(i);
        if (ids.erase(id) == 0) {
            Cobalt::Trace::warning(
                "InitCanvasServerOperator::fixAnchors # anchor-ids contains an extra id, removing");
            continue;
        }
        bytes += id;
        ++count;
    }
    for (QByteArray const& id : ids) {
        Cobalt::Trace::warning("InitCanvasServerOperator::fixAnchors # anchor-ids is missing an id, adding");
        bytes += id;
        ++count;
    }
    if (bytes != list->values()) {
        list->setValues(bytes, count, 0);
    }
}

void InitCanvasServerOperator::setColorPresets(Tessel::ServerNode& root, Tessel::ServerDocument& document) {
    ColorPresetDefaults const defaults = effectiveColorPresetDefaults();
    handleColorPreset(root, document, "annotation-color-presets", defaults.annotationPresets);
    handleColorPreset(root, document, "note-background-color-presets", defaults.noteBackgroundPresets);
    handleColorPreset(root, document, "note-text-color-presets", {});
    handleColorPreset(root, document, "connector-color-presets", defaults.annotationPresets);
    if (!root.childAttribute("reset-color-presets-request")) {
        root.setAttributeValue<int>("reset-color-presets-request", 0);
    }
}

void InitCanvasServerOperator::findAndAddTextColorToNote(Tessel::ServerNode const& root) {
    for (auto const& entry : root.childNodes()) {
        addMissingNoteTextColor(*entry.second);
    }
}

void InitCanvasServerOperator::addMissingNoteTextColor(Tessel::ServerNode& node) {
    if (node.typeKey() != "tavola_note" || node.childAttribute("text-color")) {
        return;
    }
    Cobalt::Color background("#ffffff");
    if (Tessel::ServerAttributeSimple const* const stored = simpleValue(node, "background-color")) {
        readColorComponents(*stored, background);
    }
    // Premultiplied and back: a fully transparent background counts as black.
    background.red *= background.alpha;
    background.green *= background.alpha;
    background.blue *= background.alpha;
    if (std::fabs(background.alpha) > 1.1920929e-7f) {
        background.red /= background.alpha;
        background.green /= background.alpha;
        background.blue /= background.alpha;
    }
    Cobalt::Color const text(background.toQColor().lightness() <= 120 ? "white" : "black");
    // In the type the note's class declares; black and white are opaque, so premultiplying changes nothing.
    Basalt::AttributeT<Cobalt::ColorPMA> textColor;
    textColor = Cobalt::ColorPMA(text);
    node.addChildAttribute(
        Tessel::ServerAttributeSimple::createAttr(node.document(), "text-color", textColor), false);
    node.addChildAttribute(
        Tessel::ServerAttributeSimple::createT<bool>(node.document(), "auto-text-color", false), false);
}

} // namespace Datamodel
