#include "index/ServerIndex.hpp"

#include "index/CanvasDocument.hpp"
#include "tests/index/IndexDocument.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace {

using Basalt::Attribute;
using Datamodel::CanvasDocument;
using Datamodel::ServerIndex;
using Datamodel::ServerIndexFolder;
using Datamodel::ServerIndexNode;
using IndexTest::addCanvas;
using IndexTest::addChild;
using IndexTest::addFolder;
using IndexTest::detachedUser;
using IndexTest::IndexDocument;
using IndexTest::Link;

std::vector<TestSupport::DeclaredAttribute> folderAttributes() {
    return {
        {"owner", "int", "0", Attribute::LAYER_DEFAULT},
        {"permission-overrides", "resource-permissions", "", Attribute::LAYER_DEFAULT},
        {".local-effective-permissions", "resource-permissions", "", Attribute::LAYER_DEFAULT},
        {".local-in-trash", "bool", "false", Attribute::LAYER_DEFAULT},
        {".local-access", "enum:Tessel::Permission", "none", Attribute::LAYER_DEFAULT},
        {"folder-name", "string", "", Attribute::LAYER_DEFAULT},
    };
}

Tessel::ResourcePermissions entries(std::vector<std::pair<int, Tessel::Permission>> users,
                                    std::vector<std::pair<int, Tessel::Permission>> groups) {
    Tessel::ResourcePermissions permissions;
    for (auto const& [id, permission] : users) {
        permissions.acl.users.insert(id, {permission, 0});
    }
    for (auto const& [id, permission] : groups) {
        permissions.acl.groups.insert(id, {permission, 0});
    }
    return permissions;
}

} // namespace

TEST(ServerIndexNode, AccessModesNameThePermissions) {
    struct Row {
        char const* name;
        Tessel::Permission permission;
    };
    Row const rows[] = {{"none", Tessel::PERMISSION_NONE},
                        {"view", Tessel::PERMISSION_VIEW},
                        {"edit", Tessel::PERMISSION_EDIT},
                        {"owner", Tessel::PERMISSION_OWNER},
                        {"nobody", Tessel::PERMISSION_NOBODY}};
    EXPECT_EQ(Datamodel::s_accessModes.size(), 5);
    for (Row const& row : rows) {
        EXPECT_EQ(Datamodel::s_accessModes.name(row.permission), QByteArray(row.name));
    }
}

TEST(ServerIndexFolder, DeclaresTheNodeAttributesThenItsNameAndPassesFlagsTwo) {
    ServerIndexFolder folder;
    TestSupport::expectDeclaredAttributes(folder, folderAttributes());
    EXPECT_EQ(folder.flags().bits(), 2u);
}

TEST(ServerIndex, DeclaresTheFolderAttributesAndPassesFlagsTwo) {
    ServerIndex index;
    TestSupport::expectDeclaredAttributes(index, folderAttributes());
    EXPECT_EQ(index.flags().bits(), 2u);
}

TEST(ServerIndexNode, ANewNodeIsDetachedWithEmptyDerivedState) {
    ServerIndexFolder folder;
    EXPECT_FALSE(folder.currentUser);
    EXPECT_FALSE(folder.indexed);
    EXPECT_TRUE(folder.inheritedAcl.isEmpty());
    EXPECT_EQ(folder.aclDepth, 0);
    EXPECT_EQ(folder.groupsListenerId, -1);
    EXPECT_EQ(folder.serverIndexPtr, nullptr);
    EXPECT_TRUE(folder.childNodes.empty());
}

TEST(ServerIndex, IsLinkedToItselfFromTheStart) {
    ServerIndex index;
    EXPECT_EQ(index.serverIndexPtr, &index);
    EXPECT_EQ(index.serverIndex(), &index);
    EXPECT_FALSE(index.indexed);
}

