#include "attributes/AttributeT.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "platform/cobalt/Trace.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/CountingListener.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using Basalt::Archive;
using Basalt::ArchiveElement;
using Basalt::Attribute;
using Basalt::AttributeT;
using Basalt::Node;
using Cobalt::BinaryData;
using TestSupport::CountingListener;
using Vector2f = Fathom::Vector2T<float>;
using Vector2i = Fathom::Vector2T<int>;

namespace RoundTripTypes {
enum class Fruit { Apple = 1, Pear = 2, Plum = 3 };
} // namespace RoundTripTypes

using RoundTripTypes::Fruit;

namespace {

Basalt::EnumNames const& fruitNames() {
    static Basalt::EnumNames const names{{"apple", 1}, {"pear", 2}, {"plum", 3}};
    return names;
}

/// One value type as the round trips see it: how to build an attribute of it, a value other than its
/// default, the archive form of that value, and the message that carries another value (if the type reads
/// messages at all).
struct TypeCase {
    std::string label;
    std::function<std::unique_ptr<Attribute>(Node*, QByteArray const&)> make;
    std::function<void(Attribute&)> writeUserValue;
    std::function<bool(Attribute const&, Attribute const&)> sameShown;
    std::string tag;
    std::string type;
    std::string text;
    std::function<void(BinaryData&)> writeMessage; // empty: the type ignores messages
    std::function<bool(Attribute const&)> holdsMessageValue;
};

template <typename A>
TypeCase makeCase(std::string label, std::function<std::unique_ptr<A>(Node*, QByteArray const&)> make,
                  typename A::ValueType userValue, std::string tag, std::string type, std::string text,
                  std::function<void(BinaryData&)> writeMessage = {},
                  typename A::ValueType messageValue = typename A::ValueType()) {
    TypeCase row;
    row.label = std::move(label);
    row.make = [make](Node* host, QByteArray const& name) -> std::unique_ptr<Attribute> {
        return make(host, name);
    };
    row.writeUserValue = [userValue](Attribute& a) {
        static_cast<A&>(a).setValue(userValue, Attribute::LAYER_USER);
    };
    row.sameShown = [](Attribute const& a, Attribute const& b) {
        return static_cast<A const&>(a).value() == static_cast<A const&>(b).value();
    };
    row.tag = std::move(tag);
    row.type = std::move(type);
    row.text = std::move(text);
    row.writeMessage = std::move(writeMessage);
    row.holdsMessageValue = [messageValue](Attribute const& a) {
        return static_cast<A const&>(a).value() == messageValue;
    };
    return row;
}

template <typename A>
std::function<std::unique_ptr<A>(Node*, QByteArray const&)> plain() {
    return [](Node* host, QByteArray const& name) { return std::make_unique<A>(host, name); };
}

std::vector<TypeCase> const& everyValueType() {
    static std::vector<TypeCase> const cases = {
        makeCase<AttributeT<float>>(
            "float", plain<AttributeT<float>>(), 2.5f, "float", "float", "2.5",
            [](BinaryData& m) { m.writeFloat32(-7.25f); }, -7.25f),
        makeCase<AttributeT<int>>(
            "int", plain<AttributeT<int>>(), -42, "int", "int", "-42",
            [](BinaryData& m) { m.writeInt32(77); }, 77),
        makeCase<AttributeT<long>>(
            "long", plain<AttributeT<long>>(), -5000000000L, "long", "long", "-5000000000",
            [](BinaryData& m) { m.writeInt64(6000000000L); }, 6000000000L),
        makeCase<AttributeT<unsigned long>>(
            "unsigned long", plain<AttributeT<unsigned long>>(), std::numeric_limits<unsigned long>::max(),
            "unsigned long", "unsigned long", "18446744073709551615", [](BinaryData& m) { m.writeInt64(-2); },
            std::numeric_limits<unsigned long>::max() - 1),
        makeCase<AttributeT<bool>>(
            "bool", plain<AttributeT<bool>>(), true, "bool", "bool", "1",
            [](BinaryData& m) { m.writeBool(true); }, true),
        makeCase<AttributeT<QString>>(
            "QString", plain<AttributeT<QString>>(), QStringLiteral("Grüße, world"), "string", "string",
            "Grüße, world", [](BinaryData& m) { m.writeString(QStringLiteral("façade").toUtf8()); },
            QStringLiteral("façade")),
        makeCase<Basalt::AttributeAsset>(
            "asset", plain<Basalt::AttributeAsset>(), QStringLiteral("0a1b2c"), "string", "asset", "0a1b2c",
            [](BinaryData& m) { m.writeString("ff00"); }, QStringLiteral("ff00")),
        makeCase<AttributeT<Cobalt::Color>>("Color", plain<AttributeT<Cobalt::Color>>(),
                                            Cobalt::Color(1.0f, 0.5f, 0.25f, 1.0f), "Cobalt::Color",
                                            "Cobalt::Color", "1 0.5 0.25 1"),
        makeCase<AttributeT<Cobalt::ColorPMA>>("ColorPMA", plain<AttributeT<Cobalt::ColorPMA>>(),
                                               Cobalt::ColorPMA(0.5f, 0.25f, 0.0f, 0.5f), "color", "color",
                                               "0.5 0.25 0 0.5"),
        makeCase<AttributeT<Cobalt::TimeStamp>>(
            "TimeStamp", plain<AttributeT<Cobalt::TimeStamp>>(), Cobalt::TimeStamp(1700000000123456),
            "timestamp", "timestamp", "1700000000123456",
            [](BinaryData& m) { m.writeTimeStamp(Cobalt::TimeStamp(99)); }, Cobalt::TimeStamp(99)),
        makeCase<AttributeT<Vector2f>>(
            "Vector2T<float>", plain<AttributeT<Vector2f>>(), Vector2f(1.5f, -2.0f), "vector2:float",
            "vector2:float", "1.5 -2", [](BinaryData& m) { m.writeVector2Float32(Vector2f(3.0f, 4.5f)); },
            Vector2f(3.0f, 4.5f)),
        makeCase<AttributeT<Vector2i>>(
            "Vector2T<int>", plain<AttributeT<Vector2i>>(), Vector2i(3, -4), "vector2:int", "vector2:int",
            "3 -4", [](BinaryData& m) { m.writeVector2Int32(Vector2i(-5, 6)); }, Vector2i(-5, 6)),
        makeCase<AttributeT<Fruit>>(
            "enum",
            [](Node* host, QByteArray const& name) {
                return std::make_unique<AttributeT<Fruit>>(host, name, Fruit::Apple, fruitNames());
            },
            Fruit::Plum, "RoundTripTypes::Fruit", "enum:RoundTripTypes::Fruit", "3",
            [](BinaryData& m) { m.writeString("Pear"); }, Fruit::Pear),
    };
    return cases;
}

/// Refuses elements of one tag, as an archive that skips some kinds of value would.
class RefusingArchive : public Archive {
public:
    explicit RefusingArchive(QString refusedTag) : m_refusedTag(std::move(refusedTag)) {}
    ArchiveElement createElement(QString const& tag) override {
        return tag == m_refusedTag ? ArchiveElement() : Archive::createElement(tag);
    }

private:
    QString m_refusedTag;
};

} // namespace

