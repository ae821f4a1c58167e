#include "attributes/AttributeT.hpp"
#include "attributes/AttributeVectorContainer.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "tests/support/CountingListener.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using Basalt::Attribute;
using Basalt::AttributeT;
using Basalt::Node;
using Layer = Attribute::Layer;
using TestSupport::CountingListener;

namespace LayersTestTypes {
enum class Mood { Calm = 0, Busy = 1 };
} // namespace LayersTestTypes

namespace {

constexpr Layer storedLayers[] = {Attribute::LAYER_DEFAULT, Attribute::LAYER_BELOW_USER,
                                  Attribute::LAYER_USER, Attribute::LAYER_ABOVE_USER};

/// The invariant of a typed attribute without a transition: the layer in force is defined, nothing above
/// it is, and the shown value is that layer's value.
template <typename A>
::testing::AssertionResult holdsLayerInvariant(A const& attribute) {
    int const current = attribute.currentLayer();
    if (current < Attribute::LAYER_DEFAULT || current > Attribute::LAYER_ABOVE_USER) {
        return ::testing::AssertionFailure() << "the layer in force " << current << " is not a stored layer";
    }
    if (!attribute.isValueDefinedOnLayer(static_cast<Layer>(current))) {
        return ::testing::AssertionFailure() << "the layer in force " << current << " is not defined";
    }
    for (int layer = current + 1; layer < Attribute::LAYER_COUNT; ++layer) {
        if (attribute.isValueDefinedOnLayer(static_cast<Layer>(layer))) {
            return ::testing::AssertionFailure()
                   << "layer " << layer << " is defined above the layer in force " << current;
        }
    }
    if (!(attribute.value() == attribute.valueOnLayer(static_cast<Layer>(current)))) {
        return ::testing::AssertionFailure()
               << "the shown value differs from the value of the layer in force";
    }
    return ::testing::AssertionSuccess();
}

/// An integer attribute that records every call that reaches its virtual `setValue` and `clearValue`.
class RecordingInt : public AttributeT<int> {
public:
    using AttributeT<int>::AttributeT;
    using AttributeT<int>::operator=;

    void setValue(int const& value, Layer layer) override {
        calls.push_back("setValue(" + std::to_string(value) + ", " + std::to_string(layer) + ")");
        AttributeT<int>::setValue(value, layer);
    }
    void clearValue(Layer layer) override {
        calls.push_back("clearValue(" + std::to_string(layer) + ")");
        AttributeT<int>::clearValue(layer);
    }

    std::vector<std::string> calls;
};

/// The same for a float, whose own overrides drop expressions.
class RecordingFloat : public AttributeT<float> {
public:
    using AttributeT<float>::AttributeT;
    using AttributeT<float>::operator=;

    void setValue(float const& value, Layer layer) override {
        std::ostringstream call;
        call << "setValue(" << value << ", " << layer << ")";
        calls.push_back(call.str());
        AttributeT<float>::setValue(value, layer);
    }
    void clearValue(Layer layer) override {
        calls.push_back("clearValue(" + std::to_string(layer) + ")");
        AttributeT<float>::clearValue(layer);
    }

    std::vector<std::string> calls;
};

} // namespace

// --- construction

TEST(AttributeLayers, ConstructionPutsTheDefaultOnTheDefaultLayerOnly) {
    Node node;
    AttributeT<int> attribute(&node, "width", 7);

    EXPECT_EQ(attribute.value(), 7);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_DEFAULT), 7);
    EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_DEFAULT));
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_BELOW_USER));
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_ABOVE_USER));
    EXPECT_FALSE(attribute.isChanged());
    EXPECT_EQ(attribute.host(), &node);
    EXPECT_EQ(node.attribute("width"), &attribute) << "the constructor must add the attribute to its host";
}

TEST(AttributeLayers, AttributeBuiltWithoutHostStaysOutOfTheNodeUntilAdded) {
    Node node;
    AttributeT<int> attribute(nullptr, "width", 3);
    EXPECT_EQ(attribute.host(), nullptr);
    EXPECT_EQ(node.attribute("width"), nullptr);
    EXPECT_TRUE(node.attributes().empty());

    node.addAttribute(&attribute);

    EXPECT_EQ(attribute.host(), &node);
    EXPECT_EQ(node.attribute("width"), &attribute);
    EXPECT_EQ(attribute.value(), 3) << "joining a host must not touch the value";
}

// --- writes

TEST(AttributeLayers, UserWriteShowsTheValueAndNotifiesOnce) {
    AttributeT<int> attribute(nullptr, "width", 1);
    CountingListener changes(attribute);

    attribute.setValue(5, Attribute::LAYER_USER);

    EXPECT_EQ(attribute.value(), 5);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(changes.count(), 1);
    EXPECT_TRUE(attribute.isChanged());
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

TEST(AttributeLayers, ValueSetOnDefaultLayerUnderUserLayerStaysHiddenAndSilent) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(5, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.setValue(9, Attribute::LAYER_DEFAULT);

    EXPECT_EQ(attribute.value(), 5) << "a write below the layer in force must stay hidden";
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_DEFAULT), 9);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    EXPECT_EQ(changes.count(), 0) << "a write below the layer in force must not notify";

    attribute.clearValue(Attribute::LAYER_USER);

    EXPECT_EQ(attribute.value(), 9) << "clearing the user layer must show the new default";
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_EQ(changes.count(), 1);
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

