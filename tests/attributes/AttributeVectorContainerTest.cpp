#include "attributes/AttributeVectorContainer.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/AttributeEventListenerList.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/cobalt/Color.hpp"
#include "platform/sienna/BezierNode.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <utility>
#include <vector>

using Basalt::AttributeEvent;
using Basalt::AttributeVectorContainer;

namespace {

using Event = std::pair<int, unsigned long>;
using Events = std::vector<Event>;

Cobalt::FlagsT<AttributeEvent::Type> allEventTypes() {
    return Cobalt::FlagsT<AttributeEvent::Type>(AttributeEvent::LIST_CHANGED) |
           AttributeEvent::ELEMENT_INSERTED | AttributeEvent::ELEMENT_REMOVED |
           AttributeEvent::ELEMENT_CHANGED;
}

/// Every event a container reports, as (type, key).
struct EventLog {
    explicit EventLog(Basalt::AttributeContainerBase& container) {
        container.events().addListener(
            allEventTypes(), [this](AttributeEvent event) { events.emplace_back(event.type, event.key); });
    }
    Events events;
};

/// An archive that refuses the elements whose creation number (1, 2, ...) is in `refused`.
class RefusingArchive : public Basalt::Archive {
public:
    explicit RefusingArchive(std::set<int> refused) : m_refused(std::move(refused)) {}
    Basalt::ArchiveElement createElement(QString const& tag) override {
        ++m_created;
        if (m_refused.count(m_created) != 0) {
            return Basalt::ArchiveElement();
        }
        return Archive::createElement(tag);
    }

private:
    std::set<int> m_refused;
    int m_created = 0;
};

Basalt::ArchiveElement listElement(Basalt::Archive& archive, std::vector<QString> const& texts) {
    Basalt::ArchiveElement element = archive.createElement(QStringLiteral("points"));
    element.setName(QStringLiteral("points"));
    for (QString const& text : texts) {
        Basalt::ArchiveElement child = archive.createElement(QStringLiteral("float"));
        child.set(text);
        element.add(child);
    }
    return element;
}

QStringList childTexts(Basalt::ArchiveElement const& element) {
    QStringList texts;
    for (auto child = element.children(); child; ++child) {
        texts.append(child->get());
    }
    return texts;
}

// ---------------------------------------------------------------------------------------------------------
// One row per instantiated value type: two values, their archive texts, and the names.

Sienna::BezierNode node(float base) {
    return Sienna::BezierNode{
        {base, base + 1, base + 2}, {base + 3, base + 4, base + 5}, {base + 6, base + 7, base + 8}};
}

struct FloatRow {
    using Value = float;
    static std::vector<Value> values() { return {1.5f, -2.0f}; }
    static QStringList texts() { return {QStringLiteral("1.5"), QStringLiteral("-2")}; }
    static char const* type() { return "vector:float"; }
    static char const* tag() { return "float"; }
};
struct IntRow {
    using Value = int;
    static std::vector<Value> values() { return {3, -4}; }
    static QStringList texts() { return {QStringLiteral("3"), QStringLiteral("-4")}; }
    static char const* type() { return "vector:int"; }
    static char const* tag() { return "int"; }
};
struct LongRow {
    using Value = long;
    static std::vector<Value> values() { return {5000000000L, -1L}; }
    static QStringList texts() { return {QStringLiteral("5000000000"), QStringLiteral("-1")}; }
    static char const* type() { return "vector:long"; }
    static char const* tag() { return "long"; }
};
struct ColorRow {
    using Value = Cobalt::ColorPMA;
    static std::vector<Value> values() {
        return {Value(1.0f, 0.0f, 0.0f, 1.0f), Value(0.25f, 0.5f, 0.0f, 0.5f)};
    }
    static QStringList texts() { return {QStringLiteral("1 0 0 1"), QStringLiteral("0.25 0.5 0 0.5")}; }
    static char const* type() { return "vector:color"; }
    static char const* tag() { return "color"; }
};
struct BezierNodeRow {
    using Value = Sienna::BezierNode;
    static std::vector<Value> values() { return {node(1.0f), node(-0.5f)}; }
    static QStringList texts() {
        return {QStringLiteral("1 2 3 4 5 6 7 8 9"), QStringLiteral("-0.5 0.5 1.5 2.5 3.5 4.5 5.5 6.5 7.5")};
    }
    static char const* type() { return "vector:Sienna::BezierNode"; }
    static char const* tag() { return "Sienna::BezierNode"; }
};

template <typename Row>
class VectorContainerByType : public ::testing::Test {};

using ContainerRows = ::testing::Types<FloatRow, IntRow, LongRow, ColorRow, BezierNodeRow>;
TYPED_TEST_SUITE(VectorContainerByType, ContainerRows);

} // namespace

