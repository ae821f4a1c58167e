#include "canvas/Annotation.hpp"

#include "platform/basalt/Archive.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using Basalt::Attribute;
using Basalt::AttributeEvent;

Sienna::BezierNode node(float at) {
    Sienna::BezierNode result;
    result.ctrlIn = Fathom::Vector3T<float>(at - 1.0f, at, 1.0f);
    result.point = Fathom::Vector3T<float>(at, at, 2.0f);
    result.ctrlOut = Fathom::Vector3T<float>(at + 1.0f, at, 3.0f);
    return result;
}

// Records every event of a container.
void record(Basalt::AttributeContainerBase& container, std::vector<AttributeEvent>& events) {
    container.events().addListener(Cobalt::FlagsT<AttributeEvent::Type>::fromBits(2 | 8 | 16 | 32),
                                   [&events](AttributeEvent event) { events.push_back(event); });
}

} // namespace

TEST(Annotation, AttributesAreDeclaredInOrderWithTheirTypesDefaultsAndLayers) {
    Datamodel::Annotation annotation;
    std::vector<TestSupport::MemberRow> const rows = {
        {"annotation-page", "int", "-1", Attribute::LAYER_DEFAULT},
        {"line-width", "float", "1", Attribute::LAYER_DEFAULT},
        {"line-color", "color", "rgba_pma(255, 255, 255, 1)", Attribute::LAYER_DEFAULT},
        {"points", "vector:Sienna::BezierNode", "", Attribute::LAYER_DEFAULT},
    };
    std::vector<Attribute const*> const declared = {&annotation.annotationPage, &annotation.lineWidth,
                                                    &annotation.lineColor, &annotation.points};
    TestSupport::expectOwnAttributes(TestSupport::lastAttributes(annotation, rows.size()), declared, rows);
    EXPECT_EQ(annotation.flags().bits(), 1u);
    EXPECT_EQ(annotation.attribute("size"), nullptr) << "a stroke has no size of its own";
}

TEST(Annotation, ANewAnnotationIsOnNoPageWithAWhiteLineOneWideAndNoPoints) {
    Datamodel::Annotation annotation;
    EXPECT_EQ(annotation.annotationPage.value(), -1);
    EXPECT_EQ(annotation.lineWidth.value(), 1.0f);
    EXPECT_EQ(annotation.lineColor.value(), Cobalt::ColorPMA(1.0f, 1.0f, 1.0f, 1.0f));
    EXPECT_TRUE(annotation.points.values().empty());
    EXPECT_EQ(annotation.uiTitle(), QStringLiteral("Canvas element"));
}

TEST(Annotation, CopyingNoPointsOverNoPointsSendsNoEvent) {
    Datamodel::Annotation source;
    Datamodel::Annotation copy;
    std::vector<AttributeEvent> events;
    record(copy.points, events);
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_TRUE(events.empty()) << "an empty stroke that stays empty is no change";
}

TEST(Annotation, CopyingAStrokeSendsOneEventForTheWholeList) {
    Datamodel::Annotation source;
    source.points.setValues({node(1.0f), node(2.0f), node(3.0f)});
    Datamodel::Annotation copy;
    std::vector<AttributeEvent> events;
    record(copy.points, events);
    EXPECT_TRUE(copy.copyValues(source));
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].type, AttributeEvent::LIST_CHANGED);
    EXPECT_EQ(events[0].key, 0u);
    EXPECT_EQ(copy.points.values(), source.points.values());

    // Copying an empty stroke over a drawn one is a change too.
    Datamodel::Annotation empty;
    events.clear();
    EXPECT_TRUE(copy.copyValues(empty));
    ASSERT_EQ(events.size(), 1u);
    EXPECT_TRUE(copy.points.values().empty());
}

TEST(Annotation, ACopiedStrokeIsIndependentOfItsSource) {
    Datamodel::Annotation source;
    source.points.setValues({node(1.0f), node(2.0f)});
    Datamodel::Annotation copy;
    ASSERT_TRUE(copy.copyValues(source));
    copy.points.replace(0, node(9.0f));
    copy.points.append(node(10.0f));
    EXPECT_EQ(source.points.values(), (std::vector<Sienna::BezierNode>{node(1.0f), node(2.0f)}));
}

TEST(Annotation, CopyValuesTakesOnlyWhatTheSourceHasOnTheUserLayer) {
    Datamodel::Annotation source;
    source.lineWidth = 4.5f;
    Datamodel::Annotation copy;
    copy.annotationPage = 3;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.lineWidth.value(), 4.5f);
    EXPECT_EQ(copy.annotationPage.value(), 3) << "the source's page is only a default";
    EXPECT_FALSE(copy.lineColor.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Annotation, CopyValuesFromAnotherClassFails) {
    Datamodel::CanvasLocation other;
    other.depth = 4.0f;
    Datamodel::Annotation annotation;
    EXPECT_FALSE(annotation.copyValues(other));
    EXPECT_EQ(annotation.depth.value(), 0.0f);
}

TEST(Annotation, ACloneHasTheLocationAndDepthOfTheSource) {
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<Datamodel::Annotation>("tavola_annotation");
    Datamodel::Annotation source;
    source.initName();
    source.location = Fathom::Vector2T<float>(3.0f, 4.0f);
    source.depth = 7.0f;
    source.lineColor = Cobalt::ColorPMA(0.0f, 0.0f, 1.0f, 1.0f);
    source.points.setValues({node(1.0f)});

    std::unique_ptr<Tessel::Element> clone(source.cloneElement(factory));
    auto* annotation = dynamic_cast<Datamodel::Annotation*>(clone.get());
    ASSERT_TRUE(annotation);
    EXPECT_EQ(annotation->location.value(), Fathom::Vector2T<float>(3.0f, 4.0f));
    EXPECT_EQ(annotation->depth.value(), 7.0f);
    EXPECT_EQ(annotation->lineColor.value(), Cobalt::ColorPMA(0.0f, 0.0f, 1.0f, 1.0f));
    EXPECT_EQ(annotation->points.values(), source.points.values());
}

TEST(Annotation, ReadingAStoredStrokeReplacesThePoints) {
    Datamodel::Annotation stored;
    stored.points.setValues({node(1.0f), node(2.0f)});
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = stored.serialize(archive);

    Datamodel::Annotation read;
    read.points.setValues({node(5.0f), node(6.0f), node(7.0f)});
    EXPECT_TRUE(read.deserialize(element));
    EXPECT_EQ(read.points.values(), stored.points.values()) << "a stored stroke must not be appended";
}
