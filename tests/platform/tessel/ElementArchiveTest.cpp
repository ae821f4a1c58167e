#include "platform/tessel/ElementArchive.hpp"

#include "attributes/AttributeT.hpp"
#include "attributes/AttributeVectorContainer.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/ElementFactory.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

#include <QStringList>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

using Basalt::Archive;
using Basalt::ArchiveElement;
using Basalt::Attribute;
using Tessel::Element;
using Tessel::ElementArchive;

namespace {

// A leaf with one value of each common kind.
class Shape : public Element {
public:
    Shape()
        : label(this, "label", QStringLiteral("none")), weight(this, "weight", 1.0f),
          visible(this, "visible", true) {}
    Basalt::AttributeT<QString> label;
    Basalt::AttributeT<float> weight;
    Basalt::AttributeT<bool> visible;
};

// A container that notes what each child element looked like at the moment it was added, and which value
// entries it was handed without having an attribute for them.
class Group : public Element {
public:
    Group() : title(this, "title", QString()), count(this, "count", 0) {}
    void attributeAdded(Attribute* attribute) override {
        Element::attributeAdded(attribute);
        if (auto const* child = dynamic_cast<Element const*>(attribute)) {
            auto const* label = child->attribute("label");
            addedChildren.append(QString::fromUtf8(child->name()) + QLatin1Char('=') +
                                 (label ? label->asString() : QStringLiteral("-")) + QLatin1Char('/') +
                                 QString::number(child->attributes().size()));
        }
    }
    void readElement(ArchiveElement const& element) override { unknownValues.append(element.name()); }

    Basalt::AttributeT<QString> title;
    Basalt::AttributeT<int> count;
    QStringList addedChildren;
    QStringList unknownValues;
};

// Lists that its constructor fills, one of them in a plain node of its own, beside a single value.
class Palette : public Element {
public:
    Palette()
        : colors(this, "colors"), inner(this, "inner"), sizes(&inner, "sizes"), weight(this, "weight", 1.0f) {
        colors.setValues({1, 2, 3});
        sizes.setValues({4});
    }
    Basalt::AttributeVectorContainer<int> colors;
    Basalt::Node inner;
    Basalt::AttributeVectorContainer<int> sizes;
    Basalt::AttributeT<float> weight;
};

// Classes that the test factory doesn't know: one of nobody's, and one that a newer release has.
class Stranger : public Element {};
class Newcomer : public Group {};

std::unique_ptr<Tessel::ElementFactory> makeFactory(bool withNewcomer) {
    auto made = std::make_unique<Tessel::ElementFactory>();
    made->addFactory<Shape>("test_shape");
    made->addFactory<Group>("test_group");
    if (withNewcomer) {
        made->addFactory<Newcomer>("test_newcomer");
    }
    return made;
}

Tessel::ElementFactory const& testFactory() {
    static std::unique_ptr<Tessel::ElementFactory> const factory = makeFactory(false);
    return *factory;
}

// The test factory's keys and one more, as a newer release would have them.
Tessel::ElementFactory const& newerFactory() {
    static std::unique_ptr<Tessel::ElementFactory> const factory = makeFactory(true);
    return *factory;
}

constexpr unsigned userLayerOnly = Archive::layerBit(Attribute::LAYER_USER);

template <typename E>
E* addChild(Element& host, QByteArray const& name, E* child) {
    child->setGuid("guid-" + name);
    host.addAttribute(name, child);
    return child;
}

// Three levels: a root group with a shape and a subgroup, the subgroup with two shapes.
std::unique_ptr<Group> threeLevelTree() {
    auto root = std::make_unique<Group>();
    root->setGuid("guid-root");
    root->setName("root");
    root->title = QStringLiteral("Root title");
    Shape* first = addChild(*root, "first", new Shape());
    first->label = QStringLiteral("first shape");
    first->weight = 2.5f;
    Group* inner = addChild(*root, "inner", new Group());
    inner->count = 7;
    Shape* deep = addChild(*inner, "deep", new Shape());
    deep->visible = false;
    addChild(*inner, "deeper", new Shape())->label = QStringLiteral("Grüße \"quoted\"\n");
    return root;
}

QStringList childNames(Element const& element) {
    QStringList names;
    for (Basalt::Node::Entry const& entry : element.attributes()) {
        if (dynamic_cast<Element const*>(entry.second)) {
            names.append(QString::fromUtf8(entry.first));
        }
    }
    return names;
}

template <typename E>
E const& child(Element const& host, char const* name) {
    auto const* found = dynamic_cast<E const*>(host.attribute(name));
    if (!found) {
        ADD_FAILURE() << "no child element '" << name << "' of the expected class";
        static E const missing;
        return missing;
    }
    return *found;
}

// Every element of two trees alike: class, guid, name, attribute names in order, and the user layer of
// each value (defined or not, and its text).
void expectSameTree(Element const& expected, Element const& actual, std::string const& path = "") {
    std::string const here = path + "/" + expected.name().toStdString();
    SCOPED_TRACE(here);
    EXPECT_EQ(typeid(expected), typeid(actual)) << "the element keeps its class";
    EXPECT_EQ(expected.guid(), actual.guid()) << "the element keeps its guid";
    EXPECT_EQ(expected.name(), actual.name()) << "the element keeps its name";
    auto const& left = expected.attributes();
    auto const& right = actual.attributes();
    ASSERT_EQ(left.size(), right.size()) << "the same attributes and child elements";
    for (std::size_t i = 0; i < left.size(); ++i) {
        EXPECT_EQ(left[i].first, right[i].first) << "attribute " << i << " in the same place";
        auto const* leftElement = dynamic_cast<Element const*>(left[i].second);
        auto const* rightElement = dynamic_cast<Element const*>(right[i].second);
        ASSERT_EQ(leftElement != nullptr, rightElement != nullptr) << "attribute " << i << " kind";
        if (leftElement) {
            expectSameTree(*leftElement, *rightElement, here);
            continue;
        }
        EXPECT_EQ(left[i].second->isValueDefinedOnLayer(Attribute::LAYER_USER),
                  right[i].second->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << left[i].first.constData() << ": the user layer is defined on both sides or on neither";
        EXPECT_EQ(left[i].second->asString(nullptr, Attribute::LAYER_USER),
                  right[i].second->asString(nullptr, Attribute::LAYER_USER))
            << left[i].first.constData() << ": the same user-layer value";
    }
}

// Collects warnings for the length of a test.
class ElementArchiveWarnings : public ::testing::Test {
protected:
    std::vector<std::string> warnings() const { return m_log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING); }

private:
    TestSupport::CapturedLog m_log;
};

// An archive that hands out no element of the refused tags.
class RefusingArchive : public Archive {
public:
    explicit RefusingArchive(QString refused) : Archive(userLayerOnly), m_refused(std::move(refused)) {}
    ArchiveElement createElement(QString const& tag) override {
        return tag == m_refused ? ArchiveElement() : Archive::createElement(tag);
    }

private:
    QString m_refused;
};

// Reads an archive's JSON text into a new archive and returns its root; fails the test on bad text.
ArchiveElement rootOfJson(QByteArray const& json) {
    Archive archive;
    QString error;
    EXPECT_TRUE(archive.fromJson(json, &error)) << error.toStdString();
    return archive.root();
}

} // namespace