// ============================================================ each value type

TEST(AttributeRoundTrip, EveryValueTypeSurvivesSerializeThenDeserialize) {
    for (TypeCase const& row : everyValueType()) {
        SCOPED_TRACE(row.label);
        Node sourceHost;
        std::unique_ptr<Attribute> const source = row.make(&sourceHost, "key");
        row.writeUserValue(*source);
        Archive archive;

        ArchiveElement const element = source->serialize(archive);

        ASSERT_FALSE(element.isNull());
        EXPECT_EQ(element.tag().toStdString(), row.tag);
        EXPECT_EQ(element.name().toStdString(), "key");
        EXPECT_EQ(element.property(QStringLiteral("type")).toStdString(), row.type);
        EXPECT_EQ(source->type().toStdString(), row.type);
        EXPECT_EQ(element.get().toStdString(), row.text);

        Node targetHost;
        std::unique_ptr<Attribute> const target = row.make(&targetHost, "key");
        ASSERT_FALSE(row.sameShown(*source, *target)) << "the test value must differ from the default";
        CountingListener changes(*target);

        EXPECT_TRUE(target->deserialize(element));

        EXPECT_TRUE(row.sameShown(*source, *target)) << "the value must come back";
        EXPECT_TRUE(target->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << "archives are read on the user layer";
        EXPECT_TRUE(target->isChanged());
        EXPECT_EQ(changes.count(), 1);
    }
}

TEST(AttributeRoundTrip, EveryTypeThatReadsMessagesWritesTheUserLayer) {
    for (TypeCase const& row : everyValueType()) {
        if (!row.writeMessage) {
            continue;
        }
        SCOPED_TRACE(row.label);
        Node host;
        std::unique_ptr<Attribute> const attribute = row.make(&host, "key");
        CountingListener changes(*attribute);
        BinaryData message;
        row.writeMessage(message);

        attribute->eventProcess(QByteArray(), message);

        EXPECT_TRUE(row.holdsMessageValue(*attribute));
        EXPECT_TRUE(attribute->isValueDefinedOnLayer(Attribute::LAYER_USER));
        EXPECT_EQ(changes.count(), 1);
        EXPECT_TRUE(message.atEnd()) << "the value must have been consumed";
    }
}

// Mistyped, truncated and empty messages are dropped without a word, whatever the type.
TEST(AttributeRoundTrip, UnreadableMessagesAreDroppedSilentlyAndTheValueKept) {
    for (TypeCase const& row : everyValueType()) {
        std::vector<std::pair<std::string, BinaryData>> messages;
        BinaryData mistyped;
        mistyped.writeFloat64(1.0);
        messages.emplace_back("mistyped", mistyped);
        messages.emplace_back("empty", BinaryData());
        messages.emplace_back("unknown tag", BinaryData(QByteArray(1, '\x7f')));
        if (row.writeMessage) {
            BinaryData whole;
            row.writeMessage(whole);
            messages.emplace_back("truncated", BinaryData(whole.data().chopped(1)));
            messages.emplace_back("tag only", BinaryData(whole.data().left(1)));
        }
        for (auto& [label, message] : messages) {
            SCOPED_TRACE(row.label + ", " + label);
            Node host;
            std::unique_ptr<Attribute> const attribute = row.make(&host, "key");
            std::unique_ptr<Attribute> const untouched = row.make(nullptr, "key");
            CountingListener changes(*attribute);
            TestSupport::CapturedLog trace;

            attribute->eventProcess(QByteArray(), message);

            EXPECT_TRUE(row.sameShown(*attribute, *untouched));
            EXPECT_FALSE(attribute->isValueDefinedOnLayer(Attribute::LAYER_USER));
            EXPECT_EQ(changes.count(), 0);
            EXPECT_TRUE(trace.entries().empty()) << "a dropped message must not be logged";
            EXPECT_EQ(message.position(), 0) << "a failed read consumes nothing";
        }
    }
}

// ============================================================ the layer mask

// The archive's mask picks the highest stored layer that it wants and that is defined.
TEST(AttributeRoundTrip, LayerMaskChoosesTheHighestWantedDefinedLayer) {
    struct Row {
        unsigned mask;
        char const* expected; // null: nothing to write
    };
    // Default 1, below-user 2, user 3; nothing above the user.
    Row const rows[] = {
        {Archive::LAYERS_ALL, "3"},
        {Archive::layerBit(Attribute::LAYER_DEFAULT), "1"},
        {Archive::layerBit(Attribute::LAYER_BELOW_USER), "2"},
        {Archive::layerBit(Attribute::LAYER_USER), "3"},
        {Archive::layerBit(Attribute::LAYER_DEFAULT) | Archive::layerBit(Attribute::LAYER_BELOW_USER), "2"},
        {Archive::layerBit(Attribute::LAYER_DEFAULT) | Archive::layerBit(Attribute::LAYER_ABOVE_USER), "1"},
        {Archive::layerBit(Attribute::LAYER_ABOVE_USER), nullptr},
        {0u, nullptr},
    };
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(2, Attribute::LAYER_BELOW_USER);
    attribute.setValue(3, Attribute::LAYER_USER);
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "mask " << row.mask);
        Archive archive(row.mask);

        ArchiveElement const element = attribute.serialize(archive);

        if (row.expected) {
            ASSERT_FALSE(element.isNull());
            EXPECT_EQ(element.get().toStdString(), row.expected);
        } else {
            EXPECT_TRUE(element.isNull()) << "an attribute with no wanted layer must write nothing";
        }
    }
}

