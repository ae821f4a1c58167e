#include "platform/basalt/Attribute.hpp"

#include "attributes/AttributeT.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/basalt/StyleValue.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using Basalt::Attribute;
using Basalt::Node;
using FloatAttribute = Basalt::AttributeT<float>;
using StringAttribute = Basalt::AttributeT<QString>;

namespace {

using Calls = std::vector<std::string>;

// A host that records its hooks.
class HookNode : public Node {
public:
    HookNode() = default;
    void attributeAdded(Attribute* attribute) override { added.push_back(attribute); }
    void attributeRemoved(Attribute* attribute) override { removed.push_back(attribute); }

    std::vector<Attribute*> added;
    std::vector<Attribute*> removed;
};

} // namespace

// These numbers travel in documents and messages and are compared by callers: they never change.
TEST(BaseAttribute, LayerUnitAndRoleNumbersAreFixed) {
    struct Row {
        char const* name;
        int value;
        int expected;
    } const rows[] = {
        {"LAYER_DEFAULT", Attribute::LAYER_DEFAULT, 0},
        {"LAYER_BELOW_USER", Attribute::LAYER_BELOW_USER, 1},
        {"LAYER_USER", Attribute::LAYER_USER, 2},
        {"LAYER_ABOVE_USER", Attribute::LAYER_ABOVE_USER, 3},
        {"LAYER_COUNT", Attribute::LAYER_COUNT, 4},
        {"LAYER_CURRENT", Attribute::LAYER_CURRENT, 5},
        {"LAYER_CURRENT_VALUE", Attribute::LAYER_CURRENT_VALUE, 6},
        {"UNIT_UNSPECIFIED", Attribute::UNIT_UNSPECIFIED, 0},
        {"UNIT_NUMBER", Attribute::UNIT_NUMBER, 1},
        {"UNIT_PERCENTAGE", Attribute::UNIT_PERCENTAGE, 2},
        {"ROLE_DELETE", Attribute::ROLE_DELETE, 1},
        {"ROLE_CHANGE", Attribute::ROLE_CHANGE, 2},
        {"ROLE_HOST_CHANGE", Attribute::ROLE_HOST_CHANGE, 4},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(row.value, row.expected) << row.name;
    }
}

TEST(BaseAttribute, DefaultHasNoHostNoNameAndNoListeners) {
    Attribute attribute;
    EXPECT_EQ(attribute.host(), nullptr);
    EXPECT_TRUE(attribute.name().isEmpty());
    EXPECT_EQ(attribute.listenerCount(), 0u);
    EXPECT_TRUE(attribute.isSerializable()) << "attributes are written unless told otherwise";
    EXPECT_EQ(attribute.ownerShorthand(), nullptr);
}

TEST(BaseAttribute, ConstructedWithAHostJoinsItUnderItsName) {
    HookNode host;
    FloatAttribute width(&host, "width", 1.0f);
    EXPECT_EQ(width.host(), &host);
    EXPECT_EQ(width.name(), QByteArray("width"));
    EXPECT_EQ(host.attribute("width"), &width);
    ASSERT_EQ(host.attributes().size(), 1u);
    EXPECT_EQ(host.attributes()[0], Node::Entry("width", &width));
    EXPECT_EQ(host.added, std::vector<Attribute*>{&width})
        << "the host's hook must hear of the new attribute";
}

TEST(BaseAttribute, ConstructedWithANullHostStaysDetached) {
    FloatAttribute width(nullptr, "width", 1.0f);
    EXPECT_EQ(width.host(), nullptr);
    EXPECT_EQ(width.name(), QByteArray("width"));
}

TEST(BaseAttribute, SetNameRenamesAndTheHostFindsItUnderTheNewName) {
    HookNode host;
    FloatAttribute attribute(&host, "before", 0.0f);
    attribute.setName("after");
    EXPECT_EQ(attribute.name(), QByteArray("after"));
    EXPECT_EQ(host.attribute("after"), &attribute);
    EXPECT_EQ(host.attribute("before"), nullptr) << "the old name must not find it any more";
    EXPECT_EQ(host.attributes()[0].first, QByteArray("after"));
    EXPECT_EQ(host.added.size(), 1u) << "a rename is no new attribute";
    EXPECT_TRUE(host.removed.empty());
}

TEST(BaseAttribute, SetNameWithoutAHostOnlyRenames) {
    Attribute attribute;
    attribute.setName("alone");
    EXPECT_EQ(attribute.name(), QByteArray("alone"));
    EXPECT_EQ(attribute.host(), nullptr);
}