TEST(ServerIndexNode, ServerIndexIsTheTopOfTheHostsWhenThatIsAnIndex) {
    ServerIndex index;
    ServerIndexFolder* home = addFolder(index, "7");
    CanvasDocument* canvas = addCanvas(*home, "c");
    EXPECT_EQ(home->serverIndex(), &index);
    EXPECT_EQ(canvas->serverIndex(), &index);
    EXPECT_EQ(ServerIndex::root(*canvas), &index);

    Tessel::Element plain;
    ServerIndexFolder* elsewhere = addFolder(plain, "f");
    EXPECT_EQ(elsewhere->serverIndex(), nullptr) << "a top that is no index gives null";
    ServerIndexFolder detached;
    EXPECT_EQ(detached.serverIndex(), nullptr);
}

TEST(ServerIndexNode, LinkingAChildTwiceOrUnlinkingAnAbsentOneChangesNothing) {
    ServerIndexFolder parent;
    ServerIndexFolder child;
    CanvasDocument canvas;
    parent.childNodeAdded(&child);
    parent.childNodeAdded(&child);
    parent.childNodeAdded(&canvas);
    EXPECT_EQ(parent.childNodes.size(), 2u);
    parent.childNodeRemoved(&child);
    parent.childNodeRemoved(&child);
    EXPECT_EQ(parent.childNodes, (std::set<ServerIndexNode*>{&canvas}));
}

TEST(ServerIndexFolder, LowerCaseNamesAreTrimmedAndTakenPerKindOfChild) {
    ServerIndexFolder folder;
    addFolder(folder, "a", QStringLiteral("  Projects "));
    addFolder(folder, "b", QStringLiteral("ARCHIVE"));
    addFolder(folder, "c", QStringLiteral("archive"));
    addCanvas(folder, "d", QStringLiteral("canvas-1"), QStringLiteral("\tPlan  B\n"));
    addChild<Tessel::Element>(folder, "e");
    EXPECT_EQ(folder.lowerCaseFolderNames(), (QSet<QString>{"projects", "archive"}));
    EXPECT_EQ(folder.lowerCaseCanvasNames(), (QSet<QString>{"plan  b"})) << "inner white space stays";
}

TEST(ServerIndex, FindByFolderIdWithTheRootsIdGivesTheRootEvenUnindexed) {
    ServerIndex index;
    index.setName("root-id");
    ServerIndexFolder* folder = addFolder(index, "7");
    EXPECT_EQ(index.findByFolderId("root-id"), &index);
    EXPECT_FALSE(index.indexed);
    EXPECT_EQ(index.findByFolderId("7"), nullptr) << "only folders entered in the table are found";
    index.addToIndex(folder);
    EXPECT_EQ(index.findByFolderId("7"), folder);
}

TEST(ServerIndex, AddingToTheIndexReplacesAnEntryWithTheSameKey) {
    ServerIndex index;
    ServerIndexFolder* first = addFolder(index, "7");
    ServerIndexFolder* second = addFolder(*first, "7");
    index.addToIndex(first);
    index.addToIndex(second);
    EXPECT_EQ(index.findByFolderId("7"), second);
    EXPECT_EQ(index.folderIndex.size(), 1);

    CanvasDocument* one = addCanvas(index, "a", QStringLiteral("canvas-1"));
    CanvasDocument* other = addCanvas(index, "b", QStringLiteral("canvas-1"));
    index.addToIndex(one);
    index.addToIndex(other);
    EXPECT_EQ(index.findByCanvasId("canvas-1"), other);
    EXPECT_EQ(index.findByCanvasId("canvas-2"), nullptr);
}

TEST(ServerIndex, RemovingFromTheIndexUsesTheKeyAsItStandsNow) {
    ServerIndex index;
    CanvasDocument* canvas = addCanvas(index, "a", QStringLiteral("canvas-1"));
    index.addToIndex(canvas);
    canvas->canvasIdAttribute = QStringLiteral("canvas-2");
    index.removeFromIndex(canvas); // nothing under "canvas-2": ignored
    EXPECT_EQ(index.findByCanvasId("canvas-1"), canvas) << "the entry under the old key stays";

    ServerIndexFolder* folder = addFolder(index, "7");
    ServerIndexFolder* namesake = addFolder(*folder, "7");
    index.addToIndex(folder);
    index.removeFromIndex(namesake);
    EXPECT_EQ(index.findByFolderId("7"), nullptr) << "the key is erased, whichever folder it named";
}