TEST(AttributeRoundTrip, LayerAboveTheUserIsWrittenWhenDefinedAndWanted) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(3, Attribute::LAYER_USER);
    attribute.setValue(4, Attribute::LAYER_ABOVE_USER);
    Archive all;
    Archive userOnly(Archive::layerBit(Attribute::LAYER_USER));

    EXPECT_EQ(attribute.serialize(all).get().toStdString(), "4");
    EXPECT_EQ(attribute.serialize(userOnly).get().toStdString(), "3");
}

TEST(AttributeRoundTrip, ClearedLayerIsNotWrittenThoughItsSlotKeepsTheValue) {
    AttributeT<int> attribute(nullptr, "width", 1);
    attribute.setValue(3, Attribute::LAYER_USER);
    attribute.clearValue(Attribute::LAYER_USER);
    Archive userOnly(Archive::layerBit(Attribute::LAYER_USER));

    EXPECT_TRUE(attribute.serialize(userOnly).isNull());
}

TEST(AttributeRoundTrip, NodeLeavesOutAttributesWithNothingToWrite) {
    Node node(nullptr, "element");
    AttributeT<int> width(&node, "width", 1);
    AttributeT<int> height(&node, "height", 1);
    width = 5;
    Archive userOnly(Archive::layerBit(Attribute::LAYER_USER));

    ArchiveElement const element = node.serialize(userOnly);

    ASSERT_EQ(element.childCount(), 1);
    EXPECT_EQ(element.children()->name().toStdString(), "width");
}

