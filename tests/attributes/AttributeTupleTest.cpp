#include "attributes/AttributeTuple.hpp"
#include "attributes/AttributeT.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/basalt/TransitionManager.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "platform/cobalt/Trace.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using Basalt::Attribute;
using Basalt::AttributeLocation2f;
using Basalt::StyleValue;
using Fathom::SizeT;
using Fathom::Vector2T;

namespace {

using SizeF = Basalt::AttributeT<SizeT<float>>;
using SizeI = Basalt::AttributeT<SizeT<int>>;

/// Counts the changes a listener of the tuple hears, and what it reads each time.
template <typename Tuple>
struct TupleChanges {
    explicit TupleChanges(Tuple& tuple) {
        tuple.addListener([this, &tuple] { seen.push_back(tuple.value()); }, Attribute::ROLE_CHANGE);
    }
    std::size_t count() const { return seen.size(); }
    std::vector<decltype(std::declval<Tuple&>().value())> seen;
};

Basalt::ArchiveElement elementWithText(Basalt::Archive& archive, QString const& text) {
    Basalt::ArchiveElement element = archive.createElement(QStringLiteral("size2:float"));
    element.set(text);
    return element;
}

} // namespace

TEST(AttributeTuple, TypeNamesTellThePairAndItsNumberType) {
    struct Row {
        char const* label;
        std::function<std::unique_ptr<Attribute>()> make;
        char const* type;
    };
    Row const rows[] = {
        {"location", [] { return std::make_unique<AttributeLocation2f>(nullptr, "location"); },
         "location2:float"},
        {"float size", [] { return std::make_unique<SizeF>(nullptr, "size"); }, "size2:float"},
        {"int size", [] { return std::make_unique<SizeI>(nullptr, "size"); }, "size2:int"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.make()->type(), QByteArray(row.type)) << row.label;
    }
}

TEST(AttributeTuple, ComponentsAreAttributesOfTheHostNamedWithXAndYSuffixes) {
    Basalt::Node host;
    AttributeLocation2f location(&host, "location", Vector2T<float>(1.0f, 2.0f));

    EXPECT_EQ(host.attribute("location"), &location);
    EXPECT_EQ(host.attribute("location-x"), &location.component(0));
    EXPECT_EQ(host.attribute("location-y"), &location.component(1));
    EXPECT_EQ(location.component(0).name(), QByteArray("location-x"));
    EXPECT_EQ(location.component(1).name(), QByteArray("location-y"));
    EXPECT_EQ(location.component(0).value(), 1.0f) << "each component takes its part of the default";
    EXPECT_EQ(location.component(1).value(), 2.0f);
    EXPECT_EQ(location.component(0).ownerShorthand(), &location);
    EXPECT_EQ(location.component(1).ownerShorthand(), &location);
    EXPECT_EQ(location.value(), Vector2T<float>(1.0f, 2.0f));
}

TEST(AttributeTuple, TheDocumentStoresTheComponentsAndNotTheTuple) {
    Basalt::Node host;
    AttributeLocation2f location(&host, "location", Vector2T<float>(1.0f, 2.0f));
    EXPECT_FALSE(location.isSerializable());
    EXPECT_TRUE(location.component(0).isSerializable());

    Basalt::Archive archive;
    Basalt::ArchiveElement const node = host.serialize(archive);
    QStringList names;
    for (auto child = node.children(); child; ++child) {
        names.append(child->name());
    }
    EXPECT_EQ(names, QStringList({QStringLiteral("location-x"), QStringLiteral("location-y")}));
}

TEST(AttributeTuple, WithoutAHostTheComponentsStayOutOfAnyNode) {
    AttributeLocation2f location(nullptr, "location");
    EXPECT_EQ(location.host(), nullptr);
    EXPECT_EQ(location.component(0).host(), nullptr);
    EXPECT_EQ(location.component(1).host(), nullptr);
}

