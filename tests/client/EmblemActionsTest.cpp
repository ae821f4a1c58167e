#include "client/EmblemActions.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace {

using Basalt::Attribute;
using Datamodel::EmblemAction;
using Datamodel::EmblemActionMap;

EmblemAction* addAction(EmblemActionMap& map, QString const& scheme, QString const& target, long code) {
    auto* action = new EmblemAction();
    action->initName();
    action->scheme = scheme;
    action->target = target;
    action->code = code;
    map.addAttribute(action);
    return action;
}

} // namespace

TEST(EmblemAction, DeclaresItsAttributesInOrderWithTheirDefaults) {
    EmblemAction action;
    TestSupport::expectDeclaredAttributes(action, {
                                                      {"scheme", "string", "", Attribute::LAYER_DEFAULT},
                                                      {"target", "string", "", Attribute::LAYER_DEFAULT},
                                                      {"code", "long", "0", Attribute::LAYER_DEFAULT},
                                                  });
    EXPECT_EQ(action.flags().bits(), 0u);
}

TEST(EmblemAction, EachOfItsAttributesRaisesTheMapsEmblemActionChanged) {
    struct Row {
        char const* key;
        std::function<void(EmblemAction&)> change;
    };
    Row const rows[] = {
        {"scheme", [](EmblemAction& a) { a.scheme = QStringLiteral("url"); }},
        {"target", [](EmblemAction& a) { a.target = QStringLiteral("https://example.org"); }},
        {"code", [](EmblemAction& a) { a.code = 12L; }},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.key);
        EmblemActionMap map;
        auto* action = new EmblemAction();
        map.addAttribute("a", action);
        std::vector<EmblemAction*> changed;
        map.emblemActionChanged.addListener([&changed](EmblemAction* a) { changed.push_back(a); });
        row.change(*action);
        EXPECT_EQ(changed, std::vector<EmblemAction*>{action});
    }
}

TEST(EmblemAction, ChangesOfAnActionOutsideAMapRaiseNothing) {
    EmblemActionMap map;
    int changed = 0;
    map.emblemActionChanged.addListener([&changed](EmblemAction*) { ++changed; });
    Tessel::Element otherHost;
    auto* action = new EmblemAction();
    otherHost.addAttribute("a", action);
    action->code = 5L;
    EmblemAction detached;
    detached.code = 6L;
    EXPECT_EQ(changed, 0);
}

TEST(EmblemActionMap, DeclaresNoAttributesAndPassesNoFlags) {
    EmblemActionMap map;
    TestSupport::expectDeclaredAttributes(map, {});
    EXPECT_EQ(map.flags().bits(), 0u);
}

TEST(EmblemActionMap, FindingCodeZeroOnAnEmptyMapGivesNull) {
    EmblemActionMap map;
    EXPECT_EQ(map.findEmblemActionByCode(0), nullptr) << "the default code of no action is no match";
}

TEST(EmblemActionMap, FindByCodeGivesTheFirstActionWithThatCodeInAttributeOrder) {
    EmblemActionMap map;
    map.addAttribute("plain", new Tessel::Element());
    EmblemAction* seven = addAction(map, "url", "a", 7);
    EmblemAction* later = addAction(map, "url", "b", 7);
    EmblemAction* eight = addAction(map, "url", "c", 8);
    EXPECT_EQ(map.findEmblemActionByCode(7), seven);
    EXPECT_NE(map.findEmblemActionByCode(7), later);
    EXPECT_EQ(map.findEmblemActionByCode(8), eight);
    EXPECT_EQ(map.findEmblemActionByCode(9), nullptr);
}

TEST(EmblemActionMap, FindBySchemeAndTargetNeedsBothToMatch) {
    EmblemActionMap map;
    EmblemAction* url = addAction(map, "url", "https://example.org", 1);
    EmblemAction* canvas = addAction(map, "canvas", "https://example.org", 2);
    struct Row {
        char const* scheme;
        QByteArray target;
        EmblemAction* expected;
    };
    Row const rows[] = {
        {"url", "https://example.org", url},
        {"canvas", "https://example.org", canvas},
        {"url", "https://example.com", nullptr},
        {"file", "https://example.org", nullptr},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(testing::Message() << row.scheme << ":" << row.target.constData());
        EXPECT_EQ(map.findEmblemAction(QString::fromUtf8(row.scheme), row.target), row.expected);
    }
}

TEST(EmblemActionMap, FindBySchemeAndTargetReadsTheTargetAsLatin1) {
    EmblemActionMap map;
    EmblemAction* action = addAction(map, "file", QStringLiteral("caf\u00e9"), 3);
    EXPECT_EQ(map.findEmblemAction("file", QByteArray("caf\xe9")), action) << "one byte per character";
    EXPECT_EQ(map.findEmblemAction("file", QStringLiteral("caf\u00e9").toUtf8()), nullptr)
        << "UTF-8 is not read";
}

TEST(EmblemActionMap, ANullTargetFindsAnActionWithoutATarget) {
    EmblemActionMap map;
    EmblemAction* action = addAction(map, "reset", QString(), 4);
    EXPECT_EQ(map.findEmblemAction("reset", QByteArray()), action);
}

TEST(EmblemActionMap, AddingAndRemovingAnActionBothRaiseEmblemActionChanged) {
    EmblemActionMap map;
    std::vector<EmblemAction*> changed;
    map.emblemActionChanged.addListener([&changed](EmblemAction* a) { changed.push_back(a); });

    EmblemAction* action = addAction(map, "url", "a", 1);
    EXPECT_EQ(changed, std::vector<EmblemAction*>{action}) << "an arrival is told";
    ASSERT_TRUE(map.removeAttribute(action));
    std::unique_ptr<EmblemAction> const removed(action);
    EXPECT_EQ(changed, (std::vector<EmblemAction*>{action, action})) << "a departure is told the same way";
}

TEST(EmblemActionMap, ChildrenThatAreNoActionsRaiseNothing) {
    EmblemActionMap map;
    int changed = 0;
    map.emblemActionChanged.addListener([&changed](EmblemAction*) { ++changed; });
    auto* plain = new Tessel::Element();
    map.addAttribute("plain", plain);
    ASSERT_TRUE(map.removeAttribute(plain));
    delete plain;
    EXPECT_EQ(changed, 0);
}