// ============================================================ refused elements, names and types

TEST(AttributeRoundTrip, RefusedElementMakesSerializeReturnNull) {
    for (TypeCase const& row : everyValueType()) {
        SCOPED_TRACE(row.label);
        std::unique_ptr<Attribute> const attribute = row.make(nullptr, "key");
        RefusingArchive archive(QString::fromStdString(row.tag));

        EXPECT_TRUE(attribute->serialize(archive).isNull());
    }
}

TEST(AttributeRoundTrip, NodeSkipsTheChildrenItsArchiveRefuses) {
    Node node(nullptr, "element");
    AttributeT<int> width(&node, "width", 1);
    AttributeT<float> opacity(&node, "opacity", 1.0f);
    AttributeT<int> height(&node, "height", 2);
    RefusingArchive archive(QStringLiteral("float"));

    ArchiveElement const element = node.serialize(archive);

    std::vector<std::string> names;
    for (auto child = element.children(); child; ++child) {
        names.push_back(child->name().toStdString());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"width", "height"}));
}

TEST(AttributeRoundTrip, UnnamedAttributeWritesAnElementWithoutName) {
    AttributeT<int> attribute;
    Archive archive;

    ArchiveElement const element = attribute.serialize(archive);

    ASSERT_FALSE(element.isNull());
    EXPECT_TRUE(element.name().isEmpty());
    EXPECT_EQ(element.property(QStringLiteral("type")).toStdString(), "int");
    EXPECT_EQ(element.properties().size(), 1) << "the type is the only property";
}

// ============================================================ floats in archives

// Archive text is a default-formatted stream: six significant digits, the rest is lost on the way.
TEST(AttributeRoundTrip, FloatsAreStoredWithSixSignificantDigits) {
    struct Row {
        float value;
        char const* text;
        float readBack;
    };
    Row const rows[] = {
        {3.14159265f, "3.14159", 3.14159f},
        {123456789.0f, "1.23457e+08", 1.23457e+08f},
        {1234567.0f, "1.23457e+06", 1.23457e+06f},
        {0.1f, "0.1", 0.1f},
        {1e-7f, "1e-07", 1e-07f},
        {-2.5f, "-2.5", -2.5f},
        {100000.0f, "100000", 100000.0f},
        {0.333333343f, "0.333333", 0.333333f},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.text);
        AttributeT<float> source(nullptr, "x", 0.0f);
        source = row.value;
        Archive archive;
        ArchiveElement const element = source.serialize(archive);
        AttributeT<float> target(nullptr, "x", 0.0f);

        EXPECT_EQ(element.get().toStdString(), row.text);
        EXPECT_TRUE(target.deserialize(element));
        EXPECT_EQ(target.value(), row.readBack);
    }
}

