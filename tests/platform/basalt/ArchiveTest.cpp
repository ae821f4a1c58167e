#include "platform/basalt/Archive.hpp"

#include "attributes/AttributeT.hpp"
#include "platform/basalt/Serializer.hpp"
#include "platform/cobalt/Color.hpp"
#include "platform/cobalt/TimeStamp.hpp"
#include "platform/fathom/Vector.hpp"
#include "platform/sienna/BezierNode.hpp"

#include <QStringList>
#include <gtest/gtest.h>

#include <typeinfo>
#include <utility>
#include <vector>

using Basalt::Archive;
using Basalt::ArchiveElement;
using Basalt::Attribute;

namespace {

using Properties = QVector<std::pair<QString, QString>>;

QStringList childTags(ArchiveElement const& element) {
    QStringList tags;
    for (auto child = element.children(); child; ++child) {
        tags << child->tag();
    }
    return tags;
}

// A tree that uses every part of an element: tag, name, text, properties, children, nesting.
ArchiveElement sampleTree(Archive& archive) {
    ArchiveElement root = archive.createElement(QStringLiteral("node"));
    root.setName(QStringLiteral("canvas"));
    root.add(QStringLiteral("type"), QStringLiteral("node"));
    root.add(QStringLiteral("version"), QStringLiteral("3"));

    ArchiveElement width = archive.createElement(QStringLiteral("float"));
    width.setName(QStringLiteral("width"));
    width.set(QStringLiteral("12.5"));
    width.add(QStringLiteral("type"), QStringLiteral("float"));
    root.add(width);

    ArchiveElement title = archive.createElement(QStringLiteral("string"));
    title.setName(QStringLiteral("title"));
    title.set(QString::fromUtf8("Grüße \"quoted\" \\ / 世界\n"));
    root.add(title);

    ArchiveElement inner = archive.createElement(QStringLiteral("node"));
    inner.setName(QStringLiteral("inner"));
    ArchiveElement deep = archive.createElement(QStringLiteral("int"));
    deep.setName(QStringLiteral("deep"));
    deep.set(QStringLiteral("-3"));
    inner.add(deep);
    root.add(inner);
    return root;
}

// Structural equality of two element trees.
void expectSameTree(ArchiveElement const& a, ArchiveElement const& b, QString const& path = QString()) {
    QString const here = path + QLatin1Char('/') + a.tag();
    EXPECT_EQ(a.isNull(), b.isNull()) << here.toStdString();
    EXPECT_EQ(a.tag(), b.tag()) << here.toStdString();
    EXPECT_EQ(a.name(), b.name()) << here.toStdString();
    EXPECT_EQ(a.get(), b.get()) << here.toStdString();
    EXPECT_EQ(a.properties(), b.properties()) << here.toStdString();
    ASSERT_EQ(a.childCount(), b.childCount()) << here.toStdString();
    auto left = a.children();
    auto right = b.children();
    for (; left && right; ++left, ++right) {
        expectSameTree(*left, *right, here);
    }
}

// An archive that hands out no element of the refused tags, as a filtering writer would.
class RefusingArchive : public Archive {
public:
    explicit RefusingArchive(QStringList refused) : m_refused(std::move(refused)) {}
    ArchiveElement createElement(QString const& tag) override {
        ++created;
        return m_refused.contains(tag) ? ArchiveElement() : Archive::createElement(tag);
    }
    int created = 0;

private:
    QStringList m_refused;
};

} // namespace

TEST(ArchiveElements, NullElementDoesNothingAndReadsEmpty) {
    ArchiveElement element;
    EXPECT_TRUE(element.isNull());
    element.set(QStringLiteral("text"));
    element.setName(QStringLiteral("name"));
    element.add(QStringLiteral("type"), QStringLiteral("float"));
    Archive archive;
    element.add(archive.createElement(QStringLiteral("child")));
    EXPECT_TRUE(element.isNull()) << "writes must not bring a null element to life";
    EXPECT_TRUE(element.tag().isEmpty());
    EXPECT_TRUE(element.get().isNull());
    EXPECT_TRUE(element.name().isEmpty());
    EXPECT_TRUE(element.property(QStringLiteral("type")).isNull());
    EXPECT_TRUE(element.properties().isEmpty());
    EXPECT_EQ(element.childCount(), 0);
    EXPECT_FALSE(static_cast<bool>(element.children()));
}

