#include "index/CanvasDocument.hpp"

#include "tests/index/IndexDocument.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Basalt::Attribute;
using Datamodel::CanvasDocument;
using Datamodel::ServerIndex;
using Datamodel::ServerIndexFolder;
using IndexTest::addCanvas;
using IndexTest::addFolder;
using IndexTest::detachedUser;

Tessel::ResourcePermissions userEntry(int id, Tessel::Permission permission) {
    Tessel::ResourcePermissions permissions;
    permissions.acl.users.insert(id, {permission, 0});
    return permissions;
}

} // namespace

TEST(CanvasDocument, DeclaresTheNodeAttributesThenItsOwnInOrder) {
    CanvasDocument canvas;
    TestSupport::expectDeclaredAttributes(
        canvas, {
                    {"owner", "int", "0", Attribute::LAYER_DEFAULT},
                    {"permission-overrides", "resource-permissions", "", Attribute::LAYER_DEFAULT},
                    {".local-effective-permissions", "resource-permissions", "", Attribute::LAYER_DEFAULT},
                    {".local-in-trash", "bool", "false", Attribute::LAYER_DEFAULT},
                    {".local-access", "enum:Tessel::Permission", "none", Attribute::LAYER_DEFAULT},
                    {"preview", "asset", "", Attribute::LAYER_DEFAULT},
                    {"link-permission", "string", "", Attribute::LAYER_DEFAULT},
                    {"canvas-name", "string", "", Attribute::LAYER_DEFAULT},
                    {"demo-canvas", "bool", "false", Attribute::LAYER_DEFAULT},
                    {"has-main-password", "bool", "false", Attribute::LAYER_DEFAULT},
                    {"has-access-password", "bool", "false", Attribute::LAYER_DEFAULT},
                    {"size", "unsigned long", "0", Attribute::LAYER_DEFAULT},
                    {"created", "timestamp", "0", Attribute::LAYER_DEFAULT},
                    {"modified", "timestamp", "0", Attribute::LAYER_DEFAULT},
                    {"initial-main-password", "string", "", Attribute::LAYER_DEFAULT},
                    {"initial-access-password", "string", "", Attribute::LAYER_DEFAULT},
                    {"new-resolution", "size2:float", "-1 -1", Attribute::LAYER_DEFAULT},
                    {"new-width", "float", "-1", Attribute::LAYER_DEFAULT},
                    {"new-height", "float", "-1", Attribute::LAYER_DEFAULT},
                    {"canvas-id", "string", "", Attribute::LAYER_DEFAULT},
                });
    EXPECT_EQ(canvas.flags().bits(), 2u);
    EXPECT_EQ(canvas.previewUpdated, Cobalt::TimeStamp());
}

TEST(CanvasDocument, CanvasIdIsTheAttributeInUtf8) {
    CanvasDocument canvas;
    canvas.canvasIdAttribute = QString::fromUtf8("caf\u00e9-1");
    EXPECT_EQ(canvas.canvasId(), QByteArray("caf\xc3\xa9-1"));
}

TEST(CanvasDocument, FolderIdIsTheElementIdOfTheHost) {
    ServerIndexFolder folder;
    folder.setName("7");
    CanvasDocument* canvas = addCanvas(folder, "c");
    EXPECT_EQ(canvas->folderId(), QByteArray("7"));
    CanvasDocument detached;
    EXPECT_EQ(detached.folderId(), QByteArray()) << "no host, no folder id";
}

TEST(CanvasDocument, LinkPermissionsParseInAnyCaseButWhiteSpaceMatters) {
    struct Row {
        char const* text;
        Tessel::Permission expected;
    };
    Row const rows[] = {
        {"edit", Tessel::PERMISSION_EDIT},  {"EDIT", Tessel::PERMISSION_EDIT},
        {"eDiT", Tessel::PERMISSION_EDIT},  {" edit", Tessel::PERMISSION_NONE},
        {"edit ", Tessel::PERMISSION_NONE}, {"View", Tessel::PERMISSION_VIEW},
        {"none", Tessel::PERMISSION_NONE},  {"", Tessel::PERMISSION_NONE},
        {"owner", Tessel::PERMISSION_NONE}, {"nobody", Tessel::PERMISSION_NONE},
        {"2", Tessel::PERMISSION_NONE},     {"editor", Tessel::PERMISSION_NONE},
    };
    for (Row const& row : rows) {
        CanvasDocument canvas;
        canvas.linkPermission = QString::fromLatin1(row.text);
        EXPECT_EQ(canvas.parsedLinkPermissions(), row.expected) << '"' << row.text << '"';
    }
}