TYPED_TEST(VectorContainerByType, TypeIsVectorAndTheNameOfTheValueType) {
    AttributeVectorContainer<typename TypeParam::Value> container(nullptr, "list");
    EXPECT_EQ(container.type(), QByteArray(TypeParam::type()));
}

TYPED_TEST(VectorContainerByType, SerializeWritesOneChildPerValueTaggedWithTheValueType) {
    AttributeVectorContainer<typename TypeParam::Value> container(nullptr, "list");
    container.setValues(TypeParam::values());
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = container.serialize(archive);
    ASSERT_FALSE(element.isNull());
    ASSERT_EQ(element.childCount(), 2);
    for (auto child = element.children(); child; ++child) {
        EXPECT_EQ(child->tag(), QString::fromLatin1(TypeParam::tag()));
    }
    EXPECT_EQ(childTexts(element), TypeParam::texts());
}

TYPED_TEST(VectorContainerByType, DeserializeReadsBackWhatSerializeWrote) {
    using T = typename TypeParam::Value;
    AttributeVectorContainer<T> source(nullptr, "list");
    source.setValues(TypeParam::values());
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = source.serialize(archive);

    AttributeVectorContainer<T> target(nullptr, "list");
    EXPECT_TRUE(target.deserialize(element));
    EXPECT_TRUE(target.values() == TypeParam::values()) << "values must survive the archive";
}

TYPED_TEST(VectorContainerByType, AsStringJoinsTheValueTextsWithCommaAndBlank) {
    AttributeVectorContainer<typename TypeParam::Value> container(nullptr, "list");
    container.setValues(TypeParam::values());
    bool ok = false;
    EXPECT_EQ(container.asString(&ok), TypeParam::texts().join(QStringLiteral(", ")));
    EXPECT_TRUE(ok);
}

TEST(AttributeVectorContainer, SerializeNamesTheElementAfterTheAttribute) {
    AttributeVectorContainer<float> container(nullptr, "points");
    container.setValues({1.0f});
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = container.serialize(archive);
    ASSERT_FALSE(element.isNull());
    EXPECT_EQ(element.tag(), QStringLiteral("points"));
    EXPECT_EQ(element.name(), QStringLiteral("points")) << "the host finds the element by this name";
}

TEST(AttributeVectorContainer, SerializeOfAnUnnamedContainerUsesTheClassNameAsTag) {
    AttributeVectorContainer<float> container(nullptr, QByteArray());
    container.setValues({1.0f, 2.0f});
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = container.serialize(archive);
    ASSERT_FALSE(element.isNull());
    EXPECT_EQ(element.tag(), QStringLiteral("AttributeVectorContainer"));
    EXPECT_EQ(element.childCount(), 2);
}

TEST(AttributeVectorContainer, SerializeOfAnEmptyListWritesAnElementWithoutChildren) {
    AttributeVectorContainer<int> container(nullptr, "list");
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = container.serialize(archive);
    ASSERT_FALSE(element.isNull());
    EXPECT_EQ(element.childCount(), 0);
}

TEST(AttributeVectorContainer, SerializeSkipsChildrenTheArchiveRefuses) {
    AttributeVectorContainer<float> container(nullptr, "points");
    container.setValues({1.0f, 2.0f, 3.0f, 4.0f});
    RefusingArchive archive({2, 4}); // element 1 is the list, 2 to 5 its children
    Basalt::ArchiveElement const element = container.serialize(archive);
    ASSERT_FALSE(element.isNull());
    EXPECT_EQ(childTexts(element), QStringList({QStringLiteral("2"), QStringLiteral("4")}));
}

TEST(AttributeVectorContainer, SerializeGivesANullElementWhenTheArchiveRefusesTheList) {
    AttributeVectorContainer<float> container(nullptr, "points");
    container.setValues({1.0f});
    RefusingArchive archive({1});
    EXPECT_TRUE(container.serialize(archive).isNull());
}

