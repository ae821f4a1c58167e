#include "platform/basalt/Node.hpp"

#include "attributes/AttributeT.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "platform/cobalt/Trace.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/Stopwatch.hpp"

#include <QStringList>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using Basalt::Archive;
using Basalt::ArchiveElement;
using Basalt::Attribute;
using Basalt::Node;
using Cobalt::BinaryData;
using FloatAttribute = Basalt::AttributeT<float>;
using StringAttribute = Basalt::AttributeT<QString>;

namespace {

using Calls = std::vector<std::string>;

// A node that records its hooks and the archive children that matched no attribute.
class RecordingNode : public Node {
public:
    RecordingNode() = default;
    RecordingNode(Node* host, QByteArray const& name) : Node(host, name) {}

    void attributeAdded(Attribute* attribute) override { added.push_back(attribute); }
    void attributeRemoved(Attribute* attribute) override { removed.push_back(attribute); }
    void readElement(ArchiveElement const& element) override { unknown << element.name(); }

    std::vector<Attribute*> added;
    std::vector<Attribute*> removed;
    QStringList unknown;
};

// An attribute that records the messages it is handed.
class MessageProbe : public Attribute {
public:
    MessageProbe(Node* host, QByteArray const& name) : Attribute(host, name) {}
    void eventProcess(QByteArray const& id, BinaryData& data) override {
        ids.push_back(id.toStdString());
        values.push_back(data.readInt32());
    }
    std::vector<std::string> ids;
    std::vector<int> values;
};

// An archive that hands out no element of the refused tags.
class RefusingArchive : public Archive {
public:
    explicit RefusingArchive(QStringList refused) : m_refused(std::move(refused)) {}
    ArchiveElement createElement(QString const& tag) override {
        return m_refused.contains(tag) ? ArchiveElement() : Archive::createElement(tag);
    }

private:
    QStringList m_refused;
};

QStringList childNames(ArchiveElement const& element) {
    QStringList names;
    for (auto child = element.children(); child; ++child) {
        names << child->name();
    }
    return names;
}

ArchiveElement childNamed(ArchiveElement const& element, QString const& name) {
    for (auto child = element.children(); child; ++child) {
        if (child->name() == name) {
            return *child;
        }
    }
    return ArchiveElement();
}

ArchiveElement valueElement(Archive& archive, QString const& tag, QString const& name, QString const& text) {
    ArchiveElement element = archive.createElement(tag);
    element.setName(name);
    element.set(text);
    return element;
}

BinaryData intMessage(int value) {
    BinaryData data;
    data.writeInt32(value);
    return data;
}

} // namespace

// --- membership

TEST(NodeTree, AddAttributeKeepsTheOrderOfAdditionAndSetsTheHost) {
    RecordingNode node;
    FloatAttribute a(nullptr, "a", 0.0f);
    StringAttribute b(nullptr, "b");
    FloatAttribute c(nullptr, "c", 0.0f);
    node.addAttribute(&b);
    node.addAttribute(&a);
    node.addAttribute(&c);
    ASSERT_EQ(node.attributes().size(), 3u);
    EXPECT_EQ(node.attributes()[0], Node::Entry("b", &b));
    EXPECT_EQ(node.attributes()[1], Node::Entry("a", &a));
    EXPECT_EQ(node.attributes()[2], Node::Entry("c", &c));
    for (Attribute* attribute : std::vector<Attribute*>{&a, &b, &c}) {
        EXPECT_EQ(attribute->host(), &node);
    }
    EXPECT_EQ(node.added, (std::vector<Attribute*>{&b, &a, &c})) << "each addition calls the hook once";
}

TEST(NodeTree, AddAttributeUnderANameGivesItThatName) {
    RecordingNode node;
    FloatAttribute attribute(nullptr, "old", 0.0f);
    node.addAttribute("new", &attribute);
    EXPECT_EQ(attribute.name(), QByteArray("new"));
    EXPECT_EQ(node.attribute("new"), &attribute);
    EXPECT_EQ(node.attribute("old"), nullptr);
    EXPECT_EQ(attribute.host(), &node);
    EXPECT_EQ(node.added, std::vector<Attribute*>{&attribute});
}

TEST(NodeTree, AddingAnAttributeThatIsAlreadyHereChangesNothing) {
    RecordingNode node;
    FloatAttribute attribute(&node, "x", 0.0f);
    int hostChanges = 0;
    attribute.addListener([&] { ++hostChanges; }, Attribute::ROLE_HOST_CHANGE);
    node.addAttribute(&attribute);
    EXPECT_EQ(node.attributes().size(), 1u) << "an attribute is held once";
    EXPECT_EQ(node.added.size(), 1u);
    EXPECT_EQ(hostChanges, 0);
}

TEST(NodeTree, AddingNullIsIgnored) {
    RecordingNode node;
    node.addAttribute(nullptr);
    node.addAttribute("name", nullptr);
    EXPECT_TRUE(node.attributes().empty());
    EXPECT_TRUE(node.added.empty());
}

TEST(NodeTree, AddingAnAttributeOfAnotherHostMovesIt) {
    RecordingNode first;
    RecordingNode second;
    FloatAttribute attribute(&first, "x", 0.0f);
    second.addAttribute(&attribute);
    EXPECT_EQ(attribute.host(), &second);
    EXPECT_EQ(first.attribute("x"), nullptr) << "the old host must let it go";
    EXPECT_TRUE(first.attributes().empty());
    EXPECT_EQ(first.removed, std::vector<Attribute*>{&attribute});
    EXPECT_EQ(second.attribute("x"), &attribute);
    EXPECT_EQ(second.added, std::vector<Attribute*>{&attribute});
}

