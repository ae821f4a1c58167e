#include "client/EmblemFolder.hpp"

#include "canvas/Annotation.hpp"
#include "canvas/Browser.hpp"
#include "canvas/CanvasLink.hpp"
#include "canvas/Note.hpp"
#include "canvas/SharedCanvas.hpp"
#include "canvas/Table.hpp"
#include "framework/ElementFactoryOnce.hpp"
#include "media/Asset.hpp"
#include "media/ImageAsset.hpp"
#include "media/PDFAsset.hpp"
#include "media/VideoAsset.hpp"

namespace Datamodel {

namespace {

std::shared_ptr<Tessel::ElementFactory> s_elementFactory;
std::atomic<bool> s_elementFactoryBuilt{false};

std::shared_ptr<Tessel::ElementFactory> buildPersonalFolderFactory() {
    // The very groups of the canvas factory, which is built first (the once-lock is recursive).
    std::shared_ptr<Tessel::AttributeGroups> const cellGroups =
        SharedCanvas::elementFactory()->findAttributeGroupsForType("tavola_table_cell");
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<FolderItem>("tavola_folder_item");
    factory->addFactory<Folder>("tavola_folder");
    factory->addFactory<EmblemFolder>("tavola_personal_folder");
    factory->addFactory<Annotation>("tavola_annotation");
    factory->addFactory<Asset>("tavola_asset");
    factory->addFactory<Browser>("tavola_browser");
    factory->addFactory<CanvasLink>("tavola_canvas_link");
    factory->addFactory<ImageAsset>("tavola_image_asset");
    factory->addFactory<Note>("tavola_note");
    factory->addFactory<PDFAsset>("tavola_pdf_asset");
    factory->addFactory<Table>("tavola_table", Table::makeDefault, nullptr);
    factory->addFactory<TableCell>("tavola_table_cell", cellGroups);
    factory->addFactory<VideoAsset>("tavola_video_asset");
    return factory;
}

} // namespace

EmblemFolder::EmblemFolder()
    : userEmail(this, "user-email", QString()), userFirstName(this, "user-first-name", QString()),
      userLastName(this, "user-last-name", QString()), userEmblemCode(this, "user-emblem-code", 0) {}

bool EmblemFolder::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<EmblemFolder const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = Folder::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(userEmail, other->userEmail);
    copyAttributeIfDefinedOnUserLayer(userFirstName, other->userFirstName);
    copyAttributeIfDefinedOnUserLayer(userLastName, other->userLastName);
    copyAttributeIfDefinedOnUserLayer(userEmblemCode, other->userEmblemCode);
    return copied;
}

QByteArray EmblemFolder::documentType() {
    return QByteArrayLiteral("personal-folder");
}

std::shared_ptr<Tessel::ElementFactory> EmblemFolder::elementFactory() {
    return elementFactoryOnce(s_elementFactoryBuilt, s_elementFactory, buildPersonalFolderFactory);
}

Tessel::Element* EmblemFolder::cloneElementHierarchy(CanvasElement const* element) {
    return element ? element->cloneElement(elementFactory()) : nullptr;
}

} // namespace Datamodel