TEST(ElementArchive, AThreeLevelTreeComesBackWithKeysGuidsNamesOrderAndValues) {
    std::unique_ptr<Group> const original = threeLevelTree();
    Archive archive(userLayerOnly);
    QString writeError = QStringLiteral("stale");
    ArchiveElement const entry =
        ElementArchive::writeElementTree(*original, testFactory(), archive, &writeError);
    ASSERT_FALSE(entry.isNull());
    EXPECT_TRUE(writeError.isEmpty()) << "a tree of known classes writes without a problem";

    QString readError = QStringLiteral("stale");
    std::unique_ptr<Element> const read = ElementArchive::readElementTree(entry, testFactory(), &readError);
    ASSERT_TRUE(read);
    EXPECT_TRUE(readError.isEmpty()) << readError.toStdString();

    expectSameTree(*original, *read);
    auto const& root = dynamic_cast<Group const&>(*read);
    EXPECT_EQ(root.guid(), QByteArray("guid-root"));
    EXPECT_EQ(root.name(), QByteArray("root"));
    EXPECT_EQ(root.title.value(), QStringLiteral("Root title"));
    EXPECT_EQ(childNames(root), (QStringList{"first", "inner"}));
    EXPECT_EQ(child<Shape>(root, "first").label.value(), QStringLiteral("first shape"));
    EXPECT_EQ(child<Shape>(root, "first").weight.value(), 2.5f);
    auto const& inner = child<Group>(root, "inner");
    EXPECT_EQ(inner.guid(), QByteArray("guid-inner"));
    EXPECT_EQ(inner.count.value(), 7);
    EXPECT_EQ(childNames(inner), (QStringList{"deep", "deeper"})) << "children keep their order";
    EXPECT_FALSE(child<Shape>(inner, "deep").visible.value());
    EXPECT_EQ(child<Shape>(inner, "deeper").label.value(), QStringLiteral("Grüße \"quoted\"\n"));
    EXPECT_EQ(child<Shape>(inner, "deeper").guid(), QByteArray("guid-deeper"));
}