TEST(AttributeTuple, RenamedComponentsAreFoundByTheHostUnderTheirNewNames) {
    Basalt::Node host;
    SizeF size(&host, "size", SizeT<float>(10.0f, 20.0f));
    TupleChanges<SizeF> changes(size);
    size.component(0).setName("width");
    size.component(1).setName("height");

    EXPECT_EQ(host.attribute("width"), &size.component(0));
    EXPECT_EQ(host.attribute("height"), &size.component(1));
    EXPECT_EQ(host.attribute("size-x"), nullptr) << "the old name must be forgotten";
    EXPECT_EQ(host.attribute("size-y"), nullptr);

    Cobalt::BinaryData message;
    message.writeFloat32(30.0f);
    host.eventProcess("width", message);
    EXPECT_EQ(size.value(), SizeT<float>(30.0f, 20.0f));
    EXPECT_EQ(changes.count(), 1u);
}

TEST(AttributeTuple, SettingBothComponentsToNewValuesRaisesOneChangeOnTheTuple) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    TupleChanges<AttributeLocation2f> changes(location);

    location = Vector2T<float>(3.0f, 4.0f);
    ASSERT_EQ(changes.count(), 1u) << "two component changes in one write must collapse into one";
    EXPECT_EQ(changes.seen[0], Vector2T<float>(3.0f, 4.0f)) << "the listener runs after both are written";

    location.set(Vector2T<float>(5.0f, 6.0f));
    EXPECT_EQ(changes.count(), 2u);
    location.set(7.0f);
    EXPECT_EQ(changes.count(), 3u);
    EXPECT_EQ(location.value(), Vector2T<float>(7.0f, 7.0f)) << "a single number goes to both components";
    location.set(8);
    EXPECT_EQ(changes.count(), 4u);
    EXPECT_EQ(location.value(), Vector2T<float>(8.0f, 8.0f));
}

TEST(AttributeTuple, SettingOneComponentOfAWholeWriteRaisesOneChange) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    TupleChanges<AttributeLocation2f> changes(location);
    location = Vector2T<float>(1.0f, 5.0f);
    EXPECT_EQ(changes.count(), 1u);
    EXPECT_EQ(location.value(), Vector2T<float>(1.0f, 5.0f));
}

TEST(AttributeTuple, SettingTheTupleToItsCurrentValueRaisesNoChange) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    TupleChanges<AttributeLocation2f> changes(location);
    location = Vector2T<float>(1.0f, 2.0f);
    location.set(Vector2T<float>(1.0f, 2.0f));
    EXPECT_EQ(changes.count(), 0u) << "a write equal to the shown value must not notify";
    EXPECT_EQ(location.component(0).currentLayer(), Attribute::LAYER_USER)
        << "it is still written on the user layer";
}

TEST(AttributeTuple, AMessageToTheXComponentAloneRaisesOneChangeOnTheTuple) {
    Basalt::Node host;
    AttributeLocation2f location(&host, "location", Vector2T<float>(1.0f, 2.0f));
    TupleChanges<AttributeLocation2f> changes(location);

    Cobalt::BinaryData message;
    message.writeFloat32(7.0f);
    host.eventProcess("location-x", message);

    EXPECT_EQ(location.value(), Vector2T<float>(7.0f, 2.0f));
    EXPECT_EQ(location.component(0).currentLayer(), Attribute::LAYER_USER);
    ASSERT_EQ(changes.count(), 1u) << "a change reaching one component from outside is a change of the tuple";
    EXPECT_EQ(changes.seen[0], Vector2T<float>(7.0f, 2.0f));
}

TEST(AttributeTuple, TheTupleHearsAComponentAfterTheComponentsOwnListeners) {
    Basalt::Node host;
    AttributeLocation2f location(&host, "location", Vector2T<float>(1.0f, 2.0f));
    std::vector<std::string> heard;
    location.component(0).addListener([&heard] { heard.push_back("component"); }, Attribute::ROLE_CHANGE);
    location.addListener([&heard] { heard.push_back("tuple"); }, Attribute::ROLE_CHANGE);

    location.component(0) = 5.0f;
    EXPECT_EQ(heard, (std::vector<std::string>{"component", "tuple"}));
    EXPECT_EQ(location.component(0).listenerCount(), 1u)
        << "the tuple is told without a listener of its own on the component";
}