TEST(BaseAttribute, RemoveHostDetachesAndHostChangeListenersReadNull) {
    HookNode host;
    FloatAttribute attribute(&host, "x", 0.0f);
    std::vector<Node*> heard;
    attribute.addListener([&] { heard.push_back(attribute.host()); }, Attribute::ROLE_HOST_CHANGE);
    attribute.removeHost();
    EXPECT_EQ(attribute.host(), nullptr);
    EXPECT_EQ(host.attribute("x"), nullptr);
    EXPECT_TRUE(host.attributes().empty());
    EXPECT_EQ(heard, std::vector<Node*>{nullptr}) << "the listener must read the null host";
    EXPECT_EQ(host.removed, std::vector<Attribute*>{&attribute});
}

TEST(BaseAttribute, RemoveHostWithoutAHostDoesNothing) {
    FloatAttribute attribute(nullptr, "x", 0.0f);
    int heard = 0;
    attribute.addListener([&] { ++heard; }, Attribute::ROLE_HOST_CHANGE);
    attribute.removeHost();
    EXPECT_EQ(attribute.host(), nullptr);
    EXPECT_EQ(heard, 0) << "nothing changed, so nothing is heard";
}

TEST(BaseAttribute, HostChangeListenersFollowAMoveToAnotherHost) {
    HookNode first;
    HookNode second;
    FloatAttribute attribute(&first, "x", 0.0f);
    std::vector<Node*> heard;
    attribute.addListener([&] { heard.push_back(attribute.host()); }, Attribute::ROLE_HOST_CHANGE);
    second.addAttribute(&attribute);
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard.back(), &second) << "the last host heard is the new one";
    EXPECT_EQ(std::count(heard.begin(), heard.end(), &first), 0);
    EXPECT_EQ(first.attribute("x"), nullptr);
    EXPECT_EQ(second.attribute("x"), &attribute);
}

TEST(BaseAttribute, SerializableFlagCanBeSwitched) {
    Attribute attribute;
    attribute.setSerializable(false);
    EXPECT_FALSE(attribute.isSerializable());
    attribute.setSerializable(true);
    EXPECT_TRUE(attribute.isSerializable());
}

namespace {

struct SetRow {
    char const* overload;
    std::function<bool(Attribute&)> call;
};

std::vector<SetRow> setRows() {
    return {
        {"set(float)", [](Attribute& a) { return a.set(1.5f); }},
        {"set(float, layer, unit)",
         [](Attribute& a) { return a.set(1.5f, Attribute::LAYER_DEFAULT, Attribute::UNIT_PERCENTAGE); }},
        {"set(int)", [](Attribute& a) { return a.set(3); }},
        {"set(QString)", [](Attribute& a) { return a.set(QStringLiteral("text")); }},
        {"set(Vector2)", [](Attribute& a) { return a.set(Fathom::Vector2T<float>(1.0f, 2.0f)); }},
        {"set(Vector3)", [](Attribute& a) { return a.set(Fathom::Vector3T<float>(1.0f, 2.0f, 3.0f)); }},
        {"set(Vector4)", [](Attribute& a) { return a.set(Fathom::Vector4T<float>(1.0f, 2.0f, 3.0f, 4.0f)); }},
        {"set(Vector2, units)",
         [](Attribute& a) {
             return a.set(Fathom::Vector2T<float>(1.0f, 2.0f), Attribute::LAYER_USER,
                          QList<Attribute::ValueUnit>{Attribute::UNIT_NUMBER, Attribute::UNIT_NUMBER});
         }},
        {"set(StyleValue)",
         [](Attribute& a) { return a.set(Basalt::StyleValue{Basalt::StyleValue::Component::number(1.0f)}); }},
    };
}

} // namespace

// A typed attribute overrides only what fits its type; everything the base keeps must say no.
TEST(BaseAttribute, EverySetOverloadOfTheBaseReportsFailure) {
    Attribute attribute;
    int changes = 0;
    attribute.addListener([&] { ++changes; }, Attribute::ROLE_CHANGE);
    for (SetRow const& row : setRows()) {
        EXPECT_FALSE(row.call(attribute)) << row.overload << " of the base must return false";
    }
    EXPECT_EQ(changes, 0) << "a refused write must not notify";
}

TEST(BaseAttribute, ReadersOfTheBaseReportFailureThroughOk) {
    Attribute attribute;
    bool ok = true;
    attribute.asFloat(&ok);
    EXPECT_FALSE(ok) << "asFloat";
    ok = true;
    attribute.asInt(&ok);
    EXPECT_FALSE(ok) << "asInt";
    ok = true;
    attribute.asString(&ok, Attribute::LAYER_USER);
    EXPECT_FALSE(ok) << "asString";
    // Without an ok pointer they simply give an empty value.
    EXPECT_EQ(attribute.asFloat(), 0.0f);
    EXPECT_EQ(attribute.asInt(), 0);
    EXPECT_TRUE(attribute.asString().isEmpty());
}