TEST(NodeTree, RemoveAttributeDetachesWithoutDeletingAndCallsTheHook) {
    RecordingNode node;
    FloatAttribute kept(&node, "kept", 0.0f);
    FloatAttribute removed(&node, "removed", 5.0f);
    EXPECT_TRUE(node.removeAttribute(&removed));
    EXPECT_EQ(removed.host(), nullptr);
    EXPECT_EQ(removed.value(), 5.0f) << "the attribute itself is untouched";
    EXPECT_EQ(node.attribute("removed"), nullptr);
    ASSERT_EQ(node.attributes().size(), 1u);
    EXPECT_EQ(node.attributes()[0].second, &kept);
    EXPECT_EQ(node.removed, std::vector<Attribute*>{&removed});
}

TEST(NodeTree, RemovingAStrangerReportsFalse) {
    RecordingNode node;
    RecordingNode other;
    FloatAttribute stranger(&other, "x", 0.0f);
    EXPECT_FALSE(node.removeAttribute(&stranger));
    EXPECT_EQ(stranger.host(), &other);
    EXPECT_TRUE(node.removed.empty());
}

TEST(NodeTree, AttributeDestroyedWhileAttachedIsForgottenWithoutHooks) {
    RecordingNode node;
    FloatAttribute first(&node, "first", 0.0f);
    {
        FloatAttribute temporary(&node, "temporary", 0.0f);
        EXPECT_EQ(node.attributes().size(), 2u);
    }
    EXPECT_EQ(node.attribute("temporary"), nullptr);
    ASSERT_EQ(node.attributes().size(), 1u);
    EXPECT_EQ(node.attributes()[0].second, &first);
    EXPECT_TRUE(node.removed.empty()) << "a half-destroyed attribute must not reach the hook";
}

TEST(NodeTree, NodeConstructedUnderAHostIsItsChild) {
    RecordingNode root;
    RecordingNode child(&root, "child");
    EXPECT_EQ(child.host(), &root);
    EXPECT_EQ(root.attribute("child"), &child);
    EXPECT_EQ(child.type(), QByteArray("node"));
}

TEST(NodeTree, DestroyingANodeDetachesItsChildren) {
    FloatAttribute width(nullptr, "width", 0.0f);
    StringAttribute title(nullptr, "title");
    std::vector<Node*> heard;
    width.addListener([&] { heard.push_back(width.host()); }, Attribute::ROLE_HOST_CHANGE);
    {
        Node node;
        node.addAttribute(&width);
        node.addAttribute(&title);
        heard.clear();
    }
    EXPECT_EQ(width.host(), nullptr);
    EXPECT_EQ(title.host(), nullptr);
    EXPECT_EQ(heard, std::vector<Node*>{nullptr}) << "the child hears that its host is gone";
    Node next;
    next.addAttribute(&width);
    EXPECT_EQ(next.attribute("width"), &width) << "a detached child can join another node";
}

TEST(NodeTree, DestroyingAChildNodeTakesItOutOfItsHost) {
    RecordingNode root;
    {
        Node child(&root, "child");
        EXPECT_EQ(root.attributes().size(), 1u);
    }
    EXPECT_TRUE(root.attributes().empty());
    EXPECT_EQ(root.attribute("child"), nullptr);
}

// --- finding by name, with few attributes (scanned) and many (indexed)

class NodeLookup : public ::testing::TestWithParam<int> {
protected:
    // `count` (at least one) attributes named filler0 ... between a "dup" at the front and one at the back.
    void SetUp() override {
        int const count = GetParam();
        first = std::make_unique<FloatAttribute>(&node, "dup", 1.0f);
        for (int i = 0; i < count; ++i) {
            fillers.push_back(
                std::make_unique<FloatAttribute>(&node, "filler" + QByteArray::number(i), 0.0f));
        }
        last = std::make_unique<FloatAttribute>(&node, "dup", 2.0f);
    }

    Node node;
    std::unique_ptr<FloatAttribute> first;
    std::vector<std::unique_ptr<FloatAttribute>> fillers;
    std::unique_ptr<FloatAttribute> last;
};

TEST_P(NodeLookup, FindsEveryAttributeByNameAndTheFirstOfADuplicateName) {
    EXPECT_EQ(node.attribute("dup"), first.get()) << "the first one added under a name is found";
    for (auto const& filler : fillers) {
        EXPECT_EQ(node.attribute(filler->name()), filler.get()) << filler->name().constData();
    }
    EXPECT_EQ(node.attribute("missing"), nullptr);
    EXPECT_EQ(node.attribute(""), nullptr);
}

TEST_P(NodeLookup, RemovingTheFirstOfANameRevealsTheNext) {
    node.removeAttribute(first.get());
    EXPECT_EQ(node.attribute("dup"), last.get());
    node.removeAttribute(last.get());
    EXPECT_EQ(node.attribute("dup"), nullptr);
}

TEST_P(NodeLookup, DestroyingTheFirstOfANameRevealsTheNext) {
    first.reset();
    EXPECT_EQ(node.attribute("dup"), last.get());
    last.reset();
    EXPECT_EQ(node.attribute("dup"), nullptr);
}