// The tuple is told last, so that a tuple listener may take the whole element down with the component.
TEST(AttributeTuple, ATupleListenerMayDestroyTheElementWhileAComponentChanges) {
    struct Item : Basalt::Node {
        AttributeLocation2f location{this, "location"};
    };
    auto item = std::make_unique<Item>();
    int changes = 0;
    item->location.addListener(
        [&item, &changes] {
            ++changes;
            item.reset();
        },
        Attribute::ROLE_CHANGE);

    Cobalt::BinaryData message;
    message.writeFloat32(3.0f);
    item->eventProcess("location-y", message);
    EXPECT_EQ(item, nullptr);
    EXPECT_EQ(changes, 1);
}

TEST(AttributeTuple, LocationHasNoMessageFormOfItsOwn) {
    Basalt::Node host;
    AttributeLocation2f location(&host, "location", Vector2T<float>(1.0f, 2.0f));
    TupleChanges<AttributeLocation2f> changes(location);
    TestSupport::CapturedLog log;

    Cobalt::BinaryData message;
    message.writeVector2Float32(Vector2T<float>(5.0f, 6.0f));
    host.eventProcess("location", message);
    EXPECT_EQ(location.value(), Vector2T<float>(1.0f, 2.0f));
    EXPECT_EQ(changes.count(), 0u);
    EXPECT_TRUE(log.entries().empty()) << "only the size logs a message it can't read";
}

TEST(AttributeTuple, DeserializeOfASizeWithOtherThanTwoNumbersIsRefusedAndWritesNothing) {
    char const* const refused[] = {"5", "1 2 3", "", "   ", "1 2 3 4"};
    for (char const* text : refused) {
        SizeF size(nullptr, "size", SizeT<float>(10.0f, 20.0f));
        TupleChanges<SizeF> changes(size);
        Basalt::Archive archive;
        EXPECT_FALSE(size.deserialize(elementWithText(archive, QString::fromLatin1(text))))
            << "'" << text << "'";
        EXPECT_EQ(size.value(), SizeT<float>(10.0f, 20.0f)) << "'" << text << "'";
        EXPECT_FALSE(size.isValueDefinedOnLayer(Attribute::LAYER_USER))
            << "'" << text << "' must write nothing";
        EXPECT_EQ(changes.count(), 0u) << "'" << text << "'";
    }
}

TEST(AttributeTuple, DeserializeOfTwoNumbersWritesBothOnTheUserLayer) {
    struct Row {
        char const* text;
        SizeT<float> expected;
    };
    Row const rows[] = {
        {"3 4", {3.0f, 4.0f}}, {"  3.5\t\n4.25 ", {3.5f, 4.25f}}, {"1e2 -2", {100.0f, -2.0f}}};
    for (Row const& row : rows) {
        SizeF size(nullptr, "size", SizeT<float>(10.0f, 20.0f));
        TupleChanges<SizeF> changes(size);
        Basalt::Archive archive;
        EXPECT_TRUE(size.deserialize(elementWithText(archive, QString::fromLatin1(row.text)))) << row.text;
        EXPECT_EQ(size.value(), row.expected) << row.text;
        EXPECT_EQ(size.component(0).currentLayer(), Attribute::LAYER_USER) << row.text;
        EXPECT_EQ(size.component(1).currentLayer(), Attribute::LAYER_USER) << row.text;
        EXPECT_EQ(changes.count(), 1u) << row.text;
    }
}

TEST(AttributeTuple, SetFromAStyleValueWithOnePartWritesBothComponents) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    TupleChanges<AttributeLocation2f> changes(location);
    EXPECT_TRUE(location.set(StyleValue{StyleValue::Component::number(7.0f)}));
    EXPECT_EQ(location.value(), Vector2T<float>(7.0f, 7.0f));
    EXPECT_EQ(changes.count(), 1u);
}

TEST(AttributeTuple, SetFromAStyleValueGivesEachComponentItsPart) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    EXPECT_TRUE(
        location.set(StyleValue{StyleValue::Component::number(3.0f), StyleValue::Component::integer(4)}));
    EXPECT_EQ(location.value(), Vector2T<float>(3.0f, 4.0f));
}