TEST(ServerIndex, WithoutAPositiveUserIdHomeIsNullAndTrashIsTheSharedOne) {
    for (Link link : {Link::WithServer, Link::WithoutServer}) {
        IndexDocument open(0, link);
        ServerIndexFolder* shared = addFolder(*open.index, "trash.2");
        ServerIndexFolder* home = addFolder(*open.index, "0");
        addFolder(*home, "trash.0");
        EXPECT_EQ(open.index->home(0), nullptr);
        EXPECT_EQ(open.index->trash(), shared);
    }
}

TEST(ServerIndex, HomeAndTrashOfTheConnectedUser) {
    IndexDocument open(7);
    addFolder(*open.index, "trash.2");
    ServerIndexFolder* home = addFolder(*open.index, "7");
    ServerIndexFolder* trash = addFolder(*home, "trash.7");
    ServerIndexFolder* other = addFolder(*open.index, "5");
    EXPECT_EQ(open.index->home(), home);
    EXPECT_EQ(open.index->home(5), other) << "an explicit id needs no connection's";
    EXPECT_EQ(open.index->home(9), nullptr);
    EXPECT_EQ(open.index->trash(), trash);
}

TEST(ServerIndex, AnExplicitHomeNeedsNoConnection) {
    ServerIndex index;
    ServerIndexFolder* home = addFolder(index, "5");
    EXPECT_EQ(index.home(5), home);
    EXPECT_EQ(index.home(0), nullptr);
}

TEST(ServerIndex, TrashFallsBackToTheSharedOneWhenTheUserHasNoHomeOrTrashFolder) {
    struct Row {
        char const* layout;
        std::function<void(ServerIndex&)> build;
    };
    Row const rows[] = {
        {"no home", [](ServerIndex&) {}},
        {"a home without trash", [](ServerIndex& index) { addFolder(index, "7"); }},
        {"a home that is no folder",
         [](ServerIndex& index) { addFolder(*addChild<Tessel::Element>(index, "7"), "trash.7"); }},
        {"a trash that is no folder",
         [](ServerIndex& index) { addChild<CanvasDocument>(*addFolder(index, "7"), "trash.7"); }},
    };
    for (Row const& row : rows) {
        IndexDocument open(7);
        ServerIndexFolder* shared = addFolder(*open.index, "trash.2");
        row.build(*open.index);
        EXPECT_EQ(open.index->trash(), shared) << row.layout;
    }
    IndexDocument bare(7);
    EXPECT_EQ(bare.index->trash(), nullptr) << "no shared trash either";
    EXPECT_EQ(bare.index->home(), nullptr);
}

TEST(ServerIndexFolder, AddingEntersTheTableBeforeTheEventSoListenersFindIt) {
    ServerIndex index;
    ServerIndexFolder* folder = addFolder(index, "7");
    std::vector<ServerIndexFolder*> found;
    index.onFolderAdded.addListener(
        [&](ServerIndexFolder* added) { found.push_back(index.findByFolderId(added->name())); });
    folder->onAdded(index);
    EXPECT_EQ(found, std::vector<ServerIndexFolder*>{folder});
}

TEST(ServerIndexFolder, ErasingRaisesTheEventWhileTheTableStillHoldsTheFolder) {
    ServerIndex index;
    ServerIndexFolder* parent = addFolder(index, "7");
    ServerIndexFolder* folder = addFolder(*parent, "f");
    index.addToIndex(folder);
    std::vector<std::pair<ServerIndexFolder*, ServerIndexFolder*>> erased;
    index.onFolderErased.addListener([&](ServerIndexFolder* gone, ServerIndexFolder* from) {
        EXPECT_EQ(index.findByFolderId("f"), gone) << "listeners can still look the folder up";
        erased.emplace_back(gone, from);
    });
    folder->onErased(index, parent);
    ASSERT_EQ(erased.size(), 1u);
    EXPECT_EQ(erased.front(), std::make_pair(folder, parent));
    EXPECT_EQ(index.findByFolderId("f"), nullptr);
}