TEST_P(NodeLookup, RenamedAttributeIsFoundOnlyUnderItsNewName) {
    FloatAttribute* const renamed = fillers.front().get();
    QByteArray const oldName = renamed->name();
    renamed->setName("renamed");
    EXPECT_EQ(node.attribute("renamed"), renamed);
    EXPECT_EQ(node.attribute(oldName), nullptr) << "the old name must find nothing after a rename";
}

TEST_P(NodeLookup, RenamingTheFirstOfANameRevealsTheNext) {
    first->setName("elsewhere");
    EXPECT_EQ(node.attribute("dup"), last.get());
    EXPECT_EQ(node.attribute("elsewhere"), first.get());
}

TEST_P(NodeLookup, RenamingIntoATakenNameFindsWhicheverWasAddedFirst) {
    // `first` sits at the front, so after taking the name of the last filler it is the one found.
    FloatAttribute* const lastFiller = fillers.back().get();
    QByteArray const takenName = lastFiller->name();
    first->setName(takenName);
    EXPECT_EQ(node.attribute(takenName), first.get()) << "lookup must follow the order of addition";
    // The last `dup`, at the back, taking the same name leaves the earlier one found.
    last->setName(takenName);
    EXPECT_EQ(node.attribute(takenName), first.get());
    EXPECT_EQ(node.attribute("dup"), nullptr);
}

TEST_P(NodeLookup, ReAddedAttributeIsFoundAgain) {
    node.removeAttribute(first.get());
    node.addAttribute("again", first.get());
    EXPECT_EQ(node.attribute("again"), first.get());
    EXPECT_EQ(node.attribute("dup"), last.get());
}

INSTANTIATE_TEST_SUITE_P(FewAndMany, NodeLookup, ::testing::Values(1, 5, 30, 31, 32, 33, 40, 100));

// --- removing, with few attributes (closed up at once) and many (empty slots swept out later)

namespace {

using Names = std::vector<QByteArray>;

Names namesOf(Node const& node) {
    Names names;
    for (Node::Entry const& entry : node.attributes()) {
        EXPECT_NE(entry.second, nullptr) << "attributes() must hand out no empty slot";
        names.push_back(entry.first);
    }
    return names;
}

class NodeRemoval : public ::testing::TestWithParam<int> {
protected:
    // `GetParam()` attributes named a0, a1, ... in order.
    void SetUp() override {
        for (int i = 0; i < GetParam(); ++i) {
            children.push_back(std::make_unique<FloatAttribute>(&node, name(i), static_cast<float>(i)));
        }
    }

    static QByteArray name(int i) { return "a" + QByteArray::number(i); }
    FloatAttribute* child(int i) const { return children[static_cast<std::size_t>(i)].get(); }
    int count() const { return GetParam(); }

    // The names of the children still attached, in order of addition.
    Names attachedNames() const {
        Names names;
        for (auto const& attribute : children) {
            if (attribute && attribute->host() == &node) {
                names.push_back(attribute->name());
            }
        }
        return names;
    }

    // Every attached child is found under its name and the list is the rest, in order.
    void expectTheRestInOrder() const {
        EXPECT_EQ(namesOf(node), attachedNames()) << "the rest must keep its order of addition";
        for (auto const& attribute : children) {
            if (attribute && attribute->host() == &node) {
                EXPECT_EQ(node.attribute(attribute->name()), attribute.get())
                    << attribute->name().constData();
            }
        }
    }

    std::unique_ptr<RecordingNode> owner = std::make_unique<RecordingNode>();
    RecordingNode& node = *owner;
    std::vector<std::unique_ptr<FloatAttribute>> children;
};

} // namespace

TEST_P(NodeRemoval, RemovingInTheMiddleKeepsTheOrderOfTheRest) {
    int const middle = count() / 2;
    EXPECT_TRUE(node.removeAttribute(child(middle)));
    EXPECT_EQ(node.attribute(name(middle)), nullptr);
    EXPECT_EQ(node.removed, std::vector<Attribute*>{child(middle)});
    expectTheRestInOrder();
}

TEST_P(NodeRemoval, RemovingAtTheFrontAndAtTheBackKeepsTheOrderOfTheRest) {
    EXPECT_TRUE(node.removeAttribute(child(0)));
    EXPECT_TRUE(node.removeAttribute(child(count() - 1)));
    EXPECT_EQ(node.attribute(name(0)), nullptr);
    EXPECT_EQ(node.attribute(name(count() - 1)), nullptr);
    expectTheRestInOrder();
}

TEST_P(NodeRemoval, RemovingMostAttributesOneByOneKeepsTheOrderOfTheRest) {
    // Every attribute but each third one, front to back: past half of the list, so empty slots are swept.
    for (int i = 0; i < count(); ++i) {
        if (i % 3 != 1) {
            ASSERT_TRUE(node.removeAttribute(child(i))) << i;
        }
    }
    expectTheRestInOrder();
    EXPECT_EQ(node.removed.size(), static_cast<std::size_t>(count() - (count() + 1) / 3));
}

TEST_P(NodeRemoval, DestroyingAttributesKeepsTheOrderOfTheRestWithoutHooks) {
    for (int i = 0; i < count(); i += 2) {
        children[static_cast<std::size_t>(i)].reset();
    }
    expectTheRestInOrder();
    EXPECT_TRUE(node.removed.empty()) << "a destroyed attribute must not reach the hook";
}