TEST(ElementArchive, AnElementEntryCarriesTagNameKeyAndGuidAndChildrenInAttributeOrder) {
    std::unique_ptr<Group> const original = threeLevelTree();
    Archive archive(userLayerOnly);
    ArchiveElement const entry = ElementArchive::writeElementTree(*original, testFactory(), archive);
    EXPECT_EQ(entry.tag(), QStringLiteral("tessel:element"));
    EXPECT_EQ(entry.name(), QStringLiteral("root"));
    EXPECT_EQ(entry.property(ElementArchive::keyProperty()), QStringLiteral("test_group"));
    EXPECT_EQ(entry.property(ElementArchive::guidProperty()), QStringLiteral("guid-root"));
    QStringList names;
    for (auto child = entry.children(); child; ++child) {
        names.append(child->name());
    }
    EXPECT_EQ(names, (QStringList{"title", "first", "inner"}))
        << "only values on the user layer are written, and children follow the attribute order";
}

TEST(ElementArchive, AnElementWithoutGuidIsWrittenWithoutOneAndReadBackWithout) {
    Group root;
    root.setName("plain");
    Archive archive(userLayerOnly);
    ArchiveElement const entry = ElementArchive::writeElementTree(root, testFactory(), archive);
    EXPECT_TRUE(entry.property(ElementArchive::guidProperty()).isNull()) << "no guid property";
    std::unique_ptr<Element> const read = ElementArchive::readElementTree(entry, testFactory());
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->guid().isEmpty());
    EXPECT_EQ(read->name(), QByteArray("plain"));
}