TEST(ArchiveElements, CreatedElementHoldsTagNameTextAndProperties) {
    Archive archive;
    ArchiveElement element = archive.createElement(QStringLiteral("float"));
    EXPECT_FALSE(element.isNull());
    EXPECT_EQ(element.tag(), QStringLiteral("float"));
    EXPECT_TRUE(element.name().isEmpty());
    EXPECT_TRUE(element.get().isNull()) << "a new element has no text";
    element.setName(QStringLiteral("opacity"));
    element.set(QStringLiteral("0.5"));
    element.add(QStringLiteral("type"), QStringLiteral("float"));
    element.add(QStringLiteral("unit"), QStringLiteral("number"));
    EXPECT_EQ(element.name(), QStringLiteral("opacity"));
    EXPECT_EQ(element.get(), QStringLiteral("0.5"));
    EXPECT_EQ(element.property(QStringLiteral("type")), QStringLiteral("float"));
    EXPECT_EQ(element.property(QStringLiteral("unit")), QStringLiteral("number"));
    EXPECT_TRUE(element.property(QStringLiteral("missing")).isNull()) << "an absent property reads null";
    EXPECT_EQ(element.properties(), (Properties{{QStringLiteral("type"), QStringLiteral("float")},
                                                {QStringLiteral("unit"), QStringLiteral("number")}}))
        << "properties keep their order";
    EXPECT_EQ(element.childCount(), 0);
    EXPECT_EQ(archive.root().isNull(), true) << "creating an element doesn't place it";
}

TEST(ArchiveElements, ChildrenKeepTheirOrderAndNullChildrenAreIgnored) {
    Archive archive;
    ArchiveElement parent = archive.createElement(QStringLiteral("node"));
    parent.add(archive.createElement(QStringLiteral("a")));
    parent.add(ArchiveElement());
    parent.add(archive.createElement(QStringLiteral("b")));
    parent.add(archive.createElement(QStringLiteral("c")));
    EXPECT_EQ(parent.childCount(), 3) << "a null child is not added";
    EXPECT_EQ(childTags(parent), (QStringList{"a", "b", "c"}));
}

TEST(ArchiveElements, CopiesAreHandlesOfTheSameElement) {
    Archive archive;
    ArchiveElement original = archive.createElement(QStringLiteral("node"));
    ArchiveElement copy = original;
    copy.setName(QStringLiteral("shared"));
    copy.set(QStringLiteral("text"));
    copy.add(QStringLiteral("type"), QStringLiteral("node"));
    copy.add(archive.createElement(QStringLiteral("child")));
    EXPECT_EQ(original.name(), QStringLiteral("shared"));
    EXPECT_EQ(original.get(), QStringLiteral("text"));
    EXPECT_EQ(original.property(QStringLiteral("type")), QStringLiteral("node"));
    EXPECT_EQ(original.childCount(), 1);
}

TEST(ArchiveElements, ChildAddedAfterwardsIsSeenThroughTheParent) {
    Archive archive;
    ArchiveElement parent = archive.createElement(QStringLiteral("node"));
    ArchiveElement child = archive.createElement(QStringLiteral("float"));
    parent.add(child);
    child.set(QStringLiteral("2"));
    ASSERT_TRUE(static_cast<bool>(parent.children()));
    EXPECT_EQ(parent.children()->get(), QStringLiteral("2")) << "a child is the same element, not a copy";
}

