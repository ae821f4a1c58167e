// A client's request to reseed the colour preset lists, answered by the server for every client.

#include "tests/support/OperatorSites.hpp"

#include "operators/ResetColorPresetsServerOperator.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

using Datamodel::SharedCanvas;
using TestSupport::OperatorSites;
using TestSupport::StoredTree;

namespace {

std::vector<Cobalt::ColorPMA> const kChosen{Cobalt::ColorPMA(0.1f, 0.2f, 0.3f, 1)};

/// Every client's three reseeded lists differ from the defaults: each holds `kChosen`.
void chooseEverywhere(OperatorSites& sites, OperatorSites::Site& site) {
    SharedCanvas& canvas = site.canvas();
    for (auto* list : {&canvas.annotationColorPresets, &canvas.noteBackgroundColorPresets,
                       &canvas.connectorColorPresets, &canvas.noteTextColorPresets}) {
        list->setValues(kChosen);
    }
    sites.deliver();
}

/// A client that asked for a reset once and then chose its own lists: the request stands at 1.
OperatorSites::Site& answeredThenChosen(OperatorSites& sites) {
    auto& a = sites.join("a");
    a.canvas().resetColorPresetsRequest = 1;
    sites.deliver();
    chooseEverywhere(sites, a);
    return a;
}

bool holdsTheCanvasDefaults(SharedCanvas const& canvas) {
    return canvas.annotationColorPresets.values() == SharedCanvas::annotationPresetsDefaults() &&
           canvas.connectorColorPresets.values() == SharedCanvas::annotationPresetsDefaults() &&
           canvas.noteBackgroundColorPresets.values() == SharedCanvas::noteBackgroundPresetsDefaults();
}

} // namespace

TEST(ResetColorPresetsOperator, ARequestOfOneReseedsTheListsAtEveryClient) {
    OperatorSites sites;
    sites.openStored([](StoredTree&) {});
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    chooseEverywhere(sites, a);
    ASSERT_FALSE(holdsTheCanvasDefaults(b.canvas())) << "b saw a's choice first";

    a.canvas().resetColorPresetsRequest = 1;
    sites.deliver();

    for (auto* site : {&a, &b}) {
        EXPECT_TRUE(holdsTheCanvasDefaults(site->canvas())) << "with nothing configured, the canvas defaults";
        EXPECT_EQ(site->canvas().noteTextColorPresets.values(), kChosen)
            << "the note text list keeps its content";
        EXPECT_EQ(site->canvas().resetColorPresetsRequest.value(), 1) << "the request is never written back";
    }
}

TEST(ResetColorPresetsOperator, ARequestReseedsWithTheConfiguredLists) {
    // The configuration is the process's: a child process of its own.
    EXPECT_EXIT(
        {
            std::vector<Cobalt::ColorPMA> const annotations{Cobalt::ColorPMA(0, 0, 0.5f, 1)};
            Datamodel::registerTavolaServerOperators(0.0f, {annotations, {}});
            OperatorSites sites;
            sites.openStored([](StoredTree&) {});
            auto& a = sites.join("a");
            chooseEverywhere(sites, a);
            a.canvas().resetColorPresetsRequest = 1;
            sites.deliver();
            bool const ok = a.canvas().annotationColorPresets.values() == annotations &&
                            a.canvas().connectorColorPresets.values() == annotations &&
                            a.canvas().noteBackgroundColorPresets.values() ==
                                SharedCanvas::noteBackgroundPresetsDefaults();
            std::fprintf(stderr,
                         ok ? "" : "broken: the configured lists, the canvas's where none is configured\n");
            std::exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(ResetColorPresetsOperator, TheSameRequestAgainReseedsAgain) {
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree&) {});
    auto& a = answeredThenChosen(sites);

    // The value doesn't change; the set still reaches the operator.
    auto const request = document->rootNode()->childAttribute("reset-color-presets-request");
    Basalt::AttributeT<int> one;
    one = 1;
    request->simpleAttribute()->setValueFromAttr(one, ~0U);
    sites.deliver();

    EXPECT_TRUE(holdsTheCanvasDefaults(a.canvas()));
}

TEST(ResetColorPresetsOperator, ARequestOfZeroChangesNothing) {
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree&) {});
    auto& a = answeredThenChosen(sites);
    QString before = TestSupport::describeTree(*document->rootNode());

    a.canvas().resetColorPresetsRequest = 0;
    sites.deliver();

    EXPECT_EQ(a.canvas().annotationColorPresets.values(), kChosen);
    QString const after = TestSupport::describeTree(*document->rootNode());
    EXPECT_EQ(after, before.replace("reset-color-presets-request:3=01000000",
                                    "reset-color-presets-request:3=00000000"))
        << "only the request itself changed";
}

TEST(ResetColorPresetsOperator, AListStoredWithAWrongKindOfAttributeIsReplaced) {
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree& tree) {
        tree.set<float>(tree.root(), "annotation-color-presets", 2.0f);
        tree.set<int>(tree.root(), "reset-color-presets-request", 0);
    });
    auto& a = sites.join("a");
    EXPECT_EQ(document->rootNode()->childAttribute("annotation-color-presets")->vectorContainer(), nullptr)
        << "the initialisation keeps a list that exists, whatever its kind";

    a.canvas().resetColorPresetsRequest = 1;
    sites.deliver();

    auto const list = document->rootNode()->childAttribute("annotation-color-presets");
    ASSERT_NE(list->vectorContainer(), nullptr) << "the reset replaced the wrong kind by a list";
    EXPECT_EQ(list->typeCode(), 0x1000030u);
    EXPECT_EQ(a.canvas().annotationColorPresets.values(), SharedCanvas::annotationPresetsDefaults());
}

TEST(ResetColorPresetsOperator, AStoredRequestIsWatchedFromTheStart) {
    OperatorSites sites;
    sites.openStored([](StoredTree& tree) { tree.set<int>(tree.root(), "reset-color-presets-request", 0); });
    auto& a = sites.join("a");
    chooseEverywhere(sites, a);
    a.canvas().resetColorPresetsRequest = 5;
    sites.deliver();
    EXPECT_TRUE(holdsTheCanvasDefaults(a.canvas())) << "any value but 0 is a request";
}