TEST(AttributeLayers, UserValueEqualToTheDefaultTakesTheUserLayerSilentlyAndIsNotChanged) {
    AttributeT<int> attribute(nullptr, "width", 4);
    CountingListener changes(attribute);

    attribute.setValue(4, Attribute::LAYER_USER);

    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(changes.count(), 0) << "a write equal to the shown value must not notify";
    EXPECT_FALSE(attribute.isChanged()) << "a user value equal to the default is no change";
}

TEST(AttributeLayers, ClearingAUserValueEqualToTheDefaultIsSilent) {
    AttributeT<int> attribute(nullptr, "width", 4);
    attribute.setValue(4, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.clearValue(Attribute::LAYER_USER);

    EXPECT_EQ(changes.count(), 0) << "a clear that leaves the shown value alone must not notify";
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(attribute.value(), 4);
}

TEST(AttributeLayers, ClearingALayerThatIsNotInForceOnlyClearsItsFlag) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(2, Attribute::LAYER_BELOW_USER);
    attribute.setValue(3, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.clearValue(Attribute::LAYER_BELOW_USER);

    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_BELOW_USER));
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_BELOW_USER), 2) << "a cleared slot keeps its content";
    EXPECT_EQ(attribute.value(), 3);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    EXPECT_EQ(changes.count(), 0) << "clearing a hidden layer must not notify";

    attribute.clearValue(Attribute::LAYER_USER);
    EXPECT_EQ(attribute.value(), 1) << "the cleared layer below must be skipped on the way down";
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
}

TEST(AttributeLayers, ClearingAnUndefinedLayerAboveTheOneInForceChangesNothing) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(3, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.clearValue(Attribute::LAYER_ABOVE_USER);

    EXPECT_EQ(attribute.value(), 3);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    EXPECT_EQ(changes.count(), 0);
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

// Every attribute, whatever its type, counts the special layers as defined.
TEST(AttributeLayers, LayerCurrentIsDefinedOnEveryAttributeType) {
    static Basalt::EnumNames const moods{{"calm", 0}, {"busy", 1}};
    struct Row {
        char const* type;
        std::function<std::unique_ptr<Attribute>(Node*)> make;
    };
    Row const rows[] = {
        {"float", [](Node* n) { return std::make_unique<AttributeT<float>>(n, "a"); }},
        {"int", [](Node* n) { return std::make_unique<AttributeT<int>>(n, "a"); }},
        {"long", [](Node* n) { return std::make_unique<AttributeT<long>>(n, "a"); }},
        {"unsigned long", [](Node* n) { return std::make_unique<AttributeT<unsigned long>>(n, "a"); }},
        {"bool", [](Node* n) { return std::make_unique<AttributeT<bool>>(n, "a"); }},
        {"QString", [](Node* n) { return std::make_unique<AttributeT<QString>>(n, "a"); }},
        {"asset", [](Node* n) { return std::make_unique<Basalt::AttributeAsset>(n, "a"); }},
        {"Color", [](Node* n) { return std::make_unique<AttributeT<Cobalt::Color>>(n, "a"); }},
        {"ColorPMA", [](Node* n) { return std::make_unique<AttributeT<Cobalt::ColorPMA>>(n, "a"); }},
        {"TimeStamp", [](Node* n) { return std::make_unique<AttributeT<Cobalt::TimeStamp>>(n, "a"); }},
        {"Vector2T<float>",
         [](Node* n) { return std::make_unique<AttributeT<Fathom::Vector2T<float>>>(n, "a"); }},
        {"Vector2T<int>",
         [](Node* n) { return std::make_unique<AttributeT<Fathom::Vector2T<int>>>(n, "a"); }},
        {"enum",
         [](Node* n) {
             return std::make_unique<AttributeT<LayersTestTypes::Mood>>(n, "a", LayersTestTypes::Mood::Calm,
                                                                        moods);
         }},
        {"location2:float", [](Node* n) { return std::make_unique<Basalt::AttributeLocation2f>(n, "a"); }},
        {"size2:float", [](Node* n) { return std::make_unique<AttributeT<Fathom::SizeT<float>>>(n, "a"); }},
        {"size2:int", [](Node* n) { return std::make_unique<AttributeT<Fathom::SizeT<int>>>(n, "a"); }},
        {"vector:float",
         [](Node* n) { return std::make_unique<Basalt::AttributeVectorContainer<float>>(n, "a"); }},
        {"vector:color",
         [](Node* n) {
             return std::make_unique<Basalt::AttributeVectorContainer<Cobalt::ColorPMA>>(n, "a");
         }},
        {"node", [](Node* n) { return std::make_unique<Node>(n, "a"); }},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.type);
        Node host;
        std::unique_ptr<Attribute> const attribute = row.make(&host);
        EXPECT_TRUE(attribute->isValueDefinedOnLayer(Attribute::LAYER_CURRENT));
        EXPECT_TRUE(attribute->isValueDefinedOnLayer(Attribute::LAYER_CURRENT_VALUE));
    }
}