TEST(AttributeVectorContainer, DeserializeReplacesOrAppendsAndReportsTheListWhenItWasOrBecomesNonEmpty) {
    struct Row {
        char const* label;
        bool clearOnDeserialize;
        std::vector<float> initial;
        std::vector<QString> children;
        std::vector<float> expected;
        bool reported;
    };
    Row const rows[] = {
        {"appending nothing to nothing", false, {}, {}, {}, false},
        {"appending to an empty list", false, {}, {"1"}, {1.0f}, true},
        {"appending nothing to a list", false, {1.0f}, {}, {1.0f}, true},
        {"appending to a list", false, {1.0f}, {"2", "3"}, {1.0f, 2.0f, 3.0f}, true},
        {"replacing a list", true, {1.0f}, {"2"}, {2.0f}, true},
        {"replacing a list by nothing", true, {1.0f, 5.0f}, {}, {}, true},
        {"replacing nothing by nothing", true, {}, {}, {}, false},
        {"replacing nothing", true, {}, {"3", "4"}, {3.0f, 4.0f}, true},
    };
    for (Row const& row : rows) {
        AttributeVectorContainer<float> container(nullptr, "points", row.clearOnDeserialize);
        EXPECT_EQ(container.clearsOnDeserialize(), row.clearOnDeserialize);
        container.setValues(row.initial);
        EventLog log(container);
        Basalt::Archive archive;
        EXPECT_TRUE(container.deserialize(listElement(archive, row.children))) << row.label;
        EXPECT_EQ(container.values(), row.expected) << row.label;
        Events const expectedEvents = row.reported ? Events{{AttributeEvent::LIST_CHANGED, 0ul}} : Events{};
        EXPECT_EQ(log.events, expectedEvents) << row.label;
    }
}

TEST(AttributeVectorContainer, DeserializeStoresWhatTheParserGivesForUnreadableText) {
    Basalt::Archive archive;
    Basalt::ArchiveElement numbers = archive.createElement(QStringLiteral("list"));
    Basalt::ArchiveElement bad = archive.createElement(QStringLiteral("float"));
    bad.set(QStringLiteral("abc"));
    numbers.add(bad);

    AttributeVectorContainer<float> floats(nullptr, "floats");
    EXPECT_TRUE(floats.deserialize(numbers));
    EXPECT_EQ(floats.values(), std::vector<float>{0.0f}) << "numbers have no failure path: bad text is 0";

    AttributeVectorContainer<int> ints(nullptr, "ints");
    EXPECT_TRUE(ints.deserialize(numbers));
    EXPECT_EQ(ints.values(), std::vector<int>{0});

    AttributeVectorContainer<Cobalt::ColorPMA> colors(nullptr, "colors");
    EXPECT_TRUE(colors.deserialize(numbers));
    ASSERT_EQ(colors.size(), 1u);
    EXPECT_EQ(colors.at(0), Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f)) << "bad colour text is opaque black";

    AttributeVectorContainer<Sienna::BezierNode> nodes(nullptr, "nodes");
    EXPECT_TRUE(nodes.deserialize(numbers));
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_TRUE(nodes.at(0) == Sienna::BezierNode{}) << "bad node text is the zero node";
}

TEST(AttributeVectorContainer, AHostRoutesItsArchiveChildToTheContainerByName) {
    Basalt::Node writer;
    AttributeVectorContainer<int> written(&writer, "counts");
    written.setValues({7, 8, 9});
    Basalt::Archive archive;
    Basalt::ArchiveElement const tree = writer.serialize(archive);

    Basalt::Node reader;
    AttributeVectorContainer<int> read(&reader, "counts", true);
    read.setValues({1});
    EXPECT_TRUE(reader.deserialize(tree));
    EXPECT_EQ(read.values(), (std::vector<int>{7, 8, 9}));
}