TEST(BaseAttribute, SpecialLayersCountAsDefined) {
    Attribute base;
    EXPECT_TRUE(base.isValueDefinedOnLayer(Attribute::LAYER_CURRENT));
    EXPECT_TRUE(base.isValueDefinedOnLayer(Attribute::LAYER_CURRENT_VALUE));

    FloatAttribute typed(nullptr, "x", 1.0f);
    EXPECT_TRUE(typed.isValueDefinedOnLayer(Attribute::LAYER_CURRENT));
    EXPECT_TRUE(typed.isValueDefinedOnLayer(Attribute::LAYER_CURRENT_VALUE));
    EXPECT_TRUE(typed.isValueDefinedOnLayer(Attribute::LAYER_DEFAULT));
    EXPECT_FALSE(typed.isValueDefinedOnLayer(Attribute::LAYER_USER));
    typed.set(2.0f);
    EXPECT_TRUE(typed.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(BaseAttribute, PlainAttributeHasNoChildrenAndNothingToWrite) {
    Attribute attribute;
    EXPECT_EQ(attribute.attribute("anything"), nullptr);
    EXPECT_FALSE(attribute.isChanged());
    Basalt::Archive archive;
    EXPECT_TRUE(attribute.serialize(archive).isNull());
}

TEST(BaseAttributeListeners, EmitChangeCallsChangeListenersSynchronouslyInOrderOfAdding) {
    Calls calls; // declared first: the attribute's destructor still calls the delete listener below
    Attribute attribute;
    attribute.addListener([&] { calls.push_back("change 1"); }, Attribute::ROLE_CHANGE);
    attribute.addListener([&] { calls.push_back("delete"); }, Attribute::ROLE_DELETE);
    attribute.addListener([&] { calls.push_back("change 2"); }, Attribute::ROLE_CHANGE);
    attribute.addListener([&] { calls.push_back("host"); }, Attribute::ROLE_HOST_CHANGE);
    attribute.addListener([&] { calls.push_back("change 3"); }, Attribute::ROLE_CHANGE);
    attribute.emitChange();
    EXPECT_EQ(calls, (Calls{"change 1", "change 2", "change 3"}));
    calls.clear();
    attribute.emitDelete();
    EXPECT_EQ(calls, (Calls{"delete"}));
    calls.clear();
}

TEST(BaseAttributeListeners, DestructorCallsDeleteListenersOnce) {
    int deletes = 0;
    int changes = 0;
    {
        Attribute attribute;
        attribute.addListener([&] { ++deletes; }, Attribute::ROLE_DELETE);
        attribute.addListener([&] { ++changes; }, Attribute::ROLE_CHANGE);
    }
    EXPECT_EQ(deletes, 1);
    EXPECT_EQ(changes, 0);
}

TEST(BaseAttributeListeners, ListenerOfSeveralRolesHearsEachOfThem) {
    HookNode host;
    int calls = 0;
    {
        FloatAttribute attribute(nullptr, "x", 0.0f);
        attribute.addListener([&] { ++calls; },
                              Attribute::ROLE_CHANGE | Attribute::ROLE_DELETE | Attribute::ROLE_HOST_CHANGE);
        attribute.emitChange();
        EXPECT_EQ(calls, 1);
        host.addAttribute(&attribute);
        EXPECT_EQ(calls, 2);
        attribute.emitDelete();
        EXPECT_EQ(calls, 3);
    }
    EXPECT_EQ(calls, 4) << "the destructor raises the delete role once more";
}

TEST(BaseAttributeListeners, ValueChangeOfATypedAttributeNotifiesChangeListeners) {
    StringAttribute title(nullptr, "title", QStringLiteral("a"));
    Calls seen;
    title.addListener([&] { seen.push_back(title.value().toStdString()); }, Attribute::ROLE_CHANGE);
    title.set(QStringLiteral("b"));
    title.set(QStringLiteral("b"));
    title = QStringLiteral("c");
    EXPECT_EQ(seen, (Calls{"b", "c"})) << "each change of the shown value is heard once, after it happened";
}

TEST(BaseAttributeListeners, RemoveListenerByIdStopsItAndCountsDown) {
    Attribute attribute;
    int first = 0;
    int second = 0;
    long const firstId = attribute.addListener([&] { ++first; }, Attribute::ROLE_CHANGE);
    long const secondId = attribute.addListener([&] { ++second; }, Attribute::ROLE_CHANGE);
    EXPECT_NE(firstId, secondId);
    EXPECT_EQ(attribute.listenerCount(), 2u);
    attribute.removeListener(firstId);
    EXPECT_EQ(attribute.listenerCount(), 1u);
    attribute.emitChange();
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    attribute.removeListener(firstId);
    EXPECT_EQ(attribute.listenerCount(), 1u) << "removing twice changes nothing";
    attribute.removeListener(secondId);
    EXPECT_EQ(attribute.listenerCount(), 0u);
}

TEST(BaseAttributeListeners, RemoveListenerWithoutListenersIsHarmless) {
    Attribute attribute;
    attribute.removeListener(42L);
    Node owner;
    attribute.removeListener(&owner, Attribute::ROLE_CHANGE);
    EXPECT_EQ(attribute.listenerCount(), 0u);
}

TEST(BaseAttributeListeners, RemoveListenerByOwnerTakesOnlyTheGivenRoles) {
    Attribute attribute;
    Node owner;
    Calls calls;
    attribute.addListener(
        &owner, [&] { calls.push_back("owned"); }, Attribute::ROLE_CHANGE | Attribute::ROLE_DELETE);
    attribute.removeListener(&owner, Attribute::ROLE_CHANGE);
    EXPECT_EQ(attribute.listenerCount(), 1u) << "the listener keeps its delete role";
    attribute.emitChange();
    EXPECT_TRUE(calls.empty()) << "the change role was taken away";
    attribute.emitDelete();
    EXPECT_EQ(calls, (Calls{"owned"}));
    attribute.removeListener(&owner, Attribute::ROLE_DELETE);
    EXPECT_EQ(attribute.listenerCount(), 0u) << "a listener left with no role is removed";
}

TEST(BaseAttributeListeners, RemoveListenerByOwnerLeavesOtherListenersAlone) {
    Attribute attribute;
    Node owner;
    Node other;
    Calls calls;
    attribute.addListener(
        &owner, [&] { calls.push_back("owner 1"); }, Attribute::ROLE_CHANGE);
    attribute.addListener(
        &other, [&] { calls.push_back("other"); }, Attribute::ROLE_CHANGE);
    attribute.addListener(
        &owner, [&] { calls.push_back("owner 2"); }, Attribute::ROLE_CHANGE);
    attribute.addListener([&] { calls.push_back("unowned"); }, Attribute::ROLE_CHANGE);
    attribute.removeListener(&owner, Attribute::ROLE_CHANGE | Attribute::ROLE_DELETE);
    EXPECT_EQ(attribute.listenerCount(), 2u);
    attribute.emitChange();
    EXPECT_EQ(calls, (Calls{"other", "unowned"}));
}

TEST(BaseAttributeListeners, ListenerAddedDuringEmitIsFirstCalledByTheNextEmit) {
    Attribute attribute;
    Calls calls;
    bool added = false;
    attribute.addListener(
        [&] {
            calls.push_back("adder");
            if (!added) {
                added = true;
                attribute.addListener([&] { calls.push_back("new"); }, Attribute::ROLE_CHANGE);
            }
        },
        Attribute::ROLE_CHANGE);
    attribute.emitChange();
    EXPECT_EQ(calls, (Calls{"adder"})) << "a listener added during an emit waits for the next one";
    calls.clear();
    attribute.emitChange();
    EXPECT_EQ(calls, (Calls{"adder", "new"}));
}

TEST(BaseAttributeListeners, ListenerRemovedDuringEmitIsNotCalledAgain) {
    Attribute attribute;
    Calls calls;
    long victim = 0;
    long self = 0;
    self = attribute.addListener(
        [&] {
            calls.push_back("remover");
            attribute.removeListener(victim);
            attribute.removeListener(self);
        },
        Attribute::ROLE_CHANGE);
    victim = attribute.addListener([&] { calls.push_back("victim"); }, Attribute::ROLE_CHANGE);
    attribute.addListener([&] { calls.push_back("survivor"); }, Attribute::ROLE_CHANGE);
    attribute.emitChange();
    EXPECT_EQ(calls, (Calls{"remover", "survivor"})) << "a removed listener must not run, even in this emit";
    calls.clear();
    attribute.emitChange();
    EXPECT_EQ(calls, (Calls{"survivor"}));
    EXPECT_EQ(attribute.listenerCount(), 1u);
}

TEST(BaseAttributeListeners, ListenerMayEmitAgain) {
    FloatAttribute attribute(nullptr, "x", 0.0f);
    Calls calls;
    int depth = 0;
    attribute.addListener(
        [&] {
            calls.push_back("first@" + std::to_string(depth));
            if (depth == 0) {
                ++depth;
                attribute.emitChange();
                --depth;
            }
        },
        Attribute::ROLE_CHANGE);
    attribute.addListener([&] { calls.push_back("second@" + std::to_string(depth)); },
                          Attribute::ROLE_CHANGE);
    attribute.emitChange();
    EXPECT_EQ(calls, (Calls{"first@0", "first@1", "second@1", "second@0"}));
}

TEST(BaseAttributeListeners, ListenerMayChangeTheValueItListensTo) {
    FloatAttribute attribute(nullptr, "x", 0.0f);
    std::vector<float> seen;
    attribute.addListener(
        [&] {
            seen.push_back(attribute.value());
            if (attribute.value() < 3.0f) {
                attribute.set(attribute.value() + 1.0f);
            }
        },
        Attribute::ROLE_CHANGE);
    attribute.set(1.0f);
    EXPECT_EQ(seen, (std::vector<float>{1.0f, 2.0f, 3.0f}));
    EXPECT_EQ(attribute.value(), 3.0f);
}

TEST(BaseAttributeListeners, ListenerMayDestroyTheAttributeDuringEmit) {
    HookNode host;
    auto* attribute = new FloatAttribute(&host, "doomed", 0.0f);
    Calls calls;
    attribute->addListener(
        [&] {
            calls.push_back("destroyer");
            delete attribute;
            attribute = nullptr;
        },
        Attribute::ROLE_CHANGE);
    attribute->addListener([&] { calls.push_back("after destroyer"); }, Attribute::ROLE_CHANGE);
    attribute->addListener([&] { calls.push_back("deleted"); }, Attribute::ROLE_DELETE);
    attribute->emitChange();
    EXPECT_EQ(attribute, nullptr);
    EXPECT_EQ(calls, (Calls{"destroyer", "deleted"})) << "the emit must stop once the attribute is gone";
    EXPECT_EQ(host.attribute("doomed"), nullptr) << "the host must forget the destroyed attribute";
    EXPECT_TRUE(host.removed.empty()) << "a destroyed attribute leaves without hooks";
}

TEST(BaseAttributeListeners, ListenerMayDestroyTheAttributeDuringAValueChange) {
    auto* attribute = new StringAttribute(nullptr, "doomed", QStringLiteral("a"));
    Calls calls;
    attribute->addListener(
        [&] {
            calls.push_back("destroyer");
            delete attribute;
            attribute = nullptr;
        },
        Attribute::ROLE_CHANGE);
    attribute->addListener([&] { calls.push_back("after destroyer"); }, Attribute::ROLE_CHANGE);
    StringAttribute* const raw = attribute;
    EXPECT_TRUE(raw->set(QStringLiteral("b")));
    EXPECT_EQ(calls, (Calls{"destroyer"}));
}

TEST(BaseAttributeListeners, ListenerMayDestroyTheAttributeInANestedEmit) {
    auto* attribute = new FloatAttribute(nullptr, "doomed", 0.0f);
    Calls calls;
    int depth = 0;
    attribute->addListener(
        [&] {
            calls.push_back("outer@" + std::to_string(depth));
            if (depth == 0) {
                ++depth;
                attribute->emitChange();
            }
        },
        Attribute::ROLE_CHANGE);
    attribute->addListener(
        [&] {
            calls.push_back("destroyer@" + std::to_string(depth));
            if (depth == 1) {
                delete attribute;
                attribute = nullptr;
            }
        },
        Attribute::ROLE_CHANGE);
    FloatAttribute* const raw = attribute;
    raw->emitChange();
    EXPECT_EQ(attribute, nullptr);
    EXPECT_EQ(calls, (Calls{"outer@0", "outer@1", "destroyer@1"}))
        << "neither the inner nor the outer emit may go on after the attribute is gone";
}

TEST(Attribute, AttributesMadeWithOneNameShareOneCopyOfIt) {
    Basalt::Node first;
    Basalt::Node second;
    Basalt::AttributeT<int> a(&first, QByteArray("shared-key"), 0);
    Basalt::AttributeT<int> b(&second, QByteArray("shared-key"), 0);
    EXPECT_EQ(a.name().constData(), b.name().constData())
        << "every instance of a class declares the same keys; one copy must serve them all";
    EXPECT_EQ(first.attribute("shared-key"), &a);
    EXPECT_EQ(second.attribute("shared-key"), &b);
}