TEST(AttributeLayers, WriteEqualToTheShownValueMovesTheLayerUpWithoutNotifying) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(6, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.setValue(6, Attribute::LAYER_ABOVE_USER);

    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_ABOVE_USER);
    EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_ABOVE_USER));
    EXPECT_EQ(changes.count(), 0) << "moving an unchanged value to a higher layer must not notify";

    attribute.setValue(6, Attribute::LAYER_ABOVE_USER);
    EXPECT_EQ(changes.count(), 0) << "a write equal to the shown value must not notify";
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

TEST(AttributeLayers, WriteOnAHigherLayerWithANewValueNotifiesOnce) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(6, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.setValue(8, Attribute::LAYER_ABOVE_USER);

    EXPECT_EQ(attribute.value(), 8);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_ABOVE_USER);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), 6)
        << "a higher layer must not overwrite a lower one";
    EXPECT_EQ(changes.count(), 1);
}

TEST(AttributeLayers, WritesBelowTheLayerInForceAreStoredButHiddenUntilTheLayersAboveAreCleared) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(9, Attribute::LAYER_ABOVE_USER);
    CountingListener changes(attribute);

    attribute.setValue(3, Attribute::LAYER_USER);
    attribute.setValue(2, Attribute::LAYER_BELOW_USER);

    EXPECT_EQ(attribute.value(), 9);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_ABOVE_USER);
    EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_BELOW_USER));
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), 3);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_BELOW_USER), 2);
    EXPECT_EQ(changes.count(), 0) << "writes below the layer in force must not notify";

    attribute.clearValue(Attribute::LAYER_ABOVE_USER);
    EXPECT_EQ(attribute.value(), 3);
    EXPECT_EQ(changes.count(), 1);
}

// Each clear of the layer in force walks down to the next defined layer and shows it.
TEST(AttributeLayers, ClearingTheLayerInForceFallsToTheNextDefinedLayerBelow) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(2, Attribute::LAYER_BELOW_USER);
    attribute.setValue(3, Attribute::LAYER_USER);
    attribute.setValue(4, Attribute::LAYER_ABOVE_USER);
    std::vector<std::pair<int, Layer>> seen;
    CountingListener changes(attribute,
                             [&] { seen.emplace_back(attribute.value(), attribute.currentLayer()); });

    attribute.clearValue(Attribute::LAYER_ABOVE_USER);
    attribute.clearValue(Attribute::LAYER_USER);
    attribute.clearValue(Attribute::LAYER_BELOW_USER);

    std::vector<std::pair<int, Layer>> const expected = {
        {3, Attribute::LAYER_USER}, {2, Attribute::LAYER_BELOW_USER}, {1, Attribute::LAYER_DEFAULT}};
    EXPECT_EQ(seen, expected) << "each listener call must see the value and layer already in force";
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

TEST(AttributeLayers, ClearedSlotKeepsItsContent) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(5, Attribute::LAYER_USER);

    attribute.clearValue(Attribute::LAYER_USER);

    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), 5);
    EXPECT_EQ(attribute.asInt(nullptr, Attribute::LAYER_USER), 5) << "readers don't look at the flag";
}

TEST(AttributeLayers, SpecialLayerArgumentsWriteAndClearTheLayerInForce) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(2, Attribute::LAYER_BELOW_USER);

    attribute.setValue(5, Attribute::LAYER_CURRENT);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_BELOW_USER);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_BELOW_USER), 5);

    attribute.setValue(6, Attribute::LAYER_CURRENT_VALUE);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_BELOW_USER);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_BELOW_USER), 6);
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));

    attribute.clearValue(Attribute::LAYER_CURRENT);
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_BELOW_USER));
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_EQ(attribute.value(), 1);
}

TEST(AttributeLayers, ClearingTheDefaultWhileItIsInForceDoesNothing) {
    AttributeT<int> attribute(nullptr, "width", 7);
    CountingListener changes(attribute);

    attribute.clearValue(Attribute::LAYER_DEFAULT);
    attribute.clearValue(Attribute::LAYER_CURRENT);

    EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_DEFAULT)) << "the default must stay defined";
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_EQ(attribute.value(), 7);
    EXPECT_EQ(changes.count(), 0);
}

TEST(AttributeLayers, DefaultClearedBelowTheUserLayerComesBackWhenTheUserLayerIsCleared) {
    AttributeT<int> attribute(nullptr, "width", 7);
    attribute.setValue(3, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.clearValue(Attribute::LAYER_DEFAULT);
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_DEFAULT));
    EXPECT_EQ(attribute.value(), 3);
    EXPECT_EQ(changes.count(), 0);

    attribute.clearValue(Attribute::LAYER_USER);
    EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_DEFAULT))
        << "falling back to the default must define it again";
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_EQ(attribute.value(), 7) << "the default slot keeps its content";
    EXPECT_EQ(changes.count(), 1);
}

// LAYER_COUNT is no valid argument; all that is asked is that it stays inside the four slots.
TEST(AttributeLayers, LayerCountArgumentKeepsTheInvariant) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(4, Attribute::LAYER_USER);

    attribute.setValue(5, Attribute::LAYER_COUNT);
    EXPECT_TRUE(holdsLayerInvariant(attribute));
    attribute.copyValueFromLayer(Attribute::LAYER_COUNT, Attribute::LAYER_ABOVE_USER);
    EXPECT_TRUE(holdsLayerInvariant(attribute));
    attribute.clearValue(Attribute::LAYER_COUNT);
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

