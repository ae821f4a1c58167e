#include "canvas/Presentation.hpp"

#include "canvas/Annotation.hpp"
#include "framework/CanvasItem.hpp"
#include "tests/support/CountingListener.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <memory>

namespace {

using Basalt::Attribute;
using Datamodel::Presentation;
using Datamodel::PresentationContainer;
using Datamodel::PresentationSlide;

float const kNaN = std::numeric_limits<float>::quiet_NaN();

class Box : public Datamodel::CanvasItem {};

// Adds a slide with an order as it stands, bypassing the spacing of `createSlide`.
PresentationSlide* addRawSlide(Presentation& presentation, float order) {
    auto* slide = new PresentationSlide();
    slide->initName();
    slide->order = order;
    presentation.addAttribute(slide);
    return slide;
}

std::vector<float> ordersOf(std::vector<PresentationSlide*> const& slides) {
    std::vector<float> orders;
    for (PresentationSlide const* slide : slides) {
        orders.push_back(slide->order.value());
    }
    return orders;
}

} // namespace

TEST(Presentation, SlideAttributesAreDeclaredInOrderWithTheirDefaults) {
    PresentationSlide slide;
    std::vector<TestSupport::DeclaredAttribute> const rows = {
        {"content-id", "string", "", Attribute::LAYER_DEFAULT},
        {"transition-type", "enum:Datamodel::PresentationSlide::TransitionType", "pan-and-zoom",
         Attribute::LAYER_DEFAULT},
        {"video-autoplay", "bool", "false", Attribute::LAYER_DEFAULT},
        {"focus", "bool", "true", Attribute::LAYER_DEFAULT},
        {"allow-touch", "bool", "true", Attribute::LAYER_DEFAULT},
        {"temporary-annotation", "bool", "false", Attribute::LAYER_DEFAULT},
        {"order", "float", "0", Attribute::LAYER_DEFAULT},
    };
    TestSupport::expectDeclaredAttributes(slide, rows);
    EXPECT_EQ(slide.transitionType.value(), PresentationSlide::TRANSITION_PAN_AND_ZOOM);
}

TEST(Presentation, PresentationDeclaresOnlyItsName) {
    Presentation presentation;
    std::vector<TestSupport::DeclaredAttribute> const rows = {
        {"presentation-name", "string", "", Attribute::LAYER_DEFAULT}};
    TestSupport::expectDeclaredAttributes(presentation, rows);
}

TEST(Presentation, ContainerDeclaresNoAttributes) {
    PresentationContainer container;
    EXPECT_TRUE(container.attributes().empty());
}

TEST(Presentation, EachClassHandsItsFlagsToTheElement) {
    PresentationContainer container;
    Presentation presentation;
    PresentationSlide slide;
    struct Row {
        char const* name;
        Tessel::Element const& element;
        unsigned bits;
    } const rows[] = {{"PresentationContainer", container, 1u},
                      {"Presentation", presentation, 1u},
                      {"PresentationSlide", slide, 0u}};
    for (Row const& row : rows) {
        EXPECT_EQ(row.element.flags().bits(), row.bits) << row.name;
    }
}

TEST(Presentation, TransitionTypeNamesAreNonePanAndZoomFade) {
    struct Row {
        char const* name;
        int value;
    } const rows[] = {{"none", 0}, {"pan-and-zoom", 1}, {"fade", 2}};
    EXPECT_EQ(Datamodel::s_transitionType.size(), static_cast<int>(std::size(rows)));
    for (Row const& row : rows) {
        int value = -1;
        EXPECT_TRUE(Datamodel::s_transitionType.find(row.name, value)) << row.name;
        EXPECT_EQ(value, row.value) << row.name;
    }
    PresentationSlide slide;
    EXPECT_TRUE(slide.transitionType.set(QStringLiteral("fade")));
    EXPECT_EQ(slide.transitionType.value(), PresentationSlide::TRANSITION_FADE);
}

TEST(Presentation, DefaultTitlesNameEachClass) {
    EXPECT_EQ(PresentationContainer().uiTitleDefault(), QStringLiteral("Presentations"));
    EXPECT_EQ(Presentation().uiTitleDefault(), QStringLiteral("Presentation"));
    EXPECT_EQ(PresentationSlide().uiTitleDefault(), QStringLiteral("Presentation slide"));
}