TEST_P(NodeRemoval, AttributesAddedAfterRemovalsComeLast) {
    node.removeAttribute(child(count() - 1));
    node.removeAttribute(child(0));
    FloatAttribute late(&node, "late", 0.0f);
    node.addAttribute(child(0));
    Names expected = attachedNames();
    expected.erase(std::find(expected.begin(), expected.end(), name(0)));
    expected.push_back("late");
    expected.push_back(name(0));
    EXPECT_EQ(namesOf(node), expected) << "a re-added attribute joins at the back";
    EXPECT_EQ(node.attribute("late"), &late);
    EXPECT_EQ(node.attribute(name(0)), child(0));
}

TEST_P(NodeRemoval, RemovingTheSameAttributeTwiceReportsFalseTheSecondTime) {
    FloatAttribute* const removed = child(count() / 2);
    EXPECT_TRUE(node.removeAttribute(removed));
    EXPECT_FALSE(node.removeAttribute(removed));
    EXPECT_FALSE(node.removeAttribute(nullptr));
    EXPECT_EQ(node.removed, std::vector<Attribute*>{removed}) << "the hook is called once";
    expectTheRestInOrder();
}

TEST_P(NodeRemoval, TheFirstOfThreeNamesakesIsFoundAfterEachRemoval) {
    // Namesakes at the front, in the middle and at the back: the earliest attached one is found.
    FloatAttribute front(nullptr, "twin", 1.0f);
    FloatAttribute middle(nullptr, "twin", 2.0f);
    FloatAttribute back(nullptr, "twin", 3.0f);
    node.addAttribute(&front);
    for (int i = 0; i < count() / 2; ++i) {
        node.removeAttribute(child(i));
        node.addAttribute(child(i));
    }
    node.addAttribute(&middle);
    node.addAttribute(&back);
    EXPECT_EQ(node.attribute("twin"), &front);
    node.removeAttribute(&middle);
    EXPECT_EQ(node.attribute("twin"), &front) << "removing a later namesake leaves the first found";
    node.removeAttribute(&front);
    EXPECT_EQ(node.attribute("twin"), &back);
    node.addAttribute(&front);
    EXPECT_EQ(node.attribute("twin"), &back) << "a re-added namesake comes after the one still here";
    node.removeAttribute(&back);
    EXPECT_EQ(node.attribute("twin"), &front);
}

TEST_P(NodeRemoval, NamesakesKeepTheirOrderWhenEmptySlotsAreSwept) {
    FloatAttribute first(&node, "twin", 1.0f);
    FloatAttribute second(&node, "twin", 2.0f);
    for (int i = 0; i < count(); ++i) {
        node.removeAttribute(child(i));
    }
    EXPECT_EQ(namesOf(node), (Names{"twin", "twin"}));
    EXPECT_EQ(node.attribute("twin"), &first);
    node.removeAttribute(&first);
    EXPECT_EQ(node.attribute("twin"), &second);
}

TEST_P(NodeRemoval, RenamingAfterRemovalsFindsTheAttributeUnderItsNewNameOnly) {
    node.removeAttribute(child(0));
    FloatAttribute* const renamed = child(count() - 1);
    renamed->setName("renamed");
    EXPECT_EQ(node.attribute("renamed"), renamed);
    EXPECT_EQ(node.attribute(name(count() - 1)), nullptr);
    child(1 % count())->setName(name(0));
    expectTheRestInOrder();
}

// A host-change listener hears the removal after the node let the attribute go, and may remove more.
TEST_P(NodeRemoval, HostChangeListenerSeesTheRestAndMayRemoveAnotherAttribute) {
    FloatAttribute* const first = child(0);
    FloatAttribute* const last = child(count() - 1);
    Names seenByListener;
    Node* hostSeen = &node;
    first->addListener(
        [&] {
            hostSeen = first->host();
            seenByListener = namesOf(node);
            node.removeAttribute(last);
        },
        Attribute::ROLE_HOST_CHANGE);
    ASSERT_TRUE(node.removeAttribute(first));
    EXPECT_EQ(hostSeen, nullptr) << "the listener reads a null host";
    Names expectedSeen = attachedNames();
    expectedSeen.push_back(name(count() - 1));
    EXPECT_EQ(seenByListener, expectedSeen) << "the listener sees the list without the removed attribute";
    EXPECT_EQ(node.removed, (std::vector<Attribute*>{last, first}))
        << "the nested removal's hook runs first, as it finishes first";
    expectTheRestInOrder();
}

// A delete listener runs while the dying attribute is still attached; it may destroy a sibling.
TEST_P(NodeRemoval, DeleteListenerSeesTheDyingAttributeAndMayDestroyASibling) {
    auto sibling = std::make_unique<FloatAttribute>(&node, "sibling", 0.0f);
    FloatAttribute* const dying = child(count() / 2);
    bool stillListed = false;
    dying->addListener(
        [&] {
            stillListed = node.attribute(dying->name()) == dying;
            sibling.reset();
            children[0].reset();
        },
        Attribute::ROLE_DELETE);
    children[static_cast<std::size_t>(count() / 2)].reset();
    EXPECT_TRUE(stillListed) << "the dying attribute is still found while its delete listeners run";
    expectTheRestInOrder();
    EXPECT_TRUE(node.removed.empty());
}