// --- copyValueFromLayer

// Source per argument: the shown value, the value in force, or a slot whether it is defined or not.
TEST(AttributeLayers, CopyValueFromLayerTakesTheSourceTheArgumentNames) {
    struct Row {
        Layer from;
        int expected;
        int changes;
    };
    // Default 10, user 30, shown 99 (an animated value that is on no layer); the copy goes above the user.
    Row const rows[] = {
        {Attribute::LAYER_CURRENT_VALUE, 99, 0}, {Attribute::LAYER_CURRENT, 30, 1},
        {Attribute::LAYER_DEFAULT, 10, 1},       {Attribute::LAYER_BELOW_USER, 0, 1},
        {Attribute::LAYER_USER, 30, 1},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "from layer " << row.from);
        AttributeT<int> attribute(nullptr, "width", 10);
        attribute.setValue(30, Attribute::LAYER_USER);
        attribute.setAnimatedValue(99);
        CountingListener changes(attribute);

        attribute.copyValueFromLayer(row.from, Attribute::LAYER_ABOVE_USER);

        EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_ABOVE_USER), row.expected);
        EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_ABOVE_USER));
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_ABOVE_USER);
        EXPECT_EQ(attribute.value(), row.expected);
        EXPECT_EQ(changes.count(), row.changes) << "only a copy that differs from the shown value notifies";
    }
}

TEST(AttributeLayers, CopyValueToALowerLayerIsHiddenAndSilent) {
    AttributeT<int> attribute(nullptr, "width", 10);
    attribute.setValue(30, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.copyValueFromLayer(Attribute::LAYER_USER, Attribute::LAYER_DEFAULT);

    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_DEFAULT), 30);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    EXPECT_EQ(changes.count(), 0);
    EXPECT_FALSE(attribute.isChanged()) << "the default now equals the shown value";
}

// --- setAsDefaults

TEST(AttributeLayers, SetAsDefaultsMovesTheUserValueToTheDefaultWithoutNotifying) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(5, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.setAsDefaults();

    EXPECT_EQ(attribute.value(), 5);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_DEFAULT), 5);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER)) << "the user layer must end empty";
    EXPECT_FALSE(attribute.isChanged());
    EXPECT_EQ(changes.count(), 0) << "the shown value stays, so nothing is told";
}

TEST(AttributeLayers, SetAsDefaultsWithoutAUserValueDoesNothing) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(3, Attribute::LAYER_BELOW_USER);
    CountingListener changes(attribute);

    attribute.setAsDefaults();

    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_DEFAULT), 1);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_BELOW_USER);
    EXPECT_EQ(attribute.value(), 3);
    EXPECT_EQ(changes.count(), 0);
}

TEST(AttributeLayers, SetAsDefaultsUnderTheAboveUserLayerChangesTheDefaultSilently) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(5, Attribute::LAYER_USER);
    attribute.setValue(9, Attribute::LAYER_ABOVE_USER);
    CountingListener changes(attribute);

    attribute.setAsDefaults();

    EXPECT_EQ(attribute.value(), 9);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_ABOVE_USER);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_DEFAULT), 5);
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(changes.count(), 0);

    attribute.clearValue(Attribute::LAYER_ABOVE_USER);
    EXPECT_EQ(attribute.value(), 5) << "the moved default shows once the layer above is gone";
    EXPECT_EQ(changes.count(), 1);
}

TEST(AttributeLayers, SetAsDefaultsOfANodeReachesEveryChild) {
    Node node;
    AttributeT<int> width(&node, "width", 1);
    AttributeT<QString> title(&node, "title", QStringLiteral("untitled"));
    width = 5;
    title = QStringLiteral("plan");
    ASSERT_TRUE(node.isChanged());

    node.setAsDefaults();

    EXPECT_FALSE(node.isChanged());
    EXPECT_EQ(width.valueOnLayer(Attribute::LAYER_DEFAULT), 5);
    EXPECT_EQ(title.valueOnLayer(Attribute::LAYER_DEFAULT), QStringLiteral("plan"));
}

// --- isChanged