TEST(Presentation, CreatingTheSameNameThreeTimesCountsUpFromOne) {
    PresentationContainer container;
    QString const expected[] = {"A", "A (1)", "A (2)"};
    for (QString const& name : expected) {
        Presentation* presentation = container.createPresentation(QStringLiteral("A"));
        ASSERT_TRUE(presentation);
        EXPECT_EQ(presentation->presentationName.value(), name);
        EXPECT_TRUE(presentation->presentationName.isValueDefinedOnLayer(Attribute::LAYER_USER));
    }
    std::vector<Presentation*> const all = container.presentations();
    ASSERT_EQ(all.size(), 3u);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i]->presentationName.value(), expected[i]) << "presentations keep child order";
        EXPECT_FALSE(all[i]->guid().isEmpty());
        EXPECT_EQ(all[i]->name(), all[i]->guid()) << "added under its own name";
        EXPECT_EQ(all[i]->host(), &container);
    }
}

// The presentation being renamed still holds "A (1)" while the search runs, so it can't keep it.
TEST(Presentation, RenamingTheSecondToTheFirstsNameSkipsItsOwnCurrentName) {
    PresentationContainer container;
    container.createPresentation(QStringLiteral("A"));
    Presentation* second = container.createPresentation(QStringLiteral("A"));
    ASSERT_EQ(second->presentationName.value(), QStringLiteral("A (1)"));
    second->setPresentationName(QStringLiteral("A"));
    EXPECT_EQ(second->presentationName.value(), QStringLiteral("A (2)"));
}

TEST(Presentation, CandidatesAreBuiltFromTheWantedNameNotFromTheLastCandidate) {
    PresentationContainer container;
    container.createPresentation(QStringLiteral("A"));
    EXPECT_EQ(container.createPresentation(QStringLiteral("A (1)"))->presentationName.value(),
              QStringLiteral("A (1)"));
    EXPECT_EQ(container.createPresentation(QStringLiteral("A (1)"))->presentationName.value(),
              QStringLiteral("A (1) (1)"));
}