TEST(ElementArchive, ValuesOnlyOnTheDefaultLayerStayDefaultAfterTheRoundTrip) {
    Group root;
    Shape* shape = addChild(root, "shape", new Shape());
    Archive archive(userLayerOnly);
    std::unique_ptr<Element> const read = ElementArchive::readElementTree(
        ElementArchive::writeElementTree(root, testFactory(), archive), testFactory());
    ASSERT_TRUE(read);
    auto const& readShape = child<Shape>(*read, "shape");
    for (Attribute const* attribute :
         {static_cast<Attribute const*>(&readShape.label), static_cast<Attribute const*>(&readShape.weight),
          static_cast<Attribute const*>(&readShape.visible)}) {
        EXPECT_FALSE(attribute->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << attribute->name().constData() << ": nothing appears on the user layer from nowhere";
    }
    EXPECT_EQ(readShape.label.value(), shape->label.value());
}

TEST(ElementArchive, TheArchivesLayerMaskDecidesWhichValuesAreWritten) {
    Shape shape;
    shape.label.setValue(QStringLiteral("below"), Attribute::LAYER_BELOW_USER);
    shape.weight = 4.0f;

    Archive userOnly(userLayerOnly);
    std::unique_ptr<Element> const fromUser = ElementArchive::readElementTree(
        ElementArchive::writeElementTree(shape, testFactory(), userOnly), testFactory());
    ASSERT_TRUE(fromUser);
    auto const& userShape = dynamic_cast<Shape const&>(*fromUser);
    EXPECT_EQ(userShape.weight.value(), 4.0f);
    EXPECT_FALSE(userShape.label.isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "a layer outside the mask is not written";

    Archive everything(Archive::LAYERS_ALL);
    std::unique_ptr<Element> const fromAll = ElementArchive::readElementTree(
        ElementArchive::writeElementTree(shape, testFactory(), everything), testFactory());
    ASSERT_TRUE(fromAll);
    auto const& allShape = dynamic_cast<Shape const&>(*fromAll);
    EXPECT_EQ(allShape.label.valueOnLayer(Attribute::LAYER_USER), QStringLiteral("below"))
        << "with every layer in the mask the highest defined one is written, and it is read on LAYER_USER";
    EXPECT_EQ(allShape.visible.valueOnLayer(Attribute::LAYER_USER), true)
        << "even a default is written when the mask has the default layer";
}

TEST(ElementArchive, TheTextFormCarriesTheWholeTree) {
    std::unique_ptr<Group> const original = threeLevelTree();
    Archive archive(userLayerOnly);
    archive.setRoot(ElementArchive::writeElementTree(*original, testFactory(), archive));
    QByteArray const json = archive.toJson();
    ASSERT_FALSE(json.isEmpty());

    QString error;
    std::unique_ptr<Element> const read =
        ElementArchive::readElementTree(rootOfJson(json), testFactory(), &error);
    ASSERT_TRUE(read);
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    expectSameTree(*original, *read);

    Archive again(userLayerOnly);
    again.setRoot(ElementArchive::writeElementTree(*read, testFactory(), again));
    EXPECT_EQ(again.toJson(), json) << "a tree read from text writes the very same text";
}

TEST(ElementArchive, AChildJoinsItsHostBeforeItsValuesAndChildrenArriveAsInALiveDocument) {
    std::unique_ptr<Group> const original = threeLevelTree();
    Archive archive(userLayerOnly);
    std::unique_ptr<Element> const read = ElementArchive::readElementTree(
        ElementArchive::writeElementTree(*original, testFactory(), archive), testFactory());
    ASSERT_TRUE(read);
    auto const& root = dynamic_cast<Group const&>(*read);
    // Seen when added: a shape with its default label and its 3 attributes, a group with its 2 and no
    // children yet.
    EXPECT_EQ(root.addedChildren, (QStringList{"first=none/3", "inner=-/2"}));
    EXPECT_EQ(child<Group>(root, "inner").addedChildren, (QStringList{"deep=none/3", "deeper=none/3"}));
    EXPECT_EQ(child<Shape>(root, "first").label.value(), QStringLiteral("first shape"))
        << "the values arrive after the child joined";
}

TEST(ElementArchive, StoredValuesWithoutAnAttributeGoToTheElementsReadElementHook) {
    Archive archive(userLayerOnly);
    ArchiveElement entry = archive.createElement(ElementArchive::elementTag());
    entry.add(ElementArchive::keyProperty(), QStringLiteral("test_group"));
    ArchiveElement future = archive.createElement(QStringLiteral("string"));
    future.setName(QStringLiteral("from-a-newer-release"));
    future.set(QStringLiteral("kept back"));
    entry.add(future);

    QString error;
    std::unique_ptr<Element> const read = ElementArchive::readElementTree(entry, testFactory(), &error);
    ASSERT_TRUE(read);
    EXPECT_TRUE(error.isEmpty()) << "what the class does with an unknown value is the class's business";
    EXPECT_EQ(dynamic_cast<Group const&>(*read).unknownValues, QStringList{"from-a-newer-release"});
}

TEST(ElementArchive, ANonSerialisableChildElementIsLeftOut) {
    Group root;
    addChild(root, "kept", new Shape());
    addChild(root, "private", new Shape())->setSerializable(false);
    Archive archive(userLayerOnly);
    QString error;
    std::unique_ptr<Element> const read = ElementArchive::readElementTree(
        ElementArchive::writeElementTree(root, testFactory(), archive, &error), testFactory());
    ASSERT_TRUE(read);
    EXPECT_TRUE(error.isEmpty()) << "leaving out what asks to be left out is no problem";
    EXPECT_EQ(childNames(*read), QStringList{"kept"});
}

TEST(ElementArchive, AnArchiveThatRefusesElementEntriesGetsOnlyWhatItTakes) {
    Group root;
    addChild(root, "child", new Shape());
    RefusingArchive archive(ElementArchive::elementTag());
    QString error;
    EXPECT_TRUE(ElementArchive::writeElementTree(root, testFactory(), archive, &error).isNull());
    EXPECT_TRUE(error.isEmpty()) << "an archive filtering what it stores is not a problem of the tree";
}

TEST_F(ElementArchiveWarnings, WritingAChildOfAnUnknownClassLeavesItOutWithAWarningAndKeepsTheRest) {
    Group root;
    root.setName("root");
    addChild(root, "before", new Shape());
    Stranger* stranger = addChild(root, "stranger", new Stranger());
    addChild(*stranger, "below-stranger", new Shape());
    addChild(root, "after", new Shape());

    Archive archive(userLayerOnly);
    QString error;
    ArchiveElement const entry = ElementArchive::writeElementTree(root, testFactory(), archive, &error);
    ASSERT_FALSE(entry.isNull()) << "the rest of the tree is still written";
    EXPECT_TRUE(error.contains(QStringLiteral("root/stranger"))) << error.toStdString();
    EXPECT_TRUE(error.contains(QStringLiteral("Stranger"))) << "the class is named: " << error.toStdString();
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_EQ(warnings().front().rfind("ElementArchive::writeElementTree # Element 'root/stranger'", 0), 0u)
        << warnings().front();

    std::unique_ptr<Element> const read = ElementArchive::readElementTree(entry, testFactory());
    ASSERT_TRUE(read);
    EXPECT_EQ(childNames(*read), (QStringList{"before", "after"}));
}

TEST_F(ElementArchiveWarnings, WritingARootOfAnUnknownClassGivesANullEntryAndSaysWhy) {
    Stranger root;
    Archive archive(userLayerOnly);
    QString error;
    EXPECT_TRUE(ElementArchive::writeElementTree(root, testFactory(), archive, &error).isNull());
    EXPECT_TRUE(error.contains(QStringLiteral("no type key"))) << error.toStdString();
    EXPECT_EQ(warnings().size(), 1u);
}

TEST_F(ElementArchiveWarnings, ReadingAnUnknownTypeKeyLeavesThatSubtreeOutAndReportsIt) {
    Group root;
    root.setName("root");
    addChild(root, "before", new Shape());
    Newcomer* newcomer = addChild(root, "newcomer", new Newcomer());
    addChild(*newcomer, "inside", new Shape());
    addChild(root, "after", new Shape());
    Archive archive(userLayerOnly);
    archive.setRoot(ElementArchive::writeElementTree(root, newerFactory(), archive));

    QString error;
    std::unique_ptr<Element> const read =
        ElementArchive::readElementTree(rootOfJson(archive.toJson()), testFactory(), &error);
    ASSERT_TRUE(read) << "an unknown child doesn't stop the document";
    EXPECT_EQ(childNames(*read), (QStringList{"before", "after"}));
    EXPECT_TRUE(error.contains(QStringLiteral("'root/newcomer'"))) << error.toStdString();
    EXPECT_TRUE(error.contains(QStringLiteral("'test_newcomer'"))) << error.toStdString();
    ASSERT_EQ(warnings().size(), 1u) << "one problem, however much lies below it";
    EXPECT_EQ(warnings().front().rfind("ElementArchive::readElementTree # ", 0), 0u) << warnings().front();
}

TEST_F(ElementArchiveWarnings, ReadingAChildEntryWithoutKeyLeavesItOutAndReportsIt) {
    QByteArray const json = R"({"tag":"tessel:element","name":"root","properties":[["key","test_group"]],
        "children":[{"tag":"tessel:element","name":"keyless"},
                    {"tag":"tessel:element","name":"fine","properties":[["key","test_shape"]]}]})";
    QString error;
    std::unique_ptr<Element> const read =
        ElementArchive::readElementTree(rootOfJson(json), testFactory(), &error);
    ASSERT_TRUE(read);
    EXPECT_EQ(childNames(*read), QStringList{"fine"});
    EXPECT_TRUE(error.contains(QStringLiteral("'root/keyless' has no type key"))) << error.toStdString();
    EXPECT_EQ(warnings().size(), 1u);
}