TEST(AttributeLayers, IsChangedComparesTheDefaultWithTheShownValueAboveTheDefaultLayer) {
    struct Row {
        char const* label;
        std::function<void(AttributeT<int>&)> prepare;
        bool changed;
    };
    Row const rows[] = {
        {"fresh", [](AttributeT<int>&) {}, false},
        {"user equals default", [](AttributeT<int>& a) { a.setValue(1, Attribute::LAYER_USER); }, false},
        {"user differs", [](AttributeT<int>& a) { a.setValue(2, Attribute::LAYER_USER); }, true},
        {"below user differs", [](AttributeT<int>& a) { a.setValue(2, Attribute::LAYER_BELOW_USER); }, true},
        {"above user differs", [](AttributeT<int>& a) { a.setValue(2, Attribute::LAYER_ABOVE_USER); }, true},
        {"default rewritten in force", [](AttributeT<int>& a) { a.setValue(2, Attribute::LAYER_DEFAULT); },
         false},
        {"user cleared",
         [](AttributeT<int>& a) {
             a.setValue(2, Attribute::LAYER_USER);
             a.clearValue(Attribute::LAYER_USER);
         },
         false},
        {"default raised to the user value",
         [](AttributeT<int>& a) {
             a.setValue(2, Attribute::LAYER_USER);
             a.setValue(2, Attribute::LAYER_DEFAULT);
         },
         false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        AttributeT<int> attribute(nullptr, "width", 1);
        row.prepare(attribute);
        EXPECT_EQ(attribute.isChanged(), row.changed);
    }
}

// --- emitChange and animated values

TEST(AttributeLayers, EmitChangeAlwaysNotifiesWithTheLayerInForce) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(4, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.emitChange();

    EXPECT_EQ(changes.count(), 1) << "emitChange pushes the value out even when it didn't change";
    EXPECT_EQ(attribute.value(), 4);
}

TEST(AttributeLayers, EmitChangeReplacesAnAnimatedValueWithTheLayerInForce) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(4, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.setAnimatedValue(40);
    EXPECT_EQ(attribute.value(), 40);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), 4) << "an animated value is stored on no layer";
    EXPECT_EQ(changes.count(), 1);

    attribute.setAnimatedValue(40);
    EXPECT_EQ(changes.count(), 1) << "showing the value already shown must not notify";

    attribute.emitChange();
    EXPECT_EQ(attribute.value(), 4);
    EXPECT_EQ(changes.count(), 2);
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

// The test against the shown value, not the value of the layer in force, decides whether a write notifies.
TEST(AttributeLayers, WriteIsComparedWithTheShownValueNotWithTheLayerInForce) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(4, Attribute::LAYER_USER);
    attribute.setAnimatedValue(40);
    CountingListener changes(attribute);

    attribute.setValue(4, Attribute::LAYER_USER);
    EXPECT_EQ(attribute.value(), 4) << "a write that differs from the shown value must show";
    EXPECT_EQ(changes.count(), 1);
}

// --- listeners

TEST(AttributeLayers, ListenerSeesTheNewValueAndLayerAlreadyInPlace) {
    AttributeT<int> attribute(nullptr, "width", 1);
    struct Seen {
        int value;
        Layer layer;
        bool userDefined;
    };
    std::vector<Seen> seen;
    CountingListener changes(attribute, [&] {
        seen.push_back({attribute.value(), attribute.currentLayer(),
                        attribute.isValueDefinedOnLayer(Attribute::LAYER_USER)});
    });

    attribute.setValue(5, Attribute::LAYER_USER);
    attribute.clearValue(Attribute::LAYER_USER);

    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].value, 5);
    EXPECT_EQ(seen[0].layer, Attribute::LAYER_USER);
    EXPECT_TRUE(seen[0].userDefined);
    EXPECT_EQ(seen[1].value, 1);
    EXPECT_EQ(seen[1].layer, Attribute::LAYER_DEFAULT);
    EXPECT_FALSE(seen[1].userDefined);
}

TEST(AttributeLayers, ListenerOfOtherRolesIsNotCalledForAChange) {
    AttributeT<int> attribute(nullptr, "width", 1);
    int deleteCalls = 0;
    int hostCalls = 0;
    attribute.addListener([&] { ++deleteCalls; }, Attribute::ROLE_DELETE);
    attribute.addListener([&] { ++hostCalls; }, Attribute::ROLE_HOST_CHANGE);

    attribute.setValue(5, Attribute::LAYER_USER);

    EXPECT_EQ(deleteCalls, 0);
    EXPECT_EQ(hostCalls, 0);
}

TEST(AttributeLayers, RemovedListenersAreNoLongerCalled) {
    Node owner;
    AttributeT<int> attribute(nullptr, "width", 1);
    int byId = 0;
    int byOwner = 0;
    long const id = attribute.addListener([&] { ++byId; }, Attribute::ROLE_CHANGE);
    attribute.addListener(
        &owner, [&] { ++byOwner; }, Attribute::ROLE_CHANGE);
    attribute.setValue(2, Attribute::LAYER_USER);
    ASSERT_EQ(byId, 1);
    ASSERT_EQ(byOwner, 1);

    attribute.removeListener(id);
    attribute.removeListener(&owner, Attribute::ROLE_CHANGE);
    attribute.setValue(3, Attribute::LAYER_USER);

    EXPECT_EQ(byId, 1);
    EXPECT_EQ(byOwner, 1);
    EXPECT_EQ(attribute.listenerCount(), 0u);
}

// A listener that writes the attribute it listens to re-enters the write with the new state.
TEST(AttributeLayers, ListenerWritingTheSameAttributeReentersWithTheNewState) {
    AttributeT<int> attribute(nullptr, "width", 1);
    std::vector<int> seen;
    CountingListener changes(attribute, [&] {
        seen.push_back(attribute.value());
        if (attribute.value() > 10) {
            attribute.setValue(10, Attribute::LAYER_USER); // clamps
        }
    });

    attribute.setValue(15, Attribute::LAYER_USER);

    EXPECT_EQ(attribute.value(), 10);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), 10);
    EXPECT_EQ(seen, (std::vector<int>{15, 10}));
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