TEST(Presentation, RenamingToTheCurrentNameChangesNothingAndSendsNoEvent) {
    PresentationContainer container;
    Presentation* presentation = container.createPresentation(QStringLiteral("A"));
    TestSupport::CountingListener changes(presentation->presentationName);
    presentation->setPresentationName(QStringLiteral("A"));
    EXPECT_EQ(presentation->presentationName.value(), QStringLiteral("A")) << "its own name isn't taken";
    EXPECT_EQ(changes.count(), 0);

    Presentation unnamed;
    TestSupport::CountingListener unnamedChanges(unnamed.presentationName);
    unnamed.setPresentationName(QString());
    EXPECT_FALSE(unnamed.presentationName.isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "the same empty name must not be written";
    EXPECT_EQ(unnamedChanges.count(), 0);
}

TEST(Presentation, RenamingOutsideAContainerTakesTheNameAsItStands) {
    PresentationContainer container;
    container.createPresentation(QStringLiteral("A"));
    Presentation loose;
    loose.setPresentationName(QStringLiteral("A"));
    EXPECT_EQ(loose.presentationName.value(), QStringLiteral("A"));
    EXPECT_TRUE(loose.presentationName.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Presentation, FindingByNameIsExactAndCaseSensitive) {
    PresentationContainer container;
    Presentation* a = container.createPresentation(QStringLiteral("Alpha"));
    EXPECT_EQ(container.findPresentationByName(QStringLiteral("Alpha")), a);
    EXPECT_EQ(container.findPresentationByName(QStringLiteral("alpha")), nullptr);
    EXPECT_EQ(container.findPresentationByName(QStringLiteral("Alph")), nullptr);
    EXPECT_EQ(container.createPresentation(QStringLiteral("alpha"))->presentationName.value(),
              QStringLiteral("alpha"))
        << "another case is another name";
}

TEST(Presentation, ContainerListsOnlyPresentationChildren) {
    PresentationContainer container;
    auto* stray = new Box();
    stray->initName();
    container.addAttribute(stray);
    Presentation* only = container.createPresentation(QStringLiteral("A"));
    std::vector<Presentation*> const all = container.presentations();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all.front(), only);
}

TEST(Presentation, SlideWithoutOrderOnAnEmptyPresentationGetsOrderOne) {
    Presentation presentation;
    PresentationSlide* slide = presentation.createSlide(QByteArrayLiteral("guid-1"), kNaN);
    ASSERT_TRUE(slide);
    EXPECT_EQ(slide->order.value(), 1.0f);
    EXPECT_TRUE(slide->order.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Presentation, SlideWithoutOrderGoesOneBeyondTheLastSlide) {
    float const notFinite[] = {kNaN, std::numeric_limits<float>::infinity(),
                               -std::numeric_limits<float>::infinity()};
    for (float order : notFinite) {
        Presentation presentation;
        addRawSlide(presentation, 2.0f);
        addRawSlide(presentation, 7.5f);
        PresentationSlide* slide = presentation.createSlide(QByteArrayLiteral("guid-1"), order);
        EXPECT_EQ(slide->order.value(), 8.5f) << "given order " << order;
        EXPECT_EQ(presentation.slides().back(), slide);
    }
}

TEST(Presentation, InsertingAtATakenOrderPushesEachLaterSlideInTurn) {
    Presentation presentation;
    PresentationSlide* one = addRawSlide(presentation, 1.0f);
    PresentationSlide* two = addRawSlide(presentation, 2.0f);
    PresentationSlide* three = addRawSlide(presentation, 3.0f);
    PresentationSlide* added = presentation.createSlide(QByteArrayLiteral("guid-new"), 2.0f);

    EXPECT_EQ(one->order.value(), 1.0f);
    EXPECT_EQ(three->order.value(), 4.0f) << "the old third slide is pushed on by the one pushed before it";
    float const low = std::min(two->order.value(), added->order.value());
    float const high = std::max(two->order.value(), added->order.value());
    EXPECT_EQ(low, 2.0f) << "one of the two slides at 2 stays";
    EXPECT_EQ(high, 3.0f) << "the other goes to 3";
    EXPECT_EQ(ordersOf(presentation.slides()), (std::vector<float>{1.0f, 2.0f, 3.0f, 4.0f}));
}

TEST(Presentation, ANegativeFirstOrderBecomesOneAndPushesACloseSecond) {
    Presentation presentation;
    PresentationSlide* first = addRawSlide(presentation, -5.0f);
    PresentationSlide* second = addRawSlide(presentation, 0.05f);
    presentation.normalizeOrder();
    EXPECT_EQ(first->order.value(), 1.0f);
    EXPECT_EQ(second->order.value(), 2.0f) << "the walk keeps the order it started with";
}

TEST(Presentation, OnlyAGapBelowOneTenthIsWidened) {
    struct Row {
        float first;
        float second;
        float expectedSecond;
    } const rows[] = {
        {1.0f, 1.05f, 2.0f},
        {1.0f, 1.1f, 1.1f}, // 1.0f + 0.1f == 1.1f, and an equal gap is wide enough
        {1.0f, 1.5f, 1.5f},
    };
    for (Row const& row : rows) {
        Presentation presentation;
        PresentationSlide* first = addRawSlide(presentation, row.first);
        PresentationSlide* second = addRawSlide(presentation, row.second);
        presentation.normalizeOrder();
        EXPECT_EQ(first->order.value(), row.first);
        EXPECT_EQ(second->order.value(), row.expectedSecond) << row.first << ", " << row.second;
    }
}

TEST(Presentation, AFractionalInsertBetweenWideGapsStaysWherePut) {
    Presentation presentation;
    addRawSlide(presentation, 1.0f);
    addRawSlide(presentation, 2.0f);
    PresentationSlide* between = presentation.createSlide(QByteArrayLiteral("guid-between"), 1.5f);
    EXPECT_EQ(between->order.value(), 1.5f);
    EXPECT_EQ(ordersOf(presentation.slides()), (std::vector<float>{1.0f, 1.5f, 2.0f}));
}

TEST(Presentation, SlidesAreSortedByOrderNotByChildOrder) {
    Presentation presentation;
    EXPECT_FALSE(presentation.hasSlides());
    EXPECT_EQ(presentation.firstSlide(), nullptr);
    PresentationSlide* late = addRawSlide(presentation, 5.0f);
    PresentationSlide* early = addRawSlide(presentation, 2.0f);
    PresentationSlide* middle = addRawSlide(presentation, 3.0f);
    EXPECT_TRUE(presentation.hasSlides());
    EXPECT_EQ(presentation.slides(), (std::vector<PresentationSlide*>{early, middle, late}));
    EXPECT_EQ(presentation.firstSlide(), early);
}

TEST(Presentation, CreateSlideStoresTheGuidAsTextUpToTheFirstZeroByte) {
    Presentation presentation;
    presentation.initName();
    QByteArray const guid("abc\0def", 7);
    PresentationSlide* slide = presentation.createSlide(guid, 1.0f);
    EXPECT_EQ(slide->contentId.value(), QStringLiteral("abc"));
    EXPECT_TRUE(slide->contentId.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_FALSE(slide->guid().isEmpty());
    EXPECT_EQ(slide->name(), slide->guid()) << "added under its own name";
    EXPECT_EQ(slide->presentation(), &presentation);
}

TEST(Presentation, CreateSlideForAnElementWithoutGuidMakesNoSlide) {
    Presentation presentation;
    Box box;
    EXPECT_EQ(presentation.createSlide(box, 1.0f), nullptr);
    EXPECT_FALSE(presentation.hasSlides());

    box.initName();
    PresentationSlide* slide = presentation.createSlide(box, 3.0f);
    ASSERT_TRUE(slide);
    EXPECT_EQ(slide->contentId.value(), QString::fromLatin1(box.guid()));
    EXPECT_EQ(slide->order.value(), 3.0f);
}

TEST(Presentation, ContentIsFoundAnywhereInTheTreeOfTheSlide) {
    Box root;
    root.initName();
    auto* container = new PresentationContainer();
    container->initName();
    root.addAttribute(container);
    auto* item = new Box();
    item->initName();
    root.addAttribute(item);
    auto* plain = new Tessel::Element();
    plain->initName();
    root.addAttribute(plain);

    Presentation* presentation = container->createPresentation(QStringLiteral("Tour"));
    PresentationSlide* slide = presentation->createSlide(*item, kNaN);
    EXPECT_EQ(slide->content(), item) << "the content is outside the slide's own subtree";

    slide->contentId = QStringLiteral("no-such-guid");
    EXPECT_EQ(slide->content(), nullptr);
    slide->contentId = QString::fromLatin1(plain->guid());
    EXPECT_EQ(slide->content(), nullptr) << "an element that is no canvas element is no content";
}

TEST(Presentation, ASlideOutsideAPresentationHasNoPresentation) {
    PresentationSlide loose;
    EXPECT_EQ(loose.presentation(), nullptr);
    Box box;
    auto* slide = new PresentationSlide();
    box.addAttribute(slide);
    EXPECT_EQ(slide->presentation(), nullptr) << "another kind of host";
}

TEST(Presentation, AnAnnotationIsNoSlideContent) {
    Datamodel::Annotation annotation;
    annotation.initName();
    EXPECT_FALSE(PresentationSlide::isSupported(annotation))
        << "a CanvasLocation without a size is no CanvasItem";
}

TEST(Presentation, OnlyAnItemWithAGuidIsSlideContent) {
    Box box;
    EXPECT_FALSE(PresentationSlide::isSupported(box));
    box.initName();
    EXPECT_TRUE(PresentationSlide::isSupported(box));
}

TEST(Presentation, AnEmptyNameGivesTheDefaultTitle) {
    Presentation presentation;
    EXPECT_EQ(presentation.uiTitle(), QStringLiteral("Presentation"));
    presentation.presentationName = QStringLiteral("Quarterly");
    EXPECT_EQ(presentation.uiTitle(), QStringLiteral("Quarterly"));
}

TEST(Presentation, CopyingAPresentationTakesAUserNameWithoutMakingItUnique) {
    PresentationContainer container;
    Presentation* taken = container.createPresentation(QStringLiteral("A"));
    Presentation* target = container.createPresentation(QStringLiteral("B"));
    EXPECT_TRUE(target->copyValues(*taken));
    EXPECT_EQ(target->presentationName.value(), QStringLiteral("A"));

    Presentation unnamed;
    Presentation fresh;
    EXPECT_TRUE(fresh.copyValues(unnamed));
    EXPECT_FALSE(fresh.presentationName.isValueDefinedOnLayer(Attribute::LAYER_USER));

    PresentationSlide slide;
    EXPECT_FALSE(fresh.copyValues(slide)) << "a slide is no presentation";
}

TEST(Presentation, CopyingASlideTakesEachUserValueAndLeavesDefaults) {
    PresentationSlide source;
    source.contentId = QStringLiteral("guid-x");
    source.transitionType = PresentationSlide::TRANSITION_FADE;
    source.videoAutoplay = true;
    source.focus = false;
    source.order = 4.0f;

    PresentationSlide target;
    EXPECT_TRUE(target.copyValues(source));
    EXPECT_EQ(target.contentId.value(), QStringLiteral("guid-x"));
    EXPECT_EQ(target.transitionType.value(), PresentationSlide::TRANSITION_FADE);
    EXPECT_TRUE(target.videoAutoplay.value());
    EXPECT_FALSE(target.focus.value());
    EXPECT_EQ(target.order.value(), 4.0f);
    EXPECT_FALSE(target.allowTouch.isValueDefinedOnLayer(Attribute::LAYER_USER)) << "a default isn't copied";
    EXPECT_FALSE(target.temporaryAnnotation.isValueDefinedOnLayer(Attribute::LAYER_USER));

    Presentation presentation;
    PresentationSlide other;
    EXPECT_FALSE(other.copyValues(presentation));
    EXPECT_FALSE(other.order.isValueDefinedOnLayer(Attribute::LAYER_USER)) << "a failed copy changes nothing";
}