TEST(AttributeTuple, SetFromAStyleValueWithoutPartsIsRefused) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    TupleChanges<AttributeLocation2f> changes(location);
    EXPECT_FALSE(location.set(StyleValue()));
    EXPECT_EQ(location.value(), Vector2T<float>(1.0f, 2.0f));
    EXPECT_EQ(changes.count(), 0u);
}

TEST(AttributeTuple, SetFromAStyleValueFailsWhenAComponentRefusesItsPart) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    EXPECT_FALSE(location.set(
        StyleValue{StyleValue::Component::number(3.0f), StyleValue::Component::keyword("auto")}));
    EXPECT_EQ(location.value().x, 3.0f) << "the component that accepted keeps its value";
    EXPECT_EQ(location.value().y, 2.0f);
}

TEST(AttributeTuple, AFloatSizeTakesAVector2Message) {
    Basalt::Node host;
    SizeF size(&host, "size", SizeT<float>(10.0f, 20.0f));
    TupleChanges<SizeF> changes(size);
    Cobalt::BinaryData message;
    message.writeVector2Float32(Vector2T<float>(3.5f, 4.5f));
    host.eventProcess("size", message);
    EXPECT_EQ(size.value(), SizeT<float>(3.5f, 4.5f));
    EXPECT_EQ(size.component(0).currentLayer(), Attribute::LAYER_USER);
    EXPECT_EQ(changes.count(), 1u);
}

TEST(AttributeTuple, AnIntSizeTakesAnIntegerVector2Message) {
    SizeI size(nullptr, "size", SizeT<int>(1, 2));
    TupleChanges<SizeI> changes(size);
    Cobalt::BinaryData message;
    message.writeVector2Int32(Vector2T<int>(30, -40));
    size.eventProcess(QByteArray(), message);
    EXPECT_EQ(size.value(), SizeT<int>(30, -40));
    EXPECT_EQ(changes.count(), 1u);
}

TEST(AttributeTuple, ASizeLogsAWarningForAMessageItCannotRead) {
    struct Row {
        char const* label;
        std::function<std::unique_ptr<Attribute>()> make;
        std::function<void(Cobalt::BinaryData&)> write;
    };
    Row const rows[] = {
        {"float size, a single float",
         [] { return std::make_unique<SizeF>(nullptr, "size", SizeT<float>(1, 2)); },
         [](Cobalt::BinaryData& data) { data.writeFloat32(3.0f); }},
        {"float size, empty message",
         [] { return std::make_unique<SizeF>(nullptr, "size", SizeT<float>(1, 2)); },
         [](Cobalt::BinaryData&) {}},
        {"int size, a float vector",
         [] { return std::make_unique<SizeI>(nullptr, "size", SizeT<int>(1, 2)); },
         [](Cobalt::BinaryData& data) { data.writeVector2Float32(Vector2T<float>(3.0f, 4.0f)); }},
    };
    for (Row const& row : rows) {
        std::unique_ptr<Attribute> const size = row.make();
        QString const before = size->asString();
        int changes = 0;
        size->addListener([&changes] { ++changes; }, Attribute::ROLE_CHANGE);
        Cobalt::BinaryData message;
        row.write(message);
        TestSupport::CapturedLog log;
        size->eventProcess(QByteArray(), message);
        ASSERT_EQ(log.entries().size(), 1u) << row.label;
        EXPECT_EQ(log.entries()[0].first, Cobalt::Trace::LEVEL_WARNING) << row.label;
        EXPECT_EQ(log.entries()[0].second, "AttributeSizeT::eventProcess # Failed to parse data")
            << row.label;
        EXPECT_EQ(size->asString(), before) << row.label << ": the message is dropped";
        EXPECT_EQ(changes, 0) << row.label;
    }
}