TEST(AttributeVectorContainer, InsertRemoveAndReplaceReportTheirIndex) {
    AttributeVectorContainer<int> container(nullptr, "list");
    EventLog log(container);

    container.append(1);
    container.append(2);
    container.insert(0, 5);
    container.insert(99, 7); // past the end: appended
    EXPECT_EQ(container.values(), (std::vector<int>{5, 1, 2, 7}));
    EXPECT_TRUE(container.removeAt(1));
    EXPECT_EQ(container.values(), (std::vector<int>{5, 2, 7}));
    EXPECT_TRUE(container.replace(2, 9));
    EXPECT_EQ(container.values(), (std::vector<int>{5, 2, 9}));

    Events const expected{{AttributeEvent::ELEMENT_INSERTED, 0ul}, {AttributeEvent::ELEMENT_INSERTED, 1ul},
                          {AttributeEvent::ELEMENT_INSERTED, 0ul}, {AttributeEvent::ELEMENT_INSERTED, 3ul},
                          {AttributeEvent::ELEMENT_REMOVED, 1ul},  {AttributeEvent::ELEMENT_CHANGED, 2ul}};
    EXPECT_EQ(log.events, expected);
    EXPECT_EQ(static_cast<int>(AttributeEvent::ELEMENT_INSERTED), 8)
        << "event numbers are shared with clients";
    EXPECT_EQ(static_cast<int>(AttributeEvent::ELEMENT_REMOVED), 16);
    EXPECT_EQ(static_cast<int>(AttributeEvent::ELEMENT_CHANGED), 32);
    EXPECT_EQ(static_cast<int>(AttributeEvent::LIST_CHANGED), 2);
}

TEST(AttributeVectorContainer, RemoveAndReplaceOutOfRangeAreRefusedSilently) {
    AttributeVectorContainer<int> container(nullptr, "list");
    container.setValues({1, 2});
    EventLog log(container);
    EXPECT_FALSE(container.removeAt(2));
    EXPECT_FALSE(container.replace(2, 5));
    EXPECT_EQ(container.values(), (std::vector<int>{1, 2}));
    EXPECT_TRUE(log.events.empty());
}

TEST(AttributeVectorContainer, ReplacingTheWholeListReportsTheListWithKeyZero) {
    AttributeVectorContainer<long> container(nullptr, "list");
    EventLog log(container);
    container.setValues({1L, 2L});
    container.clear();
    EXPECT_TRUE(container.values().empty());
    EXPECT_EQ(log.events, (Events{{AttributeEvent::LIST_CHANGED, 0ul}, {AttributeEvent::LIST_CHANGED, 0ul}}));
}

// Each row: whether the container replaces on deserialize, the list before, and whether it is reported.
TEST(AttributeVectorContainer, ClearBeforeRestoreEmptiesTheListAndReportsOnlyARealChange) {
    struct Row {
        bool clearOnDeserialize;
        std::vector<int> before;
        bool reported;
    } const rows[] = {
        {false, {1, 2}, true},
        {false, {}, false},
        {true, {3}, true},
        {true, {}, false},
    };
    for (Row const& row : rows) {
        AttributeVectorContainer<int> container(nullptr, "list", row.clearOnDeserialize);
        container.setValues(row.before);
        EventLog log(container);
        Basalt::Attribute& attribute = container;
        attribute.clearBeforeRestore();
        EXPECT_TRUE(container.values().empty()) << "a list of " << row.before.size();
        Events const expected = row.reported ? Events{{AttributeEvent::LIST_CHANGED, 0ul}} : Events{};
        EXPECT_EQ(log.events, expected) << "a list of " << row.before.size();
    }
}

TEST(AttributeVectorContainer, ListenersHearOnlyTheTypesTheyAskedFor) {
    AttributeVectorContainer<int> container(nullptr, "list");
    std::vector<unsigned long> removed;
    unsigned long const id = container.events().addListener(
        AttributeEvent::ELEMENT_REMOVED, [&removed](AttributeEvent event) { removed.push_back(event.key); });
    container.append(1);
    container.append(2);
    container.removeAt(0);
    container.replace(0, 3);
    EXPECT_EQ(removed, std::vector<unsigned long>{0});

    container.events().removeListener(id);
    container.removeAt(0);
    EXPECT_EQ(removed.size(), 1u) << "a removed listener must not hear more";
}

TEST(AttributeVectorContainer, AsStringOfAnEmptyListIsEmpty) {
    AttributeVectorContainer<float> container(nullptr, "list");
    EXPECT_EQ(container.asString(), QString());
    container.setValues({1.0f, 2.5f, -3.0f});
    EXPECT_EQ(container.asString(), QStringLiteral("1, 2.5, -3"));
}
