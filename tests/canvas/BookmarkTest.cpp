#include "canvas/Bookmark.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Basalt::Attribute;
using Datamodel::Bookmark;
using Datamodel::BookmarkContainer;

class Other : public Datamodel::CanvasElement {};

} // namespace

TEST(Bookmark, AttributesAreDeclaredInOrderWithTheirDefaults) {
    Bookmark bookmark;
    std::vector<TestSupport::DeclaredAttribute> const rows = {
        {"url", "string", "", Attribute::LAYER_DEFAULT},
        {"title", "string", "", Attribute::LAYER_DEFAULT},
        {"order", "float", "0", Attribute::LAYER_DEFAULT},
    };
    TestSupport::expectDeclaredAttributes(bookmark, rows);
}

TEST(Bookmark, ContainerDeclaresNoAttributes) {
    BookmarkContainer container;
    EXPECT_TRUE(container.attributes().empty());
}

TEST(Bookmark, BothClassesHandFlagOneToTheElement) {
    EXPECT_EQ(Bookmark().flags().bits(), 1u);
    EXPECT_EQ(BookmarkContainer().flags().bits(), 1u);
}

TEST(Bookmark, TheTitleIsTheBookmarksTitleElseTheCommonDefault) {
    Bookmark bookmark;
    EXPECT_EQ(bookmark.uiTitle(), QStringLiteral("Canvas element"));
    bookmark.title = QStringLiteral("News");
    EXPECT_EQ(bookmark.uiTitle(), QStringLiteral("News"));
}

TEST(Bookmark, CreateBookmarkWritesTheValuesOnTheUserLayerAndAddsItUnderItsGuid) {
    BookmarkContainer container;
    Bookmark* bookmark =
        container.createBookmark(QStringLiteral("https://example.org/"), QStringLiteral("Example"), 2.5f);
    ASSERT_TRUE(bookmark);
    EXPECT_FALSE(bookmark->guid().isEmpty());
    EXPECT_EQ(bookmark->name(), bookmark->guid());
    EXPECT_EQ(bookmark->host(), &container);
    EXPECT_EQ(bookmark->url.value(), QStringLiteral("https://example.org/"));
    EXPECT_EQ(bookmark->title.value(), QStringLiteral("Example"));
    EXPECT_EQ(bookmark->order.value(), 2.5f);
    for (Attribute const* attribute :
         {static_cast<Attribute const*>(&bookmark->url), static_cast<Attribute const*>(&bookmark->title),
          static_cast<Attribute const*>(&bookmark->order)}) {
        EXPECT_TRUE(attribute->isValueDefinedOnLayer(Attribute::LAYER_USER)) << attribute->name().constData();
    }
    EXPECT_EQ(container.bookmark(QString::fromUtf8(bookmark->guid())), bookmark);
}

TEST(Bookmark, AnUnknownNameGivesNoBookmark) {
    BookmarkContainer container;
    container.createBookmark(QStringLiteral("https://example.org/"), QStringLiteral("Example"), 1.0f);
    EXPECT_EQ(container.bookmark(QStringLiteral("no-such-name")), nullptr);
}

TEST(Bookmark, AChildThatIsNoBookmarkIsNotOne) {
    BookmarkContainer container;
    auto* other = new Other();
    other->initName();
    container.addAttribute(other);
    EXPECT_EQ(container.bookmark(QString::fromUtf8(other->guid())), nullptr);
    EXPECT_TRUE(container.bookmarks().empty());
}

TEST(Bookmark, TheSameAddressAndTitleTwiceAreTwoBookmarks) {
    BookmarkContainer container;
    Bookmark* first =
        container.createBookmark(QStringLiteral("https://example.org/"), QStringLiteral("Ex"), 1.0f);
    Bookmark* second =
        container.createBookmark(QStringLiteral("https://example.org/"), QStringLiteral("Ex"), 1.0f);
    EXPECT_NE(first, second);
    EXPECT_NE(first->guid(), second->guid());
    EXPECT_EQ(container.bookmarks().size(), 2u);
}

TEST(Bookmark, BookmarksComeInChildOrderNotSortedByOrder) {
    BookmarkContainer container;
    Bookmark* late =
        container.createBookmark(QStringLiteral("https://b.example/"), QStringLiteral("B"), 9.0f);
    Bookmark* early =
        container.createBookmark(QStringLiteral("https://a.example/"), QStringLiteral("A"), 1.0f);
    EXPECT_EQ(container.bookmarks(), (std::vector<Bookmark*>{late, early}));
}

TEST(Bookmark, CopyTakesTheUserValuesAndLeavesDefaults) {
    Bookmark source;
    source.url = QStringLiteral("https://example.org/");
    source.order = 3.0f;
    Bookmark target;
    EXPECT_TRUE(target.copyValues(source));
    EXPECT_EQ(target.url.value(), QStringLiteral("https://example.org/"));
    EXPECT_EQ(target.order.value(), 3.0f);
    EXPECT_FALSE(target.title.isValueDefinedOnLayer(Attribute::LAYER_USER)) << "a default isn't copied";

    Other other;
    Bookmark untouched;
    EXPECT_FALSE(untouched.copyValues(other));
    EXPECT_FALSE(untouched.url.isValueDefinedOnLayer(Attribute::LAYER_USER));
}