TEST_F(ElementArchiveWarnings, ARootThatCannotBeMadeGivesNullAndSaysWhy) {
    struct Case {
        char const* what;
        QByteArray json;
        char const* said;
    };
    std::vector<Case> const cases = {
        {"unknown key", R"({"tag":"tessel:element","name":"r","properties":[["key","nope"]]})", "'nope'"},
        {"no key", R"({"tag":"tessel:element","name":"r"})", "no type key"},
        {"empty key", R"({"tag":"tessel:element","name":"r","properties":[["key",""]]})", "no type key"},
        {"a value, not an element", R"({"tag":"float","name":"weight","text":"2"})", "not an element entry"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        QString error;
        EXPECT_EQ(ElementArchive::readElementTree(rootOfJson(c.json), testFactory(), &error), nullptr);
        EXPECT_TRUE(error.contains(QLatin1String(c.said))) << error.toStdString();
    }
    QString error;
    EXPECT_EQ(ElementArchive::readElementTree(ArchiveElement(), testFactory(), &error), nullptr);
    EXPECT_FALSE(error.isEmpty()) << "a null entry is reported too";
    EXPECT_EQ(warnings().size(), cases.size() + 1) << "each problem is logged once";
}

TEST_F(ElementArchiveWarnings, AnElementThatRefusesAStoredValueIsKeptAndTheRefusalReported) {
    QByteArray const json = R"({"tag":"tessel:element","name":"s","properties":[["key","test_shape"]],
        "children":[{"tag":"bool","name":"visible","text":"perhaps"},
                    {"tag":"string","name":"label","text":"read anyway"}]})";
    QString error;
    std::unique_ptr<Element> const read =
        ElementArchive::readElementTree(rootOfJson(json), testFactory(), &error);
    ASSERT_TRUE(read);
    auto const& shape = dynamic_cast<Shape const&>(*read);
    EXPECT_TRUE(shape.visible.value()) << "the refused value keeps what it had";
    EXPECT_FALSE(shape.visible.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(shape.label.value(), QStringLiteral("read anyway")) << "the other values are read all the same";
    EXPECT_TRUE(error.contains(QStringLiteral("'s' (test_shape) refused"))) << error.toStdString();
    EXPECT_EQ(warnings().size(), 1u);
}