// ============================================================ whole trees through JSON

namespace {

/// A small element tree: a root with its own attributes and one child element.
struct Tree {
    Node root{nullptr, "root"};
    AttributeT<bool> visible{&root, "visible", true};
    AttributeT<Cobalt::TimeStamp> modified{&root, "modified"};
    AttributeT<unsigned long> id{&root, "id", 0};
    Node shape{&root, "shape"};
    AttributeT<float> opacity{&shape, "opacity", 1.0f};
    AttributeT<long> order{&shape, "order", 0};
    Basalt::AttributeLocation2f location{&shape, "location"};
    AttributeT<Vector2i> cell{&shape, "cell"};
    AttributeT<Cobalt::ColorPMA> fill{&shape, "fill"};
    AttributeT<Cobalt::Color> stroke{&shape, "stroke"};
    AttributeT<Fruit> fruit{&shape, "fruit", Fruit::Apple, fruitNames()};
    AttributeT<QString> title{&shape, "title"};
    Basalt::AttributeAsset image{&shape, "image"};

    void writeValues() {
        visible = false;
        modified = Cobalt::TimeStamp(1700000000123456);
        id = std::numeric_limits<unsigned long>::max();
        opacity = 0.25f;
        order = -5000000000L;
        location = Vector2f(10.5f, -3.0f);
        cell = Vector2i(2, 7);
        fill = Cobalt::ColorPMA(0.5f, 0.25f, 0.0f, 0.5f);
        stroke = Cobalt::Color(0.0f, 0.5f, 1.0f, 1.0f);
        fruit = Fruit::Pear;
        title = QStringLiteral("Grüße \"quoted\" {braced}");
        image = QStringLiteral("0a1b2c");
    }
};

void expectSameValues(Tree const& a, Tree const& b) {
    EXPECT_EQ(a.visible.value(), b.visible.value());
    EXPECT_EQ(a.modified.value(), b.modified.value());
    EXPECT_EQ(a.id.value(), b.id.value());
    EXPECT_EQ(a.opacity.value(), b.opacity.value());
    EXPECT_EQ(a.order.value(), b.order.value());
    EXPECT_EQ(a.location.value(), b.location.value());
    EXPECT_EQ(a.cell.value(), b.cell.value());
    EXPECT_EQ(a.fill.value(), b.fill.value());
    EXPECT_EQ(a.stroke.value(), b.stroke.value());
    EXPECT_EQ(a.fruit.value(), b.fruit.value());
    EXPECT_EQ(a.title.value(), b.title.value());
    EXPECT_EQ(a.image.value(), b.image.value());
}

} // namespace

TEST(AttributeRoundTrip, NodeTreeSurvivesJsonTextAndBack) {
    Tree source;
    source.writeValues();
    Archive archive;
    archive.setRoot(source.root.serialize(archive));
    QByteArray const json = archive.toJson();
    ASSERT_FALSE(json.isEmpty());

    Archive readBack;
    QString error;
    ASSERT_TRUE(readBack.fromJson(json, &error)) << error.toStdString();
    Tree target;
    EXPECT_TRUE(target.root.deserialize(readBack.root()));

    expectSameValues(source, target);
    ASSERT_NE(target.shape.attribute("location"), nullptr);
    EXPECT_FALSE(target.shape.attribute("location")->isSerializable())
        << "a tuple is stored by its components";
    EXPECT_EQ(readBack.toJson(), json) << "the text form must be stable";
}

TEST(AttributeRoundTrip, NodeTreeOfDefaultsWritesDefaultsOnlyWhenAskedFor) {
    Tree source;
    Archive userOnly(Archive::layerBit(Attribute::LAYER_USER));
    Archive defaultsToo;

    ArchiveElement const sparse = source.root.serialize(userOnly);
    ArchiveElement const full = source.root.serialize(defaultsToo);

    ASSERT_EQ(sparse.childCount(), 1) << "only the child element, with nothing under it";
    EXPECT_EQ(sparse.children()->childCount(), 0);
    EXPECT_EQ(full.childCount(), 4) << "visible, modified, id and the child element";
}