TEST(ServerIndexFolder, ChangesAreAnnouncedAndMovesOnlyWhenIndexed) {
    ServerIndex index;
    ServerIndexFolder* folder = addFolder(index, "f"); // without a name: not announced
    int changed = 0;
    std::vector<QByteArray> movedFrom;
    index.onFolderChanged.addListener([&](ServerIndexFolder* f) { changed += f == folder ? 1 : 100; });
    index.onFolderReparented.addListener(
        [&](ServerIndexFolder*, QByteArray const& oldParent) { movedFrom.push_back(oldParent); });
    folder->onChanged(index);
    EXPECT_EQ(changed, 1);
    folder->onReparented(index, "5");
    EXPECT_TRUE(movedFrom.empty()) << "a folder that was never announced announces no move";
    folder->indexed = true;
    folder->onReparented(index, "5");
    EXPECT_EQ(movedFrom, std::vector<QByteArray>{"5"});
}

// What each user may do on a folder, from its owner and its resolved list.
TEST(ServerIndexNode, ResolveAccessFollowsOwnerAdministratorOwnEntryThenGroups) {
    struct Row {
        char const* behaviour;
        int ownerOnUserLayer; // -1: nothing on the user layer
        Tessel::ResourcePermissions effective;
        QByteArray userId;
        std::vector<int> groups;
        bool isAdmin;
        Tessel::Permission expected;
    };
    using P = Tessel::Permission;
    Row const rows[] = {
        {"an own entry of none beats a group's edit",
         -1,
         entries({{7, P::PERMISSION_NONE}}, {{3, P::PERMISSION_EDIT}}),
         "7",
         {3},
         false,
         P::PERMISSION_NONE},
        {"without an own entry the group's edit holds",
         -1,
         entries({{8, P::PERMISSION_NONE}}, {{3, P::PERMISSION_EDIT}}),
         "7",
         {3},
         false,
         P::PERMISSION_EDIT},
        {"an own entry is taken as it is",
         -1,
         entries({{7, P::PERMISSION_VIEW}}, {}),
         "7",
         {},
         false,
         P::PERMISSION_VIEW},
        {"an administrator without entries may edit", -1, entries({}, {}), "7", {}, true, P::PERMISSION_EDIT},
        {"an administrator who owns the node owns it",
         7,
         entries({}, {}),
         "7",
         {},
         true,
         P::PERMISSION_OWNER},
        {"an administrator's own none doesn't count",
         -1,
         entries({{7, P::PERMISSION_NONE}}, {}),
         "7",
         {},
         true,
         P::PERMISSION_EDIT},
        {"owner 1 on the user layer owns for user 1",
         1,
         entries({}, {}),
         "1",
         {},
         false,
         P::PERMISSION_OWNER},
        {"owner 0 on the user layer owns for user 0",
         0,
         entries({}, {}),
         "0",
         {},
         false,
         P::PERMISSION_OWNER},
        {"a non-numeric id reads as 0", 0, entries({}, {}), "guest", {}, false, P::PERMISSION_OWNER},
        {"the default owner 0 owns for nobody", -1, entries({}, {}), "0", {}, false, P::PERMISSION_NONE},
        {"another user's ownership grants nothing", 5, entries({}, {}), "7", {}, false, P::PERMISSION_NONE},
        {"a group's nobody outranks every other group entry",
         -1,
         entries({}, {{3, P::PERMISSION_OWNER}, {4, P::PERMISSION_NOBODY}, {5, P::PERMISSION_EDIT}}),
         "7",
         {3, 4, 5},
         false,
         P::PERMISSION_NOBODY},
        {"the best of the user's groups",
         -1,
         entries({}, {{3, P::PERMISSION_VIEW}, {4, P::PERMISSION_EDIT}}),
         "7",
         {3, 4},
         false,
         P::PERMISSION_EDIT},
        {"groups the user isn't in don't count",
         -1,
         entries({}, {{3, P::PERMISSION_EDIT}}),
         "7",
         {4},
         false,
         P::PERMISSION_NONE},
        {"a user in no group gets none",
         -1,
         entries({}, {{3, P::PERMISSION_EDIT}}),
         "7",
         {},
         false,
         P::PERMISSION_NONE},
    };
    for (Row const& row : rows) {
        ServerIndexFolder folder;
        if (row.ownerOnUserLayer >= 0) {
            folder.owner = row.ownerOnUserLayer;
        }
        folder.localEffectivePermissions.setValue(row.effective);
        auto const user = detachedUser(row.userId, row.groups, row.isAdmin);
        EXPECT_EQ(folder.resolveAccess(user.get()), row.expected) << row.behaviour;
    }
}