// Each row: the lists stored. Reading appends to a list, so only replacing first gives back what was stored.
TEST(ElementArchive, StoredListsTakeThePlaceOfTheListsTheConstructorFilled) {
    struct Row {
        std::vector<int> colors;
        std::vector<int> sizes;
    } const rows[] = {
        {{7, 8}, {9}},
        {{}, {}},
        {{1, 2, 3}, {4}},
    };
    Tessel::ElementFactory factory;
    factory.addFactory<Palette>("test_palette", nullptr);
    for (Row const& row : rows) {
        SCOPED_TRACE(row.colors.size());
        Palette written;
        written.colors.setValues(row.colors);
        written.sizes.setValues(row.sizes);
        written.weight = 2.0f;
        Archive archive(userLayerOnly);
        std::unique_ptr<Element> const read = ElementArchive::readElementTree(
            ElementArchive::writeElementTree(written, factory, archive), factory);
        auto const* palette = dynamic_cast<Palette const*>(read.get());
        ASSERT_NE(palette, nullptr);
        EXPECT_EQ(palette->colors.values(), row.colors) << "the stored list, not the constructor's and it";
        EXPECT_EQ(palette->sizes.values(), row.sizes) << "a list in a nested node is replaced as well";
        EXPECT_EQ(palette->weight.value(), 2.0f);
    }
}

TEST(ElementArchive, AListWithoutAStoredValueKeepsWhatTheConstructorGaveIt) {
    Tessel::ElementFactory factory;
    factory.addFactory<Palette>("test_palette", nullptr);
    Archive archive(userLayerOnly);
    ArchiveElement entry = archive.createElement(ElementArchive::elementTag());
    entry.add(ElementArchive::keyProperty(), QStringLiteral("test_palette"));
    std::unique_ptr<Element> const read = ElementArchive::readElementTree(entry, factory);
    auto const* palette = dynamic_cast<Palette const*>(read.get());
    ASSERT_NE(palette, nullptr);
    EXPECT_EQ(palette->colors.values(), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(palette->sizes.values(), std::vector<int>{4});
}

TEST(ElementArchive, ReadingIntoAGivenRootFillsItWithIdentityValuesAndChildren) {
    std::unique_ptr<Group> const original = threeLevelTree();
    Archive archive(userLayerOnly);
    ArchiveElement const entry = ElementArchive::writeElementTree(*original, testFactory(), archive);

    Group target;
    QString error;
    EXPECT_TRUE(ElementArchive::readElementTreeInto(target, entry, testFactory(), &error));
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    expectSameTree(*original, target);
}

TEST_F(ElementArchiveWarnings, ReadingIntoARootOfAnotherKeyChangesNothing) {
    Shape original;
    original.setGuid("shape-guid");
    original.label = QStringLiteral("a shape");
    Archive archive(userLayerOnly);
    ArchiveElement const entry = ElementArchive::writeElementTree(original, testFactory(), archive);

    Group target;
    target.setName("kept");
    QString error;
    EXPECT_FALSE(ElementArchive::readElementTreeInto(target, entry, testFactory(), &error));
    EXPECT_TRUE(error.contains(QStringLiteral("'test_shape'"))) << error.toStdString();
    EXPECT_EQ(target.name(), QByteArray("kept"));
    EXPECT_TRUE(target.guid().isEmpty());

    Stranger unknown;
    EXPECT_FALSE(ElementArchive::readElementTreeInto(unknown, entry, testFactory(), &error));
    EXPECT_TRUE(error.contains(QStringLiteral("<none>"))) << "a class without key: " << error.toStdString();
    EXPECT_EQ(warnings().size(), 2u);
}
