#include "framework/CanvasItem.hpp"

#include "attributes/AttributeString.hpp"
#include "tests/support/CardElement.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

namespace {

using Basalt::Attribute;

using TestSupport::Card;
using TestSupport::Unknown;

class Mark : public Datamodel::CanvasLocation {};

std::shared_ptr<Tessel::ElementFactory> cardFactory() {
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<Card>("card");
    factory->addFactory<Mark>("mark");
    return factory;
}

template <typename E>
E* addChild(Tessel::Element& parent) {
    auto* child = new E();
    child->initName();
    parent.addAttribute(child);
    return child;
}

std::vector<Mark*> marksAtDepths(Tessel::Element& root, std::initializer_list<float> depths) {
    std::vector<Mark*> marks;
    for (float depth : depths) {
        Mark* mark = addChild<Mark>(root);
        mark->depth = depth;
        marks.push_back(mark);
    }
    return marks;
}

} // namespace

TEST(CanvasElement, AttributesAreDeclaredInOrderWithTheirDefaults) {
    Card card;
    QByteArray const expected[] = {"location", "location-x", "location-y", "depth",  "size",
                                   "width",    "height",     "scale",      "pinned", "title"};
    ASSERT_EQ(card.attributes().size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(card.attributes()[i].first, expected[i]) << "attribute " << i;
    }
    EXPECT_EQ(card.size.value(), Fathom::SizeT<float>(100.0f, 100.0f));
    EXPECT_EQ(card.scale.value(), 1.0f);
    EXPECT_FALSE(card.pinned.value());
    EXPECT_EQ(card.depth.value(), 0.0f);
    EXPECT_EQ(card.location.value(), Fathom::Vector2T<float>(0.0f, 0.0f));
    for (auto const& entry : card.attributes()) {
        EXPECT_FALSE(entry.second->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << entry.first.constData() << " must start on its default layer";
    }
    EXPECT_TRUE(card.hasEventOut("lock-status-change"));
    EXPECT_EQ(card.minimumSize, Fathom::SizeT<float>());
}

TEST(CanvasElement, MovementNamesAreLocationSizeScaleDepthInOneSharedList) {
    QVector<QByteArray> const expected{"location", "size", "scale", "depth"};
    EXPECT_EQ(Datamodel::CanvasItem::movementAttributeNames(), expected);
    EXPECT_EQ(&Datamodel::CanvasItem::movementAttributeNames(),
              &Datamodel::CanvasItem::movementAttributeNames());
}

TEST(CanvasElement, AnEmptyTitleReportsTheDefaultTitle) {
    Card card;
    EXPECT_EQ(card.uiTitle(), QStringLiteral("Card"));
    card.title = QString();
    EXPECT_EQ(card.uiTitle(), QStringLiteral("Card")) << "an empty title on the user layer is no title";
    card.title = QStringLiteral("Plan");
    EXPECT_EQ(card.uiTitle(), QStringLiteral("Plan"));
    EXPECT_EQ(Mark().uiTitle(), QStringLiteral("Canvas element")) << "no title attribute at all";
}

TEST(CanvasElement, ACloneHasAnotherGuidTheUserValuesNotThePinAndClonedChildrenInOrder) {
    Card source;
    source.initName();
    source.title = QStringLiteral("Plan");
    source.location = Fathom::Vector2T<float>(10.0f, 20.0f);
    source.scale = 2.0f;
    source.pinned = true;
    Mark* first = addChild<Mark>(source);
    first->depth = 3.0f;
    Card* second = addChild<Card>(source);
    second->title = QStringLiteral("Inner");

    std::unique_ptr<Tessel::Element> clone(source.cloneElement(cardFactory()));
    ASSERT_TRUE(clone);
    auto* card = dynamic_cast<Card*>(clone.get());
    ASSERT_TRUE(card);
    EXPECT_FALSE(card->guid().isEmpty());
    EXPECT_NE(card->guid(), source.guid());
    EXPECT_EQ(card->name(), card->guid());
    EXPECT_EQ(card->title.value(), QStringLiteral("Plan"));
    EXPECT_EQ(card->location.value(), Fathom::Vector2T<float>(10.0f, 20.0f));
    EXPECT_EQ(card->scale.value(), 2.0f);
    EXPECT_FALSE(card->pinned.value()) << "a copy of a pinned item is not pinned";

    std::vector<Tessel::Element*> children;
    for (auto const& entry : card->attributes()) {
        if (auto* element = dynamic_cast<Tessel::Element*>(entry.second)) {
            children.push_back(element);
        }
    }
    ASSERT_EQ(children.size(), 2u);
    auto* clonedMark = dynamic_cast<Mark*>(children[0]);
    auto* clonedCard = dynamic_cast<Card*>(children[1]);
    ASSERT_TRUE(clonedMark && clonedCard) << "children keep their order";
    EXPECT_EQ(clonedMark->depth.value(), 3.0f);
    EXPECT_EQ(clonedCard->title.value(), QStringLiteral("Inner"));
    EXPECT_NE(clonedMark->guid(), first->guid());
    EXPECT_NE(clonedCard->guid(), second->guid());
}

TEST(CanvasElement, ASourceThatNeverHadASizeLeavesTheClonesSizeOnItsDefault) {
    Card source;
    source.scale = 3.0f;
    std::unique_ptr<Tessel::Element> clone(source.cloneElement(cardFactory()));
    auto* card = dynamic_cast<Card*>(clone.get());
    ASSERT_TRUE(card);
    EXPECT_FALSE(card->size.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(card->size.value(), Fathom::SizeT<float>(100.0f, 100.0f));
    EXPECT_TRUE(card->scale.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(CanvasElement, CloningAnUnknownClassGivesNullAndUnknownChildrenAreLeftOut) {
    Unknown unknown;
    EXPECT_EQ(unknown.cloneElement(cardFactory()), nullptr);
    EXPECT_EQ(Card().cloneElement(nullptr), nullptr);

    Card source;
    addChild<Unknown>(source);
    addChild<Mark>(source);
    std::unique_ptr<Tessel::Element> clone(source.cloneElement(cardFactory()));
    int elements = 0;
    for (auto const& entry : clone->attributes()) {
        elements += dynamic_cast<Tessel::Element*>(entry.second) ? 1 : 0;
    }
    EXPECT_EQ(elements, 1) << "only the child of a known class is cloned";
}

TEST(CanvasElement, CopyValuesFromAnotherClassReturnsFalseAndCopiesNothing) {
    Card card;
    Mark mark;
    mark.location = Fathom::Vector2T<float>(5.0f, 5.0f);
    EXPECT_FALSE(card.copyValues(mark));
    EXPECT_FALSE(card.location.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_TRUE(mark.copyValues(card)) << "a card is a location, so a mark can copy from it";
}

TEST(CanvasElement, CopyingATupleRaisesOneChange) {
    Card source;
    source.location = Fathom::Vector2T<float>(1.0f, 2.0f);
    Card target;
    int changes = 0;
    target.location.addListener([&changes] { ++changes; }, Attribute::ROLE_CHANGE);
    EXPECT_TRUE(target.copyValues(source));
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(target.location.value(), Fathom::Vector2T<float>(1.0f, 2.0f));
}

TEST(NormalizeDepth, LowDepthsMoveToTenAndStepUpByOne) {
    Tessel::Element root;
    auto const marks = marksAtDepths(root, {0.0f, 0.0f, 5.0f});
    Datamodel::CanvasLocation::normalizeDepth(root);
    EXPECT_EQ(marks[0]->depth.value(), 10.0f);
    EXPECT_EQ(marks[1]->depth.value(), 11.0f);
    EXPECT_EQ(marks[2]->depth.value(), 12.0f);
}

TEST(NormalizeDepth, NeighboursCloserThanHalfAUnitArePushedUp) {
    Tessel::Element root;
    auto const marks = marksAtDepths(root, {1.0f, 1.4f, 1.6f});
    Datamodel::CanvasLocation::normalizeDepth(root);
    EXPECT_EQ(marks[0]->depth.value(), 1.0f);
    EXPECT_EQ(marks[1]->depth.value(), 2.0f);
    EXPECT_EQ(marks[2]->depth.value(), 3.0f);
}

TEST(NormalizeDepth, NeighboursExactlyHalfAUnitApartStay) {
    Tessel::Element root;
    auto const marks = marksAtDepths(root, {2.0f, 2.5f});
    Datamodel::CanvasLocation::normalizeDepth(root);
    EXPECT_EQ(marks[0]->depth.value(), 2.0f);
    EXPECT_EQ(marks[1]->depth.value(), 2.5f) << "2.5 is not below 2 + 0.5";
}

TEST(NormalizeDepth, InfiniteAndNanDepthsAreRewritten) {
    Tessel::Element root;
    auto const marks = marksAtDepths(
        root, {std::numeric_limits<float>::quiet_NaN(), 3.0f, std::numeric_limits<float>::infinity()});
    Datamodel::CanvasLocation::normalizeDepth(root);
    for (Mark* mark : marks) {
        EXPECT_TRUE(std::isfinite(mark->depth.value())) << "no depth may stay infinite or NaN";
        EXPECT_GE(mark->depth.value(), 1.0f);
    }
    EXPECT_EQ(marks[1]->depth.value(), 3.0f) << "the finite depth is the lowest and stays";
}

TEST(NormalizeDepth, EqualDepthsKeepTheirTreeOrderAndLevelsAreIndependent) {
    Tessel::Element root;
    auto const top = marksAtDepths(root, {4.0f, 4.0f});
    auto const inner = marksAtDepths(*top[1], {0.5f});
    Datamodel::CanvasLocation::normalizeDepth(root);
    EXPECT_EQ(top[0]->depth.value(), 4.0f);
    EXPECT_EQ(top[1]->depth.value(), 5.0f) << "the later sibling of equal depth goes above";
    EXPECT_EQ(inner[0]->depth.value(), 10.0f) << "the child level is mended on its own";
}

TEST(NormalizeDepth, DepthsFarEnoughApartAreNotWritten) {
    Tessel::Element root;
    auto const marks = marksAtDepths(root, {1.0f, 7.0f});
    marks[1]->depth.setAsDefaults();
    int changes = 0;
    marks[1]->depth.addListener([&changes] { ++changes; }, Attribute::ROLE_CHANGE);
    Datamodel::CanvasLocation::normalizeDepth(root);
    EXPECT_EQ(changes, 0);
    EXPECT_FALSE(marks[1]->depth.isValueDefinedOnLayer(Attribute::LAYER_USER));
}