TEST(ServerIndexNode, ResolveAccessOfNoUserIsNone) {
    ServerIndexFolder folder;
    folder.localEffectivePermissions.setValue(entries({{0, Tessel::PERMISSION_EDIT}}, {}));
    folder.owner = 0;
    EXPECT_EQ(folder.resolveAccess(nullptr), Tessel::PERMISSION_NONE);
}

TEST(ServerIndex, CachedGroupsMapEachGroupToTheUsersInTheUserList) {
    IndexDocument open(7);
    open.addUser(7)->groups.setValues({3, 4});
    open.addUser(8)->groups.setValues({3});
    open.addUser(9);
    addChild<Tessel::Element>(*open.users, "10");
    open.index->updateCachedGroups();
    QMap<int, QSet<int>> const expected{{3, {7, 8}}, {4, {7}}};
    EXPECT_EQ(open.index->cachedGroups(), expected);
}

TEST(ServerIndex, CachedGroupsAreEmptyWithoutAConnectionOrAUserList) {
    ServerIndex detached;
    detached.updateCachedGroups();
    EXPECT_TRUE(detached.cachedGroups().isEmpty());

    IndexDocument open(7);
    open.addUser(7)->groups.setValues({3});
    open.index->updateCachedGroups();
    ASSERT_FALSE(open.index->cachedGroups().isEmpty());
    open.users->setName("renamed");
    open.index->updateCachedGroups();
    EXPECT_TRUE(open.index->cachedGroups().isEmpty()) << "only the child \"user_container\" is read";
}

TEST(ServerIndex, ABurstOfUserChangesCostsOneRebuildOfTheGroups) {
    IndexDocument open(7);
    Datamodel::User* user = open.addUser(7);
    open.idle.drain();
    int rebuilds = 0;
    open.index->onGroupsChanged.addListener([&](QMap<int, QSet<int>> const* groups) {
        ++rebuilds;
        EXPECT_EQ(groups, &open.index->cachedGroups()) << "listeners get the cache itself";
    });
    user->groups.setValues({3});
    user->fullName = QStringLiteral("Seven");
    user->isAdmin = true;
    EXPECT_TRUE(open.index->groupsUpdatePending);
    EXPECT_EQ(open.idle.pending(), 1u) << "one rebuild is queued for the burst";
    open.idle.drain();
    EXPECT_EQ(rebuilds, 1);
    EXPECT_FALSE(open.index->groupsUpdatePending);
    user->groups.setValues({4});
    open.idle.drain();
    EXPECT_EQ(rebuilds, 2) << "a later change queues a rebuild of its own";
}

// The queued rebuild holds the index weakly; run under the sanitizers, a dangling index would show here.
TEST(ServerIndex, ARebuildQueuedForAnIndexThatIsGoneDoesNothing) {
    TestSupport::ManualExecutor main;
    TestSupport::ManualExecutor idle;
    auto* index = new ServerIndex();
    Tessel::ClientToServerConnection::Announcement announcement;
    announcement.userId = 7;
    auto document = Tessel::DocumentConnection::create(
        std::unique_ptr<Tessel::Element>(index), nullptr, &main,
        std::make_shared<Tessel::ClientToServerConnection>(announcement, &idle));
    index->onUserChanged.raise(nullptr);
    ASSERT_EQ(idle.pending(), 1u);
    document.reset();
    EXPECT_EQ(idle.drain(), 1u) << "the rebuild runs, finds no index and does nothing";
}

TEST(ServerIndex, WithoutAConnectionUserChangesQueueNothing) {
    IndexDocument open(7, Link::WithoutServer);
    Datamodel::User* user = open.addUser(7);
    user->groups.setValues({3});
    EXPECT_FALSE(open.index->groupsUpdatePending);
}