TEST(CanvasDocument, ALinkGrantHoldsForAnybodyAndABetterEntryWins) {
    struct Row {
        char const* behaviour;
        char const* link;
        Tessel::ResourcePermissions effective;
        Tessel::Permission expected;
    };
    Row const rows[] = {
        {"a view link for a user without entry", "view", {}, Tessel::PERMISSION_VIEW},
        {"a view link for a user whose entry says edit", "view", userEntry(7, Tessel::PERMISSION_EDIT),
         Tessel::PERMISSION_EDIT},
        {"an edit link over a direct entry of none", "edit", userEntry(7, Tessel::PERMISSION_NONE),
         Tessel::PERMISSION_EDIT},
        {"no link and no entry", "", {}, Tessel::PERMISSION_NONE},
    };
    for (Row const& row : rows) {
        CanvasDocument canvas;
        canvas.linkPermission = QString::fromLatin1(row.link);
        canvas.localEffectivePermissions.setValue(row.effective);
        auto const user = detachedUser("7");
        EXPECT_EQ(canvas.resolveAccess(user.get()), row.expected) << row.behaviour;
    }
}

TEST(CanvasDocument, ResolveAccessOfNoUserIsTheLinkGrant) {
    CanvasDocument canvas;
    EXPECT_EQ(canvas.resolveAccess(nullptr), Tessel::PERMISSION_NONE);
    canvas.linkPermission = QStringLiteral("View");
    EXPECT_EQ(canvas.resolveAccess(nullptr), Tessel::PERMISSION_VIEW);
}

TEST(CanvasDocument, AddingEntersTheTableBeforeTheEventAndErasingLeavesItAfter) {
    ServerIndex index;
    ServerIndexFolder* folder = addFolder(index, "7");
    CanvasDocument* canvas = addCanvas(*folder, "c", QStringLiteral("canvas-1"));
    std::vector<CanvasDocument*> foundOnAdd;
    std::vector<CanvasDocument*> foundOnErase;
    std::vector<ServerIndexFolder*> erasedFrom;
    index.onCanvasAdded.addListener(
        [&](CanvasDocument* c) { foundOnAdd.push_back(index.findByCanvasId(c->canvasId())); });
    index.onCanvasErased.addListener([&](CanvasDocument* c, ServerIndexFolder* from) {
        foundOnErase.push_back(index.findByCanvasId(c->canvasId()));
        erasedFrom.push_back(from);
    });
    canvas->onAdded(index);
    EXPECT_EQ(foundOnAdd, std::vector<CanvasDocument*>{canvas}) << "listeners find the added canvas";
    canvas->onErased(index, folder);
    EXPECT_EQ(foundOnErase, std::vector<CanvasDocument*>{canvas}) << "listeners still find the erased canvas";
    EXPECT_EQ(erasedFrom, std::vector<ServerIndexFolder*>{folder});
    EXPECT_EQ(index.findByCanvasId("canvas-1"), nullptr);
}

TEST(CanvasDocument, ChangesAreAnnouncedAndMovesOnlyWhenIndexed) {
    ServerIndex index;
    CanvasDocument* canvas = addCanvas(index, "c", QStringLiteral("canvas-1"));
    std::vector<CanvasDocument*> changed;
    std::vector<QByteArray> movedFrom;
    index.onCanvasChanged.addListener([&](CanvasDocument* c) { changed.push_back(c); });
    index.onCanvasReparented.addListener(
        [&](CanvasDocument*, QByteArray const& old) { movedFrom.push_back(old); });
    canvas->onChanged(index);
    EXPECT_EQ(changed, std::vector<CanvasDocument*>{canvas});
    canvas->onReparented(index, "5");
    EXPECT_TRUE(movedFrom.empty()) << "a record that was never announced announces no move";
    canvas->indexed = true;
    canvas->onReparented(index, "5");
    EXPECT_EQ(movedFrom, std::vector<QByteArray>{"5"});
}

TEST(CanvasDocument, APreviewChangeNotesTheServerTimeWhenLinked) {
    std::int64_t const hourAhead = 3600 * Cobalt::TimeStamp::ticksPerSecond();
    IndexTest::IndexDocument open(7, IndexTest::Link::WithServer, hourAhead);
    CanvasDocument* canvas = addCanvas(*open.index, "c", QStringLiteral("canvas-1"));
    std::int64_t const before = Cobalt::TimeStamp::currentTime().ticks() + hourAhead;
    canvas->preview = QStringLiteral("00ff");
    std::int64_t const after = Cobalt::TimeStamp::currentTime().ticks() + hourAhead;
    EXPECT_GE(canvas->previewUpdated.ticks(), before) << "the server's clock, not the local one";
    EXPECT_LE(canvas->previewUpdated.ticks(), after);

    CanvasDocument detached;
    detached.preview = QStringLiteral("00ff");
    EXPECT_EQ(detached.previewUpdated, Cobalt::TimeStamp()) << "without a server there is no server time";
}