TEST_P(NodeRemoval, DestroyingTheNodeAfterRemovalsDetachesEachRemainingChildOnce) {
    std::vector<int> hostChanges(static_cast<std::size_t>(count()), 0);
    for (int i = 0; i < count(); ++i) {
        child(i)->addListener([&hostChanges, i] { ++hostChanges[static_cast<std::size_t>(i)]; },
                              Attribute::ROLE_HOST_CHANGE);
    }
    for (int i = 1; i < count(); i += 3) {
        node.removeAttribute(child(i));
    }
    std::vector<int> expected(hostChanges);
    for (int i = 0; i < count(); ++i) {
        expected[static_cast<std::size_t>(i)] += child(i)->host() == &node ? 1 : 0;
    }
    owner.reset();
    EXPECT_EQ(hostChanges, expected) << "each child still attached hears once that its host is gone";
    for (auto const& attribute : children) {
        EXPECT_EQ(attribute->host(), nullptr);
    }
}

TEST_P(NodeRemoval, SerializingAndSettingDefaultsSkipTheRemoved) {
    for (int i = 0; i < count(); i += 2) {
        node.removeAttribute(child(i));
    }
    for (auto const& attribute : children) {
        *attribute = 100.0f;
    }
    EXPECT_EQ(node.isChanged(), !attachedNames().empty());
    Archive archive;
    QStringList written = childNames(node.serialize(archive));
    QStringList expected;
    for (QByteArray const& attached : attachedNames()) {
        expected << QString::fromLatin1(attached);
    }
    EXPECT_EQ(written, expected);
    node.setAsDefaults();
    EXPECT_FALSE(node.isChanged()) << "every attached child was reached";
    EXPECT_TRUE(child(0)->isChanged()) << "a removed child is left alone";
}

INSTANTIATE_TEST_SUITE_P(FewAndMany, NodeRemoval, ::testing::Values(2, 5, 33, 40, 1000));

// Removal costs the same however long the list is: quadratic work on these sizes would take minutes.
TEST(NodeRemovalScale, RemovingTenThousandOfAHundredThousandAttributesOneByOneIsFast) {
    constexpr int count = 100000;
    RecordingNode node;
    std::vector<std::unique_ptr<Attribute>> children;
    for (int i = 0; i < count; ++i) {
        children.push_back(std::make_unique<Attribute>());
        node.addAttribute("child" + QByteArray::number(i), children.back().get());
    }
    double const seconds = TestSupport::secondsTaken([&] {
        for (int i = 0; i < count; i += 10) {
            node.removeAttribute(children[static_cast<std::size_t>(i)].get());
        }
        for (int i = 5; i < count; i += 10) {
            children[static_cast<std::size_t>(i)].reset();
        }
    });
    EXPECT_LT(seconds, 5.0) << "removing 20 000 attributes must be linear work";
    EXPECT_EQ(node.attributes().size(), static_cast<std::size_t>(count - count / 5));
    EXPECT_EQ(node.removed.size(), static_cast<std::size_t>(count / 10));
    EXPECT_EQ(node.attribute("child1"), children[1].get());
    EXPECT_EQ(node.attribute("child10"), nullptr);
}

// --- archives

TEST(NodeArchive, SerializeWritesANodeElementWithNameTypeAndChildren) {
    Node node(nullptr, "shape");
    FloatAttribute width(&node, "width", 1.0f);
    StringAttribute title(&node, "title", QStringLiteral("hello"));
    Archive archive;
    ArchiveElement const element = node.serialize(archive);
    ASSERT_FALSE(element.isNull());
    EXPECT_EQ(element.tag(), QStringLiteral("node"));
    EXPECT_EQ(element.name(), QStringLiteral("shape"));
    EXPECT_EQ(element.property(QStringLiteral("type")), QStringLiteral("node"));
    EXPECT_EQ(childNames(element), (QStringList{"width", "title"})) << "children in order of addition";
    EXPECT_EQ(childNamed(element, QStringLiteral("width")).get(), QStringLiteral("1"));
    EXPECT_EQ(childNamed(element, QStringLiteral("width")).tag(), QStringLiteral("float"));
    EXPECT_EQ(childNamed(element, QStringLiteral("title")).get(), QStringLiteral("hello"));
    EXPECT_EQ(childNamed(element, QStringLiteral("title")).tag(), QStringLiteral("string"));
}

TEST(NodeArchive, UnnamedNodeWritesNoName) {
    Node node;
    Archive archive;
    ArchiveElement const element = node.serialize(archive);
    ASSERT_FALSE(element.isNull());
    EXPECT_TRUE(element.name().isEmpty());
    EXPECT_EQ(element.childCount(), 0);
}

TEST(NodeArchive, OnlySerializableChildrenWithSomethingToWriteAreWritten) {
    Node node;
    FloatAttribute written(&node, "written", 1.0f);
    FloatAttribute hidden(&node, "hidden", 2.0f);
    hidden.setSerializable(false);
    Attribute plain(&node, "plain"); // the base writes nothing
    Archive archive;
    EXPECT_EQ(childNames(node.serialize(archive)), QStringList{"written"});
}

TEST(NodeArchive, NestedNodesAreWrittenRecursively) {
    Node root(nullptr, "root");
    Node inner(&root, "inner");
    FloatAttribute deep(&inner, "deep", 3.5f);
    Archive archive;
    ArchiveElement const element = root.serialize(archive);
    ArchiveElement const innerElement = childNamed(element, QStringLiteral("inner"));
    ASSERT_FALSE(innerElement.isNull());
    EXPECT_EQ(innerElement.tag(), QStringLiteral("node"));
    EXPECT_EQ(childNamed(innerElement, QStringLiteral("deep")).get(), QStringLiteral("3.5"));
}

TEST(NodeArchive, RefusedNodeElementGivesANullElement) {
    Node node(nullptr, "shape");
    FloatAttribute width(&node, "width", 1.0f);
    RefusingArchive archive{QStringList{"node"}};
    EXPECT_TRUE(node.serialize(archive).isNull());
}