TEST(AttributeRoundTrip, UnknownChildrenGoToReadElementAndRefusalsAreReported) {
    class RecordingNode : public Node {
    public:
        using Node::Node;
        void readElement(ArchiveElement const& element) override {
            unknown.push_back(element.name().toStdString());
        }
        std::vector<std::string> unknown;
    };
    RecordingNode node(nullptr, "element");
    AttributeT<int> width(&node, "width", 1);
    AttributeT<Fruit> fruit(&node, "fruit", Fruit::Apple, fruitNames());
    Archive archive;
    ArchiveElement root = archive.createElement(QStringLiteral("node"));
    auto child = [&](QString const& tag, QString const& name, QString const& text) {
        ArchiveElement element = archive.createElement(tag);
        element.setName(name);
        element.set(text);
        root.add(element);
    };
    child(QStringLiteral("int"), QStringLiteral("ghost"), QStringLiteral("1"));
    child(QStringLiteral("RoundTripTypes::Fruit"), QStringLiteral("fruit"), QStringLiteral("9"));
    child(QStringLiteral("int"), QStringLiteral("width"), QStringLiteral("12"));

    EXPECT_FALSE(node.deserialize(root)) << "an element that an attribute refused must be reported";

    EXPECT_EQ(width.value(), 12) << "the other elements are read all the same";
    EXPECT_EQ(fruit.value(), Fruit::Apple);
    EXPECT_EQ(node.unknown, (std::vector<std::string>{"ghost"}));
}

// Malformed archive text is refused and leaves the archive as it was.
TEST(AttributeRoundTrip, GarbageArchiveTextIsRefusedAndTheRootKept) {
    char const* const garbage[] = {
        "{not json",
        "",
        "[1, 2]",
        "\"text\"",
        "{\"name\": \"no tag\"}",
        "{\"tag\": \"node\", \"properties\": [[\"type\"]]}",
        "{\"tag\": \"node\", \"children\": [3]}",
        "{\"tag\": \"node\", \"children\": [{\"text\": \"child without tag\"}]}",
    };
    Tree source;
    source.writeValues();
    Archive archive;
    archive.setRoot(source.root.serialize(archive));
    QByteArray const before = archive.toJson();
    for (char const* text : garbage) {
        SCOPED_TRACE(text);
        QString error;

        EXPECT_FALSE(archive.fromJson(QByteArray(text), &error));

        EXPECT_FALSE(error.isEmpty()) << "a refusal must say what is wrong";
        EXPECT_EQ(archive.toJson(), before);
    }
}

// ============================================================ messages through a node

TEST(AttributeRoundTrip, NodeRoutesMessagesByTheFirstPartOfTheIdentifier) {
    struct Row {
        char const* id;
        std::function<void(BinaryData&)> write;
        Vector2f location;
        Vector2f size;
    };
    Vector2f const location(1.0f, 2.0f);
    Vector2f const size(3.0f, 4.0f);
    Row const rows[] = {
        {"location-x", [](BinaryData& m) { m.writeFloat32(9.0f); }, Vector2f(9.0f, 2.0f), size},
        {"location-y", [](BinaryData& m) { m.writeFloat32(9.0f); }, Vector2f(1.0f, 9.0f), size},
        {"size/0", [](BinaryData& m) { m.writeFloat32(9.0f); }, location, Vector2f(9.0f, 4.0f)},
        {"size/1", [](BinaryData& m) { m.writeFloat32(9.0f); }, location, Vector2f(3.0f, 9.0f)},
        {"size", [](BinaryData& m) { m.writeVector2Float32(Vector2f(7.0f, 8.0f)); }, location,
         Vector2f(7.0f, 8.0f)},
        {"size/2", [](BinaryData& m) { m.writeFloat32(9.0f); }, location, size},
        {"nothing", [](BinaryData& m) { m.writeFloat32(9.0f); }, location, size},
        {"location", [](BinaryData& m) { m.writeFloat32(9.0f); }, location, size},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.id);
        Node node(nullptr, "element");
        Basalt::AttributeLocation2f place(&node, "location", location);
        AttributeT<Vector2f> extent(&node, "size", size);
        BinaryData message;
        row.write(message);

        node.eventProcess(QByteArray(row.id), message);

        EXPECT_EQ(place.value(), row.location);
        EXPECT_EQ(extent.value(), row.size);
    }
}
