#include "canvas/Anchor.hpp"

#include "platform/basalt/Archive.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Basalt::Attribute;

} // namespace

TEST(Anchor, AttributesAreDeclaredInOrderWithTheirTypesDefaultsAndLayers) {
    Datamodel::Anchor anchor;
    std::vector<TestSupport::MemberRow> const rows = {
        {"anchor-name", "string", "", Attribute::LAYER_DEFAULT},
        {"anchor-id", "long", "0", Attribute::LAYER_USER},
    };
    std::vector<Attribute const*> const declared = {&anchor.anchorName, &anchor.anchorId};
    TestSupport::expectOwnAttributes(TestSupport::lastAttributes(anchor, rows.size()), declared, rows);
    EXPECT_EQ(anchor.flags().bits(), 0u);
}

TEST(Anchor, TwoNewAnchorsHaveDifferentIdentifiers) {
    Datamodel::Anchor first;
    Datamodel::Anchor second;
    EXPECT_NE(first.anchorId.value(), 0L) << "an identifier must be given, not left at the default";
    EXPECT_NE(first.anchorId.value(), second.anchorId.value());
}

TEST(Anchor, TheTitleIsTheSimplifiedNameOrNewAnchor) {
    struct Row {
        QString name;
        QString title;
    };
    Row const rows[] = {
        {QStringLiteral("  Meeting   room \t"), QStringLiteral("Meeting room")},
        {QStringLiteral("   "), QStringLiteral("New anchor")},
        {QString(), QStringLiteral("New anchor")},
        {QStringLiteral("Lobby"), QStringLiteral("Lobby")},
    };
    for (Row const& row : rows) {
        Datamodel::Anchor anchor;
        anchor.anchorName = row.name;
        EXPECT_EQ(anchor.uiTitle(), row.title) << "name \"" << row.name.toStdString() << "\"";
    }
}

TEST(Anchor, TheTitleIgnoresATitleAttribute) {
    Datamodel::Anchor anchor;
    EXPECT_EQ(anchor.uiTitleDefault(), QStringLiteral("New anchor"));
    EXPECT_EQ(anchor.attribute("title"), nullptr);
}

TEST(Anchor, ReadingAStoredAnchorKeepsTheStoredIdentifier) {
    Datamodel::Anchor stored;
    stored.anchorName = QStringLiteral("Entrance");
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = stored.serialize(archive);

    Datamodel::Anchor read;
    ASSERT_NE(read.anchorId.value(), stored.anchorId.value());
    EXPECT_TRUE(read.deserialize(element));
    EXPECT_EQ(read.anchorId.value(), stored.anchorId.value())
        << "the stored identifier must replace the new one";
    EXPECT_EQ(read.anchorName.value(), QStringLiteral("Entrance"));
}

TEST(Anchor, ACloneKeepsTheLocationButNeitherNameNorIdentifier) {
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<Datamodel::Anchor>("tavola_anchor");
    Datamodel::Anchor source;
    source.initName();
    source.location = Fathom::Vector2T<float>(120.0f, -40.0f);
    source.anchorName = QStringLiteral("Entrance");

    std::unique_ptr<Tessel::Element> clone(source.cloneElement(factory));
    auto* anchor = dynamic_cast<Datamodel::Anchor*>(clone.get());
    ASSERT_TRUE(anchor);
    EXPECT_EQ(anchor->location.value(), Fathom::Vector2T<float>(120.0f, -40.0f));
    EXPECT_TRUE(anchor->anchorName.value().isEmpty());
    EXPECT_NE(anchor->anchorId.value(), source.anchorId.value()) << "a clone is a new anchor";
}