TEST(AttributeLayers, ListenerRewritingTheValueItSeesDoesNotRecurse) {
    AttributeT<int> attribute(nullptr, "width", 1);
    CountingListener changes(attribute,
                             [&] { attribute.setValue(attribute.value(), Attribute::LAYER_USER); });

    attribute.setValue(7, Attribute::LAYER_USER);

    EXPECT_EQ(changes.count(), 1) << "a write equal to the shown value must not notify, even from a listener";
}

TEST(AttributeLayers, ListenerWritingAnotherAttributeOfTheElement) {
    Node element;
    AttributeT<int> width(&element, "width", 1);
    AttributeT<int> area(&element, "area", 1);
    CountingListener areaChanges(area);
    std::vector<int> areaSeenByWidthListener;
    CountingListener widthChanges(width, [&] {
        area = width.value() * width.value();
        areaSeenByWidthListener.push_back(area.value());
    });

    width = 3;
    width = 3;
    width = 4;

    EXPECT_EQ(area.value(), 16);
    EXPECT_EQ(widthChanges.count(), 2);
    EXPECT_EQ(areaChanges.count(), 2);
    EXPECT_EQ(areaSeenByWidthListener, (std::vector<int>{9, 16}))
        << "the nested write completes synchronously";
}

// A listener may destroy the attribute it listens to; the write then ends without touching it.
TEST(AttributeLayers, ListenerDestroyingItsOwnAttributeEndsTheWriteSafely) {
    struct Row {
        char const* path;
        std::function<void(AttributeT<int>&)> prepare;
        std::function<void(AttributeT<int>&)> trigger;
    };
    Row const rows[] = {
        {"setValue", [](AttributeT<int>&) {},
         [](AttributeT<int>& a) { a.setValue(5, Attribute::LAYER_USER); }},
        {"operator=", [](AttributeT<int>&) {}, [](AttributeT<int>& a) { a = 5; }},
        {"set(float)", [](AttributeT<int>&) {}, [](AttributeT<int>& a) { a.set(5.0f); }},
        {"set(int)", [](AttributeT<int>&) {}, [](AttributeT<int>& a) { a.set(5); }},
        {"clearValue", [](AttributeT<int>& a) { a.setValue(5, Attribute::LAYER_USER); },
         [](AttributeT<int>& a) { a.clearValue(Attribute::LAYER_USER); }},
        {"emitChange", [](AttributeT<int>&) {}, [](AttributeT<int>& a) { a.emitChange(); }},
        {"setAnimatedValue", [](AttributeT<int>&) {}, [](AttributeT<int>& a) { a.setAnimatedValue(5); }},
        {"copyValueFromLayer",
         [](AttributeT<int>& a) {
             a.setValue(5, Attribute::LAYER_BELOW_USER);
             a.setValue(2, Attribute::LAYER_USER);
         },
         [](AttributeT<int>& a) {
             a.copyValueFromLayer(Attribute::LAYER_BELOW_USER, Attribute::LAYER_USER);
         }},
        {"setAsDefaults",
         [](AttributeT<int>& a) {
             a.setValue(3, Attribute::LAYER_BELOW_USER);
             a.setValue(5, Attribute::LAYER_USER);
         },
         [](AttributeT<int>& a) { a.setAsDefaults(); }},
        {"eventProcess", [](AttributeT<int>&) {},
         [](AttributeT<int>& a) {
             Cobalt::BinaryData message;
             message.writeInt32(5);
             a.eventProcess(QByteArray(), message);
         }},
        {"deserialize", [](AttributeT<int>&) {},
         [](AttributeT<int>& a) {
             Basalt::Archive archive;
             Basalt::ArchiveElement element = archive.createElement(QStringLiteral("int"));
             element.set(QStringLiteral("5"));
             a.deserialize(element);
         }},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.path);
        Node element;
        auto* attribute = new AttributeT<int>(&element, "doomed", 1);
        row.prepare(*attribute);
        int deletes = 0;
        int laterListenerCalls = 0;
        attribute->addListener([&] { ++deletes; }, Attribute::ROLE_DELETE);
        attribute->addListener([attribute] { delete attribute; }, Attribute::ROLE_CHANGE);
        attribute->addListener([&] { ++laterListenerCalls; }, Attribute::ROLE_CHANGE);

        row.trigger(*attribute);

        EXPECT_EQ(deletes, 1) << "the attribute must have been destroyed by its listener";
        EXPECT_EQ(element.attribute("doomed"), nullptr) << "a destroyed attribute must leave its host";
        EXPECT_EQ(laterListenerCalls, 0) << "listeners of a destroyed attribute must not be called";
    }
}

// --- the virtual setValue