TEST(NodeArchive, RefusedChildElementsAreLeftOut) {
    Node node(nullptr, "shape");
    FloatAttribute width(&node, "width", 1.0f);
    StringAttribute title(&node, "title", QStringLiteral("t"));
    FloatAttribute height(&node, "height", 2.0f);
    RefusingArchive archive{QStringList{"float"}};
    ArchiveElement const element = node.serialize(archive);
    ASSERT_FALSE(element.isNull());
    EXPECT_EQ(childNames(element), QStringList{"title"});
}

TEST(NodeArchive, DeserializeHandsEachChildToTheAttributeOfItsName) {
    RecordingNode node;
    FloatAttribute width(&node, "width", 1.0f);
    StringAttribute title(&node, "title");
    Archive archive;
    ArchiveElement element = archive.createElement(QStringLiteral("node"));
    element.add(
        valueElement(archive, QStringLiteral("string"), QStringLiteral("title"), QStringLiteral("read")));
    element.add(
        valueElement(archive, QStringLiteral("float"), QStringLiteral("stranger"), QStringLiteral("9")));
    element.add(
        valueElement(archive, QStringLiteral("float"), QStringLiteral("width"), QStringLiteral("4.5")));
    EXPECT_TRUE(node.deserialize(element));
    EXPECT_EQ(width.value(), 4.5f);
    EXPECT_EQ(title.value(), QStringLiteral("read"));
    EXPECT_EQ(width.currentLayer(), Attribute::LAYER_USER) << "archives are read onto the user's layer";
    EXPECT_EQ(node.unknown, QStringList{"stranger"}) << "an unknown child goes to readElement";
}

TEST(NodeArchive, DeserializeReportsARefusingChildButReadsTheOthers) {
    Node node;
    Attribute refusing(&node, "refusing"); // the base reads nothing
    FloatAttribute after(&node, "after", 0.0f);
    Archive archive;
    ArchiveElement element = archive.createElement(QStringLiteral("node"));
    element.add(
        valueElement(archive, QStringLiteral("float"), QStringLiteral("refusing"), QStringLiteral("1")));
    element.add(valueElement(archive, QStringLiteral("float"), QStringLiteral("after"), QStringLiteral("2")));
    EXPECT_FALSE(node.deserialize(element)) << "a refused child must be reported";
    EXPECT_EQ(after.value(), 2.0f) << "the children after a refusal are still read";
}

TEST(NodeArchive, NestedNodesAreReadRecursively) {
    Node root;
    Node inner(&root, "inner");
    FloatAttribute deep(&inner, "deep", 0.0f);
    Archive archive;
    ArchiveElement element = archive.createElement(QStringLiteral("node"));
    ArchiveElement innerElement = archive.createElement(QStringLiteral("node"));
    innerElement.setName(QStringLiteral("inner"));
    innerElement.add(
        valueElement(archive, QStringLiteral("float"), QStringLiteral("deep"), QStringLiteral("7")));
    element.add(innerElement);
    EXPECT_TRUE(root.deserialize(element));
    EXPECT_EQ(deep.value(), 7.0f);
}

TEST(NodeArchive, TreeRoundTripsThroughTheTextForm) {
    Node written(nullptr, "shape");
    FloatAttribute width(&written, "width", 1.0f);
    StringAttribute title(&written, "title");
    Node style(&written, "style");
    FloatAttribute opacity(&style, "opacity", 1.0f);
    width = 12.25f;
    title = QString::fromUtf8("Grüße \"quoted\"");
    opacity = 0.5f;

    Archive out;
    out.setRoot(written.serialize(out));
    QByteArray const json = out.toJson();

    Archive in;
    ASSERT_TRUE(in.fromJson(json));
    Node read(nullptr, "shape");
    FloatAttribute readWidth(&read, "width", 1.0f);
    StringAttribute readTitle(&read, "title");
    Node readStyle(&read, "style");
    FloatAttribute readOpacity(&readStyle, "opacity", 1.0f);
    EXPECT_TRUE(read.deserialize(in.root()));
    EXPECT_EQ(readWidth.value(), 12.25f);
    EXPECT_EQ(readTitle.value(), QString::fromUtf8("Grüße \"quoted\""));
    EXPECT_EQ(readOpacity.value(), 0.5f);
}

// --- messages

TEST(NodeMessages, MessageGoesToTheChildNamedBeforeTheFirstSlash) {
    struct Row {
        char const* id;
        char const* child;
        char const* rest;
    } const rows[] = {
        {"location-x", "location-x", ""}, {"size/0", "size", "0"}, {"size/1", "size", "1"},
        {"path/a/b", "path", "a/b"},      {"size/", "size", ""},
    };
    for (auto const& row : rows) {
        Node node;
        MessageProbe location(&node, "location-x");
        MessageProbe size(&node, "size");
        MessageProbe path(&node, "path");
        BinaryData data = intMessage(11);
        node.eventProcess(row.id, data);
        MessageProbe* const probes[] = {&location, &size, &path};
        for (MessageProbe* probe : probes) {
            if (probe->name() == row.child) {
                EXPECT_EQ(probe->ids, std::vector<std::string>{row.rest}) << "id " << row.id;
                EXPECT_EQ(probe->values, std::vector<int>{11})
                    << "the message reaches the child, id " << row.id;
            } else {
                EXPECT_TRUE(probe->ids.empty()) << probe->name().constData() << " must not get " << row.id;
            }
        }
    }
}

