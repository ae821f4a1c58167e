#include "client/EmblemFolder.hpp"

#include "canvas/Note.hpp"
#include "canvas/SharedCanvas.hpp"
#include "canvas/Table.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Basalt::Attribute;
using Datamodel::EmblemFolder;

} // namespace

TEST(EmblemFolder, UserAttributesFollowTheFoldersWithEmptyDefaults) {
    EmblemFolder folder;
    auto const& attributes = folder.attributes();
    ASSERT_GE(attributes.size(), 4u);
    std::size_t const first = attributes.size() - 4;
    QByteArray const keys[] = {"user-email", "user-first-name", "user-last-name", "user-emblem-code"};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(attributes[first + i].first, keys[i]);
        EXPECT_FALSE(attributes[first + i].second->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << keys[i].constData();
    }
    EXPECT_EQ(folder.userEmblemCode.type(), QByteArray("long"));
    EXPECT_EQ(folder.userEmblemCode.value(), 0);
    EXPECT_TRUE(folder.userEmail.value().isEmpty());
}

TEST(EmblemFolder, CopyValuesFromAPlainFolderReturnsFalseAndChangesNothing) {
    EmblemFolder folder;
    folder.userEmail = QStringLiteral("a@example.org");
    Datamodel::Folder plain;
    EXPECT_FALSE(folder.copyValues(plain));
    EXPECT_EQ(folder.userEmail.value(), QStringLiteral("a@example.org"));
}

TEST(EmblemFolder, OnlyUserLayerValuesAreCopied) {
    EmblemFolder source;
    source.userFirstName = QStringLiteral("Ada");
    source.userEmblemCode = 42L;
    EmblemFolder target;
    target.userLastName = QStringLiteral("Kept");
    EXPECT_TRUE(target.copyValues(source));
    EXPECT_EQ(target.userFirstName.value(), QStringLiteral("Ada"));
    EXPECT_EQ(target.userEmblemCode.value(), 42L);
    EXPECT_EQ(target.userLastName.value(), QStringLiteral("Kept")) << "a default on the source is not copied";
    EXPECT_FALSE(target.userEmail.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(EmblemFolder, ACloneOfACanvasNoteComesThroughThePersonalFolderFactory) {
    Datamodel::Note note;
    note.text = QStringLiteral("keep me");
    std::unique_ptr<Tessel::Element> clone(EmblemFolder::cloneElementHierarchy(&note));
    auto* copy = dynamic_cast<Datamodel::Note*>(clone.get());
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->text.value(), QStringLiteral("keep me"));
    EXPECT_EQ(EmblemFolder::cloneElementHierarchy(nullptr), nullptr);
}

TEST(EmblemFolder, AClonedTableKeepsTheCellsAttributeGroups) {
    Datamodel::Table table(Fathom::SizeT<int>(2, 2));
    table.createCells();
    std::unique_ptr<Tessel::Element> clone(EmblemFolder::cloneElementHierarchy(&table));
    auto* copy = dynamic_cast<Datamodel::Table*>(clone.get());
    ASSERT_TRUE(copy);
    auto const factory = EmblemFolder::elementFactory();
    auto const canvasCellGroups =
        Datamodel::SharedCanvas::elementFactory()->findAttributeGroupsForType("tavola_table_cell");
    int cells = 0;
    for (auto const& column : copy->collectCells()) {
        for (Datamodel::TableCell* cell : column) {
            ++cells;
            EXPECT_EQ(factory->findAttributeGroupsForType(factory->keyOf(*cell)), canvasCellGroups);
        }
    }
    EXPECT_EQ(cells, 4) << "every cell is cloned through the personal folder's factory";
}