TEST(ArchiveLayerMask, BitNStandsForLayerN) {
    EXPECT_EQ(Archive::LAYERS_ALL, 0xfu);
    for (int layer = Attribute::LAYER_DEFAULT; layer < Attribute::LAYER_COUNT; ++layer) {
        EXPECT_EQ(Archive::layerBit(layer), 1u << layer) << "layer " << layer;
    }
    EXPECT_EQ(Archive().layerMask(), Archive::LAYERS_ALL) << "by default every stored layer is written";
    Archive userOnly(Archive::layerBit(Attribute::LAYER_USER));
    EXPECT_EQ(userOnly.layerMask(), 4u);
    userOnly.setLayerMask(Archive::layerBit(Attribute::LAYER_DEFAULT));
    EXPECT_EQ(userOnly.layerMask(), 1u);
}

// The mask picks the highest defined layer it allows; with no such layer nothing is written.
TEST(ArchiveLayerMask, AttributeWritesTheHighestDefinedLayerTheMaskAllows) {
    Basalt::AttributeT<float> width(nullptr, "width", 1.0f);
    width.set(5.0f, Attribute::LAYER_USER);
    struct Row {
        unsigned mask;
        bool written;
        char const* text;
    } const rows[] = {
        {Archive::LAYERS_ALL, true, "5"},
        {Archive::layerBit(Attribute::LAYER_USER), true, "5"},
        {Archive::layerBit(Attribute::LAYER_DEFAULT), true, "1"},
        {Archive::layerBit(Attribute::LAYER_DEFAULT) | Archive::layerBit(Attribute::LAYER_ABOVE_USER), true,
         "1"},
        {Archive::layerBit(Attribute::LAYER_ABOVE_USER), false, ""},
        {0u, false, ""},
    };
    for (auto const& row : rows) {
        Archive archive(row.mask);
        ArchiveElement const element = width.serialize(archive);
        EXPECT_EQ(!element.isNull(), row.written) << "mask " << row.mask;
        if (row.written) {
            EXPECT_EQ(element.get(), QString::fromLatin1(row.text)) << "mask " << row.mask;
            EXPECT_EQ(element.tag(), QStringLiteral("float"));
            EXPECT_EQ(element.name(), QStringLiteral("width"));
            EXPECT_EQ(element.property(QStringLiteral("type")), QStringLiteral("float"));
        }
    }
}

TEST(ArchiveLayerMask, AttributeInARefusingArchiveWritesNothing) {
    Basalt::AttributeT<float> width(nullptr, "width", 1.0f);
    RefusingArchive archive{QStringList{"float"}};
    EXPECT_TRUE(width.serialize(archive).isNull()) << "a refused element must come back as null";
    EXPECT_EQ(archive.created, 1);
}

TEST(ArchiveJson, NoRootGivesNoText) {
    Archive archive;
    EXPECT_TRUE(archive.root().isNull());
    EXPECT_TRUE(archive.toJson().isEmpty());
}

TEST(ArchiveJson, TreeSurvivesTheTextForm) {
    Archive written;
    written.setRoot(sampleTree(written));
    QByteArray const json = written.toJson();
    ASSERT_FALSE(json.isEmpty());

    Archive read;
    QString error;
    ASSERT_TRUE(read.fromJson(json, &error)) << error.toStdString();
    EXPECT_TRUE(error.isEmpty());
    expectSameTree(written.root(), read.root());
    EXPECT_EQ(read.toJson(), json) << "writing what was read gives the same text";
}

TEST(ArchiveJson, ReadingGoesThroughCreateElement) {
    Archive written;
    written.setRoot(sampleTree(written));
    RefusingArchive counting{QStringList()};
    ASSERT_TRUE(counting.fromJson(written.toJson()));
    EXPECT_EQ(counting.created, 5) << "every element read must come from createElement";
}