TEST(NodeMessages, NestedNodesPassTheRestOn) {
    Node root;
    Node style(&root, "style");
    MessageProbe color(&style, "color");
    BinaryData data = intMessage(3);
    root.eventProcess("style/color/2", data);
    EXPECT_EQ(color.ids, std::vector<std::string>{"2"});
    EXPECT_EQ(color.values, std::vector<int>{3});
}

TEST(NodeMessages, MessageForAnUnknownChildIsDropped) {
    Node node;
    MessageProbe known(&node, "known");
    BinaryData data = intMessage(1);
    node.eventProcess("unknown/0", data);
    node.eventProcess("", data);
    EXPECT_TRUE(known.ids.empty());
    EXPECT_EQ(data.position(), 0) << "nobody read the dropped message";
}

TEST(NodeMessages, TypedChildTakesTheValueOnTheUserLayer) {
    Node node;
    FloatAttribute width(&node, "width", 1.0f);
    BinaryData data;
    data.writeFloat32(8.0f);
    node.eventProcess("width", data);
    EXPECT_EQ(width.value(), 8.0f);
    EXPECT_EQ(width.currentLayer(), Attribute::LAYER_USER);
}

// --- state over the children

TEST(NodeState, ChangedWhenAnyChildIsChanged) {
    Node node;
    EXPECT_FALSE(node.isChanged()) << "an empty node is unchanged";
    FloatAttribute a(&node, "a", 1.0f);
    FloatAttribute b(&node, "b", 1.0f);
    EXPECT_FALSE(node.isChanged());
    b = 2.0f;
    EXPECT_TRUE(node.isChanged());
    b.clearValue(Attribute::LAYER_USER);
    EXPECT_FALSE(node.isChanged());
}

TEST(NodeState, ChangedChildInANestedNodeCounts) {
    Node root;
    Node inner(&root, "inner");
    FloatAttribute deep(&inner, "deep", 0.0f);
    deep = 1.0f;
    EXPECT_TRUE(root.isChanged());
}