TEST(AttributeTuple, HandleShorthandHandsOnePartToEachComponent) {
    AttributeLocation2f location(nullptr, "location");
    Attribute* const x = &location.component(0);
    Attribute* const y = &location.component(1);

    Cobalt::ArrayMap<Attribute*, StyleValue> parts;
    EXPECT_TRUE(location.handleShorthand(StyleValue{StyleValue::Component::number(5.0f)}, parts));
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(parts[x].size(), 1);
    EXPECT_EQ(parts[x].asFloat(0), 5.0f);
    EXPECT_EQ(parts[y].asFloat(0), 5.0f) << "a single part goes to both components";

    parts.clear();
    EXPECT_TRUE(location.handleShorthand(
        StyleValue{StyleValue::Component::number(1.0f), StyleValue::Component::number(2.0f)}, parts));
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(parts[x].asFloat(0), 1.0f);
    EXPECT_EQ(parts[y].asFloat(0), 2.0f);
    EXPECT_EQ(location.value(), Vector2T<float>()) << "handing out parts writes nothing";
}

TEST(AttributeTuple, HandleShorthandRefusesNoneOrMoreThanTwoParts) {
    AttributeLocation2f location(nullptr, "location");
    StyleValue three{StyleValue::Component::number(1.0f), StyleValue::Component::number(2.0f),
                     StyleValue::Component::number(3.0f)};
    for (StyleValue const& value : {StyleValue(), three}) {
        Cobalt::ArrayMap<Attribute*, StyleValue> parts;
        EXPECT_FALSE(location.handleShorthand(value, parts)) << value.size() << " parts";
        EXPECT_TRUE(parts.empty()) << value.size() << " parts";
    }
}

TEST(AttributeTuple, UnitsApplyPerComponent) {
    using Units = QList<Attribute::ValueUnit>;
    struct Row {
        char const* label;
        Units units;
        bool xPercentage;
        bool yPercentage;
    };
    Row const rows[] = {
        {"no units", Units(), false, false},
        {"one unit for both", Units{Attribute::UNIT_PERCENTAGE}, true, true},
        {"one per component", Units{Attribute::UNIT_PERCENTAGE, Attribute::UNIT_NUMBER}, true, false},
        {"one per component, reversed", Units{Attribute::UNIT_NUMBER, Attribute::UNIT_PERCENTAGE}, false,
         true},
    };
    for (Row const& row : rows) {
        AttributeLocation2f location(nullptr, "location");
        EXPECT_TRUE(location.set(Vector2T<float>(50.0f, 20.0f), Attribute::LAYER_USER, row.units))
            << row.label;
        // A percentage is taken of the expression parameter, 1.0.
        EXPECT_FLOAT_EQ(location.value().x, row.xPercentage ? 0.5f : 50.0f) << row.label;
        EXPECT_FLOAT_EQ(location.value().y, row.yPercentage ? 0.2f : 20.0f) << row.label;
        EXPECT_EQ(location.component(0).expression(Attribute::LAYER_USER) != nullptr, row.xPercentage)
            << row.label;
        EXPECT_EQ(location.component(1).expression(Attribute::LAYER_USER) != nullptr, row.yPercentage)
            << row.label;
    }
}

TEST(AttributeTuple, LongerVectorsGiveTheirFirstTwoElements) {
    AttributeLocation2f location(nullptr, "location");
    EXPECT_TRUE(location.set(Fathom::Vector3T<float>(1.0f, 2.0f, 3.0f)));
    EXPECT_EQ(location.value(), Vector2T<float>(1.0f, 2.0f));
    EXPECT_TRUE(location.set(Fathom::Vector4T<float>(4.0f, 5.0f, 6.0f, 7.0f), Attribute::LAYER_USER,
                             {Attribute::UNIT_NUMBER, Attribute::UNIT_PERCENTAGE, Attribute::UNIT_NUMBER}));
    EXPECT_EQ(location.value().x, 4.0f);
    EXPECT_FLOAT_EQ(location.value().y, 0.05f) << "component 1 takes the second unit";
}

TEST(AttributeTuple, AnIntSizeRoundsFloatsInItsComponents) {
    SizeI size(nullptr, "size", SizeT<int>(1, 2));
    EXPECT_TRUE(size.set(Vector2T<float>(2.5f, -2.5f)));
    EXPECT_EQ(size.value(), SizeT<int>(3, -3));
    EXPECT_EQ(size.component(0).type(), QByteArray("int")) << "the integer size is made of int components";
}