// Inlining the steps is only a speed-up: a subclass that overrides setValue and clearValue sees every write.
TEST(AttributeLayers, SubclassOverridingSetValueSeesEveryWritePath) {
    using Calls = std::vector<std::string>;
    struct Row {
        char const* path;
        std::function<void(RecordingInt&)> prepare;
        std::function<void(RecordingInt&)> act;
        Calls expected;
    };
    Row const rows[] = {
        {"operator=", [](RecordingInt&) {}, [](RecordingInt& a) { a = 5; }, {"setValue(5, 2)"}},
        {"set(float)", [](RecordingInt&) {}, [](RecordingInt& a) { a.set(2.5f); }, {"setValue(3, 2)"}},
        {"set(int)",
         [](RecordingInt&) {},
         [](RecordingInt& a) { a.set(4, Attribute::LAYER_ABOVE_USER); },
         {"setValue(4, 3)"}},
        {"set(StyleValue)",
         [](RecordingInt&) {},
         [](RecordingInt& a) { a.set(Basalt::StyleValue{Basalt::StyleValue::Component::number(6.9f)}); },
         {"setValue(6, 2)"}},
        {"eventProcess",
         [](RecordingInt&) {},
         [](RecordingInt& a) {
             Cobalt::BinaryData message;
             message.writeInt32(7);
             a.eventProcess(QByteArray(), message);
         },
         {"setValue(7, 2)"}},
        {"deserialize",
         [](RecordingInt&) {},
         [](RecordingInt& a) {
             Basalt::Archive archive;
             Basalt::ArchiveElement element = archive.createElement(QStringLiteral("int"));
             element.set(QStringLiteral("8"));
             a.deserialize(element);
         },
         {"setValue(8, 2)"}},
        {"copyValueFromLayer",
         [](RecordingInt&) {},
         [](RecordingInt& a) { a.copyValueFromLayer(Attribute::LAYER_DEFAULT, Attribute::LAYER_USER); },
         {"setValue(1, 2)"}},
        {"setAsDefaults",
         [](RecordingInt& a) { a = 9; },
         [](RecordingInt& a) { a.setAsDefaults(); },
         {"setValue(9, 0)", "clearValue(2)"}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.path);
        RecordingInt attribute(nullptr, "width", 1);
        row.prepare(attribute);
        attribute.calls.clear();

        row.act(attribute);

        EXPECT_EQ(attribute.calls, row.expected);
    }
}

// The float's own write paths honour an override too; a percentage is stored by the base steps directly.
TEST(AttributeLayers, FloatSubclassOverridingSetValueSeesEveryPlainWrite) {
    using Calls = std::vector<std::string>;
    struct Row {
        char const* path;
        std::function<void(RecordingFloat&)> act;
        Calls expected;
    };
    Row const rows[] = {
        {"operator=", [](RecordingFloat& a) { a = 2.5f; }, {"setValue(2.5, 2)"}},
        {"set(float)",
         [](RecordingFloat& a) { a.set(2.5f, Attribute::LAYER_ABOVE_USER); },
         {"setValue(2.5, 3)"}},
        {"set(int)", [](RecordingFloat& a) { a.set(4); }, {"setValue(4, 2)"}},
        {"set(StyleValue)",
         [](RecordingFloat& a) { a.set(Basalt::StyleValue{Basalt::StyleValue::Component::number(1.5f)}); },
         {"setValue(1.5, 2)"}},
        {"eventProcess",
         [](RecordingFloat& a) {
             Cobalt::BinaryData message;
             message.writeFloat32(7.5f);
             a.eventProcess(QByteArray(), message);
         },
         {"setValue(7.5, 2)"}},
        {"deserialize",
         [](RecordingFloat& a) {
             Basalt::Archive archive;
             Basalt::ArchiveElement element = archive.createElement(QStringLiteral("float"));
             element.set(QStringLiteral("8.5"));
             a.deserialize(element);
         },
         {"setValue(8.5, 2)"}},
        {"setAsDefaults",
         [](RecordingFloat& a) {
             a.set(9.5f);
             a.calls.clear();
             a.setAsDefaults();
         },
         {"setValue(9.5, 0)", "clearValue(2)"}},
        {"percentage",
         [](RecordingFloat& a) { a.set(50.0f, Attribute::LAYER_USER, Attribute::UNIT_PERCENTAGE); },
         {}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.path);
        RecordingFloat attribute(nullptr, "x", 1.0f);

        row.act(attribute);

        EXPECT_EQ(attribute.calls, row.expected);
    }
}

// --- the invariant under any sequence of operations

// Random operations checked against the layer rules: which layer is in force, what each slot holds, what
// is shown, and that a listener hears exactly the changes of the shown value.
// Repeated user writes take a shortcut; each test below changes the state behind it and checks that the next
// user write still follows the layer rules.
TEST(AttributeLayers, UserWriteAfterAnAnimatedValueStoresTheValueShown) {
    AttributeT<int> attribute(nullptr, "width", 0);
    attribute = 5;
    attribute = 5;
    attribute.setAnimatedValue(7);
    CountingListener changes(attribute);

    attribute = 7;
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), 7) << "the write must store what is shown";
    EXPECT_EQ(changes.count(), 0) << "the shown value did not change";
    attribute = 5;
    EXPECT_EQ(attribute.value(), 5);
    EXPECT_EQ(changes.count(), 1);
}

TEST(AttributeLayers, UserWriteAfterAValueAboveTheUserLayerStaysHidden) {
    AttributeT<int> attribute(nullptr, "width", 0);
    attribute = 4;
    attribute = 4;
    attribute.setValue(8, Attribute::LAYER_ABOVE_USER);
    CountingListener changes(attribute);

    attribute = 6;
    EXPECT_EQ(attribute.value(), 8) << "the layer above the user's stays in force";
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), 6);
    EXPECT_EQ(changes.count(), 0);
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