TEST(NodeState, SetAsDefaultsReachesEveryChild) {
    Node root;
    FloatAttribute a(&root, "a", 1.0f);
    Node inner(&root, "inner");
    StringAttribute b(&inner, "b", QStringLiteral("x"));
    a = 5.0f;
    b = QStringLiteral("y");
    root.setAsDefaults();
    EXPECT_FALSE(root.isChanged());
    EXPECT_EQ(a.value(), 5.0f);
    EXPECT_EQ(a.valueOnLayer(Attribute::LAYER_DEFAULT), 5.0f);
    EXPECT_FALSE(a.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(b.valueOnLayer(Attribute::LAYER_DEFAULT), QStringLiteral("y"));
    EXPECT_FALSE(b.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

// --- node events

namespace {

// Captures warnings for the length of a test.
class NodeEvents : public ::testing::Test {
protected:
    std::vector<std::string> warnings() const { return m_log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING); }

private:
    TestSupport::CapturedLog m_log;
};

} // namespace

TEST_F(NodeEvents, DeclaredEventReachesEveryListenerWithTheDataFromItsStart) {
    Node node;
    node.eventAddOut("moved");
    EXPECT_TRUE(node.hasEventOut("moved"));
    Calls calls;
    for (char const* who : {"first", "second"}) {
        node.eventAddListenerBd("moved", nullptr, [&calls, who](BinaryData& data) {
            bool ok = false;
            int const x = data.readInt32(&ok);
            QByteArray label;
            bool const labelOk = data.readString(label);
            calls.push_back(std::string(who) + (ok && labelOk
                                                    ? " " + std::to_string(x) + " " + label.toStdString()
                                                    : " unreadable"));
        });
    }
    BinaryData data;
    data.writeInt32(42);
    data.writeString("left");
    data.readInt32(); // the sender's own read position must not matter
    node.eventSend("moved", data);
    EXPECT_EQ(calls, (Calls{"first 42 left", "second 42 left"})) << "each listener reads from the start";
    EXPECT_TRUE(warnings().empty());
}

TEST_F(NodeEvents, EventWithoutDataGivesAnEmptyMessage) {
    Node node;
    node.eventAddOut("tick");
    int calls = 0;
    bool empty = false;
    node.eventAddListenerBd("tick", nullptr, [&](BinaryData& data) {
        ++calls;
        empty = data.atEnd();
    });
    node.eventSend("tick");
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(empty);
}

TEST_F(NodeEvents, ListenersHearOnlyTheirEvent) {
    Node node;
    node.eventAddOut("a");
    node.eventAddOut("b");
    Calls calls;
    node.eventAddListenerBd("a", nullptr, [&](BinaryData&) { calls.push_back("a"); });
    node.eventAddListenerBd("b", nullptr, [&](BinaryData&) { calls.push_back("b"); });
    node.eventSend("b");
    node.eventSend("a");
    node.eventSend("b");
    EXPECT_EQ(calls, (Calls{"b", "a", "b"}));
}

TEST_F(NodeEvents, UndeclaredEventIsLoggedAndIgnored) {
    Node node;
    node.eventAddOut("declared");
    int calls = 0;
    node.eventAddListenerBd("declared", nullptr, [&](BinaryData&) { ++calls; });
    node.eventSend("undeclared");
    node.eventSend("undeclared", intMessage(1));
    EXPECT_EQ(calls, 0);
    EXPECT_FALSE(node.hasEventOut("undeclared"));
    EXPECT_EQ(warnings(),
              (std::vector<std::string>{"Node::eventSend # Event 'undeclared' was not declared",
                                        "Node::eventSend # Event 'undeclared' was not declared"}));
}

// Subscribing is no declaration: only the node that raises an event declares it.
TEST_F(NodeEvents, ListeningToAnUndeclaredEventDoesNotDeclareIt) {
    Node node;
    int calls = 0;
    node.eventAddListenerBd("early", nullptr, [&](BinaryData&) { ++calls; });
    EXPECT_FALSE(node.hasEventOut("early"));
    node.eventSend("early");
    EXPECT_EQ(calls, 0) << "an undeclared event must call nothing";
    EXPECT_EQ(warnings(), (std::vector<std::string>{"Node::eventSend # Event 'early' was not declared"}));
    node.eventAddOut("early");
    node.eventSend("early");
    EXPECT_EQ(calls, 1) << "a listener that subscribed early hears the event once it is declared";
}

TEST_F(NodeEvents, DeclaringTwiceKeepsTheListeners) {
    Node node;
    node.eventAddOut("moved");
    int calls = 0;
    node.eventAddListenerBd("moved", nullptr, [&](BinaryData&) { ++calls; });
    node.eventAddOut("moved");
    node.eventSend("moved");
    EXPECT_EQ(calls, 1);
}

TEST_F(NodeEvents, RemovedListenerHearsNothingMore) {
    Node node;
    node.eventAddOut("moved");
    Calls calls;
    long const id =
        node.eventAddListenerBd("moved", nullptr, [&](BinaryData&) { calls.push_back("removed"); });
    node.eventAddListenerBd("moved", nullptr, [&](BinaryData&) { calls.push_back("kept"); });
    node.eventRemoveListener(id);
    node.eventRemoveListener(id);
    node.eventRemoveListener(987654321L);
    node.eventSend("moved");
    EXPECT_EQ(calls, (Calls{"kept"}));
}

TEST_F(NodeEvents, RemovingAnOwnersListenersTakesThemFromEveryEvent) {
    Node node;
    Node owner;
    Node other;
    node.eventAddOut("a");
    node.eventAddOut("b");
    Calls calls;
    node.eventAddListenerBd("a", &owner, [&](BinaryData&) { calls.push_back("owner a"); });
    node.eventAddListenerBd("b", &owner, [&](BinaryData&) { calls.push_back("owner b"); });
    node.eventAddListenerBd("a", &other, [&](BinaryData&) { calls.push_back("other a"); });
    node.eventAddListenerBd("b", nullptr, [&](BinaryData&) { calls.push_back("nobody b"); });
    node.eventRemoveListeners(&owner);
    node.eventSend("a");
    node.eventSend("b");
    EXPECT_EQ(calls, (Calls{"other a", "nobody b"}));
}

TEST_F(NodeEvents, RemovingListenersOfANodeWithoutEventsIsHarmless) {
    Node node;
    Node owner;
    node.eventRemoveListener(1);
    node.eventRemoveListeners(&owner);
    EXPECT_FALSE(node.hasEventOut("anything"));
}

TEST_F(NodeEvents, ListenerMayRemoveItselfDuringTheEvent) {
    Node node;
    node.eventAddOut("once");
    Calls calls;
    long self = 0;
    self = node.eventAddListenerBd("once", nullptr, [&](BinaryData&) {
        calls.push_back("self");
        node.eventRemoveListener(self);
    });
    node.eventAddListenerBd("once", nullptr, [&](BinaryData&) { calls.push_back("other"); });
    node.eventSend("once");
    node.eventSend("once");
    EXPECT_EQ(calls, (Calls{"self", "other", "other"}));
}

// --- identity

TEST(NodeIdentity, GeneratedIdsAreUnique) {
    std::set<long> ids;
    for (int i = 0; i < 10000; ++i) {
        ids.insert(Node::generateId());
    }
    EXPECT_EQ(ids.size(), 10000u);
}

TEST(NodeIdentity, GeneratedIdsAreUniqueAcrossThreads) {
    constexpr int threads = 4;
    constexpr int perThread = 5000;
    std::vector<std::vector<long>> generated(threads);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&generated, t] {
            for (int i = 0; i < perThread; ++i) {
                generated[t].push_back(Node::generateId());
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    std::set<long> ids;
    for (auto const& list : generated) {
        ids.insert(list.begin(), list.end());
    }
    EXPECT_EQ(ids.size(), static_cast<std::size_t>(threads * perThread)) << "no id may be handed out twice";
}

TEST(NodeIdentity, SharedPtrSharesOwnershipWithTheOwningPointer) {
    std::shared_ptr<Node> owner = std::make_shared<Node>();
    Node* const raw = owner.get();
    std::shared_ptr<Node> const shared = raw->sharedPtr();
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(shared.get(), raw);
    EXPECT_EQ(owner.use_count(), 2) << "the pointer must share the existing ownership, not start its own";
    std::weak_ptr<Node> const watch = owner;
    owner.reset();
    EXPECT_FALSE(watch.expired()) << "the shared pointer handed out keeps the node alive";
}

TEST(NodeIdentity, SharedPtrIsNullWhenNoSharedPointerOwnsTheNode) {
    Node onStack;
    EXPECT_EQ(onStack.sharedPtr(), nullptr);
    auto unique = std::make_unique<Node>();
    EXPECT_EQ(unique->sharedPtr(), nullptr);
}
