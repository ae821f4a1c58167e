#include "canvas/SharedCanvas.hpp"

#include "canvas/Anchor.hpp"
#include "canvas/Annotation.hpp"
#include "canvas/Bookmark.hpp"
#include "canvas/Browser.hpp"
#include "canvas/CanvasBackground.hpp"
#include "canvas/CanvasLink.hpp"
#include "canvas/Connector.hpp"
#include "canvas/Folder.hpp"
#include "canvas/Note.hpp"
#include "canvas/Presentation.hpp"
#include "canvas/RdpConnection.hpp"
#include "canvas/Table.hpp"
#include "framework/ElementFactoryOnce.hpp"
#include "media/Asset.hpp"
#include "media/ImageAsset.hpp"
#include "media/PDFAsset.hpp"
#include "media/VideoAsset.hpp"
#include "media/VideoOutputArea.hpp"
#include "media/VideoStream.hpp"
#include "platform/cobalt/Mutex.hpp"
#include "platform/tessel/Uuid.hpp"
#include "session/Connection.hpp"
#include "session/Interaction.hpp"
#include "session/Leadership.hpp"
#include "session/TransientRoot.hpp"
#include "session/View.hpp"

#include <QSet>

#include <algorithm>
#include <mutex>

namespace Datamodel {

namespace {

Cobalt::Mutex s_canvasesMutex(false);
QSet<SharedCanvas*> s_canvases;
std::shared_ptr<Tessel::ElementFactory> s_elementFactory;
std::atomic<bool> s_elementFactoryBuilt{false};

std::vector<Cobalt::ColorPMA> premultiplied(std::initializer_list<char const*> texts) {
    std::vector<Cobalt::ColorPMA> colors;
    for (char const* text : texts) {
        colors.push_back(Cobalt::toPMA(Cobalt::Color(text)));
    }
    return colors;
}

std::shared_ptr<Tessel::AttributeGroups> lockGroup(QVector<QByteArray> const& keys) {
    auto groups = std::make_shared<Tessel::AttributeGroups>();
    groups->addLockGroup(keys);
    return groups;
}

std::shared_ptr<Tessel::ElementFactory> buildCanvasFactory() {
    QVector<QByteArray> const movement = CanvasItem::movementAttributeNames();
    auto const movementGroups = lockGroup(movement);
    auto const cellGroups = std::make_shared<Tessel::AttributeGroups>();
    for (char const* key : {"depth", "location", "scale", "size"}) {
        cellGroups->addAttribute(key);
    }
    auto const containerGroups = lockGroup(movement); // the same keys, but an object of its own
    auto const noteGroups = lockGroup(movement + QVector<QByteArray>{"text"});
    auto const assetGroups = lockGroup(movement + QVector<QByteArray>{"model-yaw", "model-pitch"});

    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<Anchor>("tavola_anchor", movementGroups);
    factory->addFactory<Annotation>("tavola_annotation", nullptr);
    factory->addFactory<Browser>("tavola_browser", containerGroups);
    factory->addFactory<Bookmark>("tavola_bookmark", containerGroups);
    factory->addFactory<BookmarkContainer>("tavola_bookmark_container", containerGroups);
    factory->addFactory<Asset>("tavola_asset", assetGroups);
    factory->addFactory<CanvasLink>("tavola_canvas_link", movementGroups);
    factory->addFactory<ImageAsset>("tavola_image_asset", movementGroups);
    factory->addFactory<Note>("tavola_note", noteGroups);
    factory->addFactory<PDFAsset>("tavola_pdf_asset", movementGroups);
    factory->addFactory<VideoAsset>("tavola_video_asset", movementGroups);
    factory->addFactory<IPVideoStream>("tavola_video_ip_stream", movementGroups);
    factory->addFactory<ScreenShareStream>("tavola_video_screen_share_stream", movementGroups);
    factory->addFactory<AuxPcStream>("tavola_video_aux_pc_stream", movementGroups);
    factory->addFactory<SharedCanvas>("tavola_shared_canvas", movementGroups);
    factory->addFactory<Table>("tavola_table", Table::makeDefault, movementGroups);
    factory->addFactory<TableCell>("tavola_table_cell", cellGroups);
    factory->addFactory<VideoOutputAnchor>("tavola_video_output_anchor", movementGroups);
    factory->addFactory<VideoOutputMap>("tavola_video_output_map", movementGroups);
    factory->addFactory<VideoOutputSink>("tavola_video_output_sink", movementGroups);
    factory->addFactory<PresentationContainer>("tavola_presentation_container", nullptr);
    factory->addFactory<Presentation>("tavola_presentation", nullptr);
    factory->addFactory<PresentationSlide>("tavola_presentation_slide", nullptr);
    factory->addFactory<CanvasBackground>("tavola_canvas_background", nullptr);
    factory->addFactory<RdpConnection>("tavola_rdp_connection", movementGroups);
    factory->addFactory<Connector>("tavola_connector", movementGroups);
    factory->addFactory<ConnectorContainer>("tavola_connector_container", nullptr);
    factory->setTransientRoot<TransientRoot>("node");
    factory->addFactory<Connection>("tavola_connection", nullptr);
    factory->addFactory<Leadership>("tavola_leadership", nullptr);
    factory->addFactory<Interaction>("tavola_interaction", nullptr);
    factory->addFactory<View>("tavola_view", nullptr);
    factory->addFactory<FolderItem>("tavola_folder_item", nullptr);
    factory->addFactory<Folder>("tavola_folder", nullptr);
    return factory;
}

template <typename Child>
Child* childAs(Basalt::Node const& root, char const* name) {
    return dynamic_cast<Child*>(root.attribute(QByteArray(name)));
}

} // namespace

SharedCanvas::SharedCanvas()
    : CanvasItem(Tessel::Element::Flags::fromBits(1)), anchorIds(this, "anchor-ids"),
      annotationColorPresets(this, "annotation-color-presets"),
      noteBackgroundColorPresets(this, "note-background-color-presets"),
      noteTextColorPresets(this, "note-text-color-presets"),
      connectorColorPresets(this, "connector-color-presets"),
      resetColorPresetsRequest(this, "reset-color-presets-request", 0) {
    std::lock_guard<Cobalt::Mutex> lock(s_canvasesMutex);
    s_canvases.insert(this);
    noteBackgroundColorPresets.setValues(noteBackgroundPresetsDefaults());
    setName(Tessel::generateUuid());
}

SharedCanvas::~SharedCanvas() {
    std::lock_guard<Cobalt::Mutex> lock(s_canvasesMutex);
    s_canvases.remove(this);
}

PresentationContainer* SharedCanvas::presentations() const {
    return childAs<PresentationContainer>(*this, "presentations");
}
CanvasBackground* SharedCanvas::background() const {
    return childAs<CanvasBackground>(*this, "background");
}
ConnectorContainer* SharedCanvas::connectors() const {
    return childAs<ConnectorContainer>(*this, "connectors");
}
Folder* SharedCanvas::uploadFolder() {
    return childAs<Folder>(*this, "upload-folder");
}

void SharedCanvas::removeNullAnchorIds() {
    if (anchorIds.size() == 0) {
        return;
    }
    std::vector<long> kept = anchorIds.values();
    kept.erase(std::remove(kept.begin(), kept.end(), 0L), kept.end());
    if (kept.size() == anchorIds.size()) {
        return;
    }
    anchorIds.setValues(std::move(kept));
}

QByteArray SharedCanvas::documentType() {
    return QByteArrayLiteral("kx-tavola");
}
QString SharedCanvas::defaultSqlSchemaName() {
    return QStringLiteral("kx_tavola");
}
QString SharedCanvas::fileFormatSuffix(bool withDot) {
    return withDot ? QStringLiteral(".kxtavola") : QStringLiteral("kxtavola");
}

std::shared_ptr<Tessel::ElementFactory> SharedCanvas::elementFactory() {
    return elementFactoryOnce(s_elementFactoryBuilt, s_elementFactory, buildCanvasFactory);
}

std::vector<Cobalt::ColorPMA> const& SharedCanvas::noteBackgroundPresetsDefaults() {
    static std::vector<Cobalt::ColorPMA> const colors =
        premultiplied({"#3aaa34", "#1d71b8", "#fcea0f", "#e6332a", "#662583", "#ffffff"});
    return colors;
}

std::vector<Cobalt::ColorPMA> const& SharedCanvas::annotationPresetsDefaults() {
    static std::vector<Cobalt::ColorPMA> const colors =
        premultiplied({"#e7e7f2", "#000000", "#0539db", "#f7f700", "#08c41a", "#f20000"});
    return colors;
}

} // namespace Datamodel