TEST(AttributeLayers, ListenerWritingAboveTheUserLayerHidesTheNextUserWrite) {
    AttributeT<int> attribute(nullptr, "width", 0);
    attribute = 1;
    bool first = true;
    attribute.addListener(
        [&] {
            if (first) {
                first = false;
                attribute.setValue(9, Attribute::LAYER_ABOVE_USER);
            }
        },
        Attribute::ROLE_CHANGE);

    attribute = 2;
    attribute = 3;
    EXPECT_EQ(attribute.value(), 9) << "a user write must stay below what a listener put above it";
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), 3);
    EXPECT_TRUE(holdsLayerInvariant(attribute));
}

TEST(AttributeLayers, UserWriteAfterClearingTheUserLayerTakesItAgain) {
    AttributeT<int> attribute(nullptr, "width", 0);
    attribute = 4;
    attribute = 4;
    attribute.clearValue(Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute = 4;
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    EXPECT_EQ(attribute.value(), 4);
    EXPECT_EQ(changes.count(), 1) << "the default 0 was shown before";
}

TEST(AttributeLayers, RandomOperationSequencesKeepTheLayerRules) {
    struct Model {
        int values[Attribute::LAYER_COUNT] = {0, 0, 0, 0};
        bool defined[Attribute::LAYER_COUNT] = {true, false, false, false};
        int current = Attribute::LAYER_DEFAULT;

        int resolve(int layer) const { return layer >= Attribute::LAYER_COUNT ? current : layer; }
        void set(int value, int layer) {
            layer = resolve(layer);
            values[layer] = value;
            defined[layer] = true;
            if (layer >= current) {
                current = layer;
            }
        }
        void clear(int layer) {
            layer = resolve(layer);
            if (layer == Attribute::LAYER_DEFAULT && current == Attribute::LAYER_DEFAULT) {
                return;
            }
            defined[layer] = false;
            if (layer != current) {
                return;
            }
            int below = layer - 1;
            while (below > Attribute::LAYER_DEFAULT && !defined[below]) {
                --below;
            }
            defined[below] = true;
            current = below;
        }
        int shown() const { return values[current]; }
    };

    int const specialLayers[] = {Attribute::LAYER_CURRENT, Attribute::LAYER_CURRENT_VALUE};
    for (unsigned seed : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u}) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        auto pick = [&](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
        auto anyLayer = [&] { return pick(6) < 4 ? pick(4) : specialLayers[pick(2)]; };

        AttributeT<int> attribute(nullptr, "width", 0);
        Model model;
        CountingListener changes(attribute);
        for (int step = 0; step < 400; ++step) {
            int const shownBefore = attribute.value();
            int const before = changes.count();
            std::string operation;
            switch (pick(6)) {
            case 0: {
                int const value = pick(3);
                int const layer = anyLayer();
                operation = "setValue(" + std::to_string(value) + ", " + std::to_string(layer) + ")";
                attribute.setValue(value, static_cast<Layer>(layer));
                model.set(value, layer);
                break;
            }
            case 1: {
                int const layer = anyLayer();
                operation = "clearValue(" + std::to_string(layer) + ")";
                attribute.clearValue(static_cast<Layer>(layer));
                model.clear(layer);
                break;
            }
            case 2: {
                int const from = anyLayer();
                int const to = pick(4);
                operation = "copyValueFromLayer(" + std::to_string(from) + ", " + std::to_string(to) + ")";
                int const source = from == Attribute::LAYER_CURRENT_VALUE ? model.shown()
                                                                          : model.values[model.resolve(from)];
                attribute.copyValueFromLayer(static_cast<Layer>(from), static_cast<Layer>(to));
                model.set(source, to);
                break;
            }
            case 3: {
                // The template's own write path, which takes shortcuts that setValue doesn't.
                int const value = pick(3);
                operation = "operator=(" + std::to_string(value) + ")";
                attribute = value;
                model.set(value, Attribute::LAYER_USER);
                break;
            }
            case 4: {
                int const value = pick(3);
                int const layer = anyLayer();
                operation = "set(" + std::to_string(value) + ", " + std::to_string(layer) + ")";
                attribute.set(value, static_cast<Layer>(layer));
                model.set(value, layer);
                break;
            }
            default:
                operation = "setAsDefaults()";
                attribute.setAsDefaults();
                if (model.defined[Attribute::LAYER_USER]) {
                    model.set(model.values[Attribute::LAYER_USER], Attribute::LAYER_DEFAULT);
                    model.clear(Attribute::LAYER_USER);
                }
                break;
            }
            SCOPED_TRACE(::testing::Message() << "step " << step << ": " << operation);
            ASSERT_TRUE(holdsLayerInvariant(attribute));
            ASSERT_EQ(attribute.currentLayer(), model.current);
            ASSERT_EQ(attribute.value(), model.shown());
            for (Layer layer : storedLayers) {
                ASSERT_EQ(attribute.isValueDefinedOnLayer(layer), model.defined[layer]) << "layer " << layer;
                ASSERT_EQ(attribute.valueOnLayer(layer), model.values[layer]) << "layer " << layer;
            }
            ASSERT_EQ(changes.count() - before, attribute.value() != shownBefore ? 1 : 0)
                << "a listener must hear exactly the changes of the shown value";
        }
    }
}