TEST(ArchiveJson, MalformedTextIsRefusedAndTheRootKept) {
    char const* const malformed[] = {
        "",
        "{",
        "not json",
        "[]",
        "42",
        "\"text\"",
        R"({"name":"no tag"})",
        R"({"tag":5})",
        R"({"tag":"node","properties":[["type"]]})",
        R"({"tag":"node","properties":[["type","node","extra"]]})",
        R"({"tag":"node","properties":[["type",3]]})",
        R"({"tag":"node","properties":["type"]})",
        R"({"tag":"node","children":[1]})",
        R"({"tag":"node","children":[{"tag":"float"},{"name":"child without tag"}]})",
        R"({"tag":"node","children":[{"tag":"node","children":[{"tag":null}]}]})",
    };
    for (char const* text : malformed) {
        Archive archive;
        archive.setRoot(sampleTree(archive));
        QByteArray const before = archive.toJson();
        QString error;
        EXPECT_FALSE(archive.fromJson(QByteArray(text), &error)) << text;
        EXPECT_FALSE(error.isEmpty()) << "the caller must learn what is wrong: " << text;
        EXPECT_EQ(archive.toJson(), before) << "a refused text must leave the root alone: " << text;
    }
}

TEST(ArchiveJson, ErrorArgumentIsOptional) {
    Archive archive;
    EXPECT_FALSE(archive.fromJson("{"));
    EXPECT_TRUE(archive.fromJson(R"({"tag":"node"})"));
    EXPECT_EQ(archive.root().tag(), QStringLiteral("node"));
}

TEST(ArchiveJson, MinimalElementReadsWithEmptyParts) {
    Archive archive;
    ASSERT_TRUE(archive.fromJson(R"({"tag":"float","text":"1.5"})"));
    ArchiveElement const root = archive.root();
    EXPECT_EQ(root.tag(), QStringLiteral("float"));
    EXPECT_EQ(root.get(), QStringLiteral("1.5"));
    EXPECT_TRUE(root.name().isEmpty());
    EXPECT_TRUE(root.properties().isEmpty());
    EXPECT_EQ(root.childCount(), 0);
}

namespace {

enum class ArchiveTestShape { Round };

struct TagRow {
    std::type_info const* type;
    char const* name;
};

} // namespace

// Tag names are stored in documents: each must stay exactly as it is.
TEST(SerializerTagName, KnownTypesHaveTheirStoredNames) {
    TagRow const rows[] = {
        {&typeid(float), "float"},
        {&typeid(int), "int"},
        {&typeid(long), "long"},
        {&typeid(unsigned long), "unsigned long"},
        {&typeid(bool), "bool"},
        {&typeid(QString), "string"},
        {&typeid(Cobalt::ColorPMA), "color"},
        {&typeid(Cobalt::Color), "Cobalt::Color"},
        {&typeid(Cobalt::TimeStamp), "timestamp"},
        {&typeid(Fathom::Vector2T<float>), "vector2:float"},
        {&typeid(Fathom::Vector2T<int>), "vector2:int"},
        {&typeid(Sienna::BezierNode), "Sienna::BezierNode"},
    };
    for (TagRow const& row : rows) {
        EXPECT_EQ(Basalt::Serializer::tagName(*row.type), QString::fromLatin1(row.name)) << row.name;
    }
}

TEST(SerializerTagName, OtherTypesAreNamedByTheirDemangledName) {
    EXPECT_EQ(Basalt::Serializer::tagName(typeid(ArchiveTestShape)),
              QStringLiteral("(anonymous namespace)::ArchiveTestShape"));
    EXPECT_EQ(Basalt::Serializer::tagName(typeid(Fathom::Vector3T<float>)),
              QStringLiteral("Fathom::Vector3T<float>"));
    EXPECT_EQ(Basalt::Serializer::tagName(typeid(double)), QStringLiteral("double"));
}

TEST(SerializerTagName, PlainAttributesReportTheTagAsTheirType) {
    EXPECT_EQ(Basalt::AttributeT<float>().type(), QByteArray("float"));
    EXPECT_EQ(Basalt::AttributeT<QString>().type(), QByteArray("string"));
}