TEST(AttributeTuple, IsChangedWhenEitherComponentIsChanged) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    EXPECT_FALSE(location.isChanged());
    location.component(1) = 2.0f;
    EXPECT_FALSE(location.isChanged()) << "the user layer holding the default is not a change";
    location.component(1) = 5.0f;
    EXPECT_TRUE(location.isChanged());
    location.component(1) = 2.0f;
    location.component(0) = 9.0f;
    EXPECT_TRUE(location.isChanged());
}

TEST(AttributeTuple, IsValueDefinedOnLayerAsksEitherComponent) {
    AttributeLocation2f location(nullptr, "location");
    EXPECT_TRUE(location.isValueDefinedOnLayer(Attribute::LAYER_DEFAULT));
    EXPECT_FALSE(location.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_TRUE(location.isValueDefinedOnLayer(Attribute::LAYER_CURRENT));
    EXPECT_TRUE(location.isValueDefinedOnLayer(Attribute::LAYER_CURRENT_VALUE));
    location.component(1).setValue(3.0f, Attribute::LAYER_USER);
    EXPECT_TRUE(location.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_FALSE(location.isValueDefinedOnLayer(Attribute::LAYER_ABOVE_USER));
}

TEST(AttributeTuple, ClearValueClearsBothComponentsWithOneChange) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    location = Vector2T<float>(3.0f, 4.0f);
    TupleChanges<AttributeLocation2f> changes(location);
    location.clearValue(Attribute::LAYER_USER);
    EXPECT_EQ(location.value(), Vector2T<float>(1.0f, 2.0f));
    EXPECT_FALSE(location.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(changes.count(), 1u);
}

TEST(AttributeTuple, SetAsDefaultsMovesBothComponentsToTheDefaultLayerSilently) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.0f, 2.0f));
    location = Vector2T<float>(3.0f, 4.0f);
    TupleChanges<AttributeLocation2f> changes(location);
    location.setAsDefaults();
    EXPECT_EQ(location.value(), Vector2T<float>(3.0f, 4.0f));
    EXPECT_FALSE(location.isChanged());
    EXPECT_FALSE(location.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(location.component(0).valueOnLayer(Attribute::LAYER_DEFAULT), 3.0f);
    EXPECT_EQ(location.component(1).valueOnLayer(Attribute::LAYER_DEFAULT), 4.0f);
    EXPECT_EQ(changes.count(), 0u) << "the shown value stays, so nothing is emitted";
}

TEST(AttributeTuple, AsStringJoinsTheComponentsWithOneBlank) {
    AttributeLocation2f location(nullptr, "location", Vector2T<float>(1.5f, -2.0f));
    bool ok = false;
    EXPECT_EQ(location.asString(&ok), QStringLiteral("1.5 -2"));
    EXPECT_TRUE(ok);
    SizeI size(nullptr, "size", SizeT<int>(3, 4));
    EXPECT_EQ(size.asString(), QStringLiteral("3 4"));
}

TEST(AttributeTuple, TransitionParametersGoToBothComponents) {
    AttributeLocation2f location(nullptr, "location");
    location.setTransitionParameters(Basalt::TransitionParameters{1.0f, 0.0f, 0.25f, 0.25f, 0.75f, 0.75f});
    ASSERT_NE(location.component(0).transition(), nullptr);
    ASSERT_NE(location.component(1).transition(), nullptr);
    location = Vector2T<float>(10.0f, 20.0f);
    EXPECT_EQ(location.value(), Vector2T<float>()) << "the write animates";
    Basalt::TransitionManagerT<float>::instance()->update(0.5f);
    EXPECT_EQ(location.value(), Vector2T<float>(5.0f, 10.0f));

    location.setTransitionParameters(Basalt::TransitionParameters{});
    EXPECT_EQ(location.component(0).transition(), nullptr);
    EXPECT_EQ(location.component(1).transition(), nullptr);
    EXPECT_EQ(location.value(), Vector2T<float>(10.0f, 20.0f));
}
