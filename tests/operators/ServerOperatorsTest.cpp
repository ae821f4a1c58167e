// Registration configures the whole process once, so each case runs in a child process of its own.

#include "tests/support/CapturedLog.hpp"
#include "tests/support/OperatorSites.hpp"

#include "index/ServerIndex.hpp"
#include "operators/AutoPinServerOperator.hpp"
#include "operators/InitCanvasServerOperator.hpp"
#include "operators/PresentationServerOperator.hpp"
#include "operators/ResetColorPresetsServerOperator.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

using Datamodel::ColorPresetDefaults;
using Datamodel::SharedCanvas;

namespace {

std::vector<Cobalt::ColorPMA> const kConfiguredAnnotations{Cobalt::ColorPMA(0.25f, 0, 0, 1)};
std::vector<Cobalt::ColorPMA> const kConfiguredNotes{Cobalt::ColorPMA(0, 0.5f, 0, 1),
                                                     Cobalt::ColorPMA(0, 0, 1, 1)};

/// Ends the child process: status 0 when every check held, otherwise 1 after naming the first that failed.
[[noreturn]] void finish(std::vector<std::pair<bool, char const*>> const& checks) {
    for (auto const& check : checks) {
        if (!check.first) {
            std::fprintf(stderr, "broken: %s\n", check.second);
            std::exit(1);
        }
    }
    std::exit(0);
}

/// The operators that the process's registry gives a new canvas, made on a live server.
std::vector<std::shared_ptr<Tessel::ServerDocumentOperator>> operatorsOfANewCanvas() {
    TestSupport::LiveSites sites(QStringLiteral("26.07.5"), &Tessel::ServerDocumentTypeOperators::instance());
    sites.join("a");
    return sites.serverDocument()->operators();
}

template <typename Op>
bool isA(std::shared_ptr<Tessel::ServerDocumentOperator> const& op) {
    return std::dynamic_pointer_cast<Op>(op) != nullptr;
}

} // namespace

TEST(ServerOperatorsRegistration, ASecondRegistrationKeepsTheFirstConfigurationAndLogsOneError) {
    EXPECT_EXIT(
        {
            TestSupport::CapturedLog log;
            Datamodel::registerTavolaServerOperators(30.0f, {kConfiguredAnnotations, kConfiguredNotes});
            Datamodel::registerTavolaServerOperators(60.0f, {});
            auto const operators = operatorsOfANewCanvas();
            auto const autoPin =
                operators.empty()
                    ? nullptr
                    : std::dynamic_pointer_cast<Datamodel::AutoPinServerDocumentOperator>(operators[0]);
            auto const errors = log.messagesUpTo(Cobalt::Trace::LEVEL_ERROR);
            finish({{operators.size() == 4, "one set of four operators"},
                    {autoPin && autoPin->intervalMilliseconds() == 30000, "the auto-pin time stays 30 s"},
                    {Datamodel::configuredColorPresetDefaults().annotationPresets == kConfiguredAnnotations,
                     "the first annotation list stays"},
                    {Datamodel::configuredColorPresetDefaults().noteBackgroundPresets == kConfiguredNotes,
                     "the first note list stays"},
                    {errors ==
                         std::vector<std::string>{
                             "Datamodel::registerTavolaServerOperators called more than once!"},
                     "one error is logged"}});
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(ServerOperatorsRegistration, TheOperatorsAttachInTheirOrderAndOnlyToCanvases) {
    EXPECT_EXIT(
        {
            Datamodel::registerTavolaServerOperators(5.0f, {});
            auto const operators = operatorsOfANewCanvas();
            bool const ordered = operators.size() == 4 &&
                                 isA<Datamodel::AutoPinServerDocumentOperator>(operators[0]) &&
                                 isA<Datamodel::PresentationServerDocumentOperator>(operators[1]) &&
                                 isA<Datamodel::InitCanvasServerOperator>(operators[2]) &&
                                 isA<Datamodel::ResetColorPresetsServerOperator>(operators[3]);
            auto& registry = Tessel::ServerDocumentTypeOperators::instance();
            finish(
                {{ordered, "auto-pin, presentation, init canvas, reset presets"},
                 {registry.factories(Datamodel::ServerIndex::documentType()).empty(), "no index operators"},
                 {registry.factories(Datamodel::EmblemActionMap::documentType()).empty(),
                  "no emblem operators"}});
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(ServerOperatorsRegistration, WithoutAPositiveAutoPinTimeACanvasHasThreeOperators) {
    for (float const seconds : {0.0f, -1.0f}) {
        EXPECT_EXIT(
            {
                Datamodel::registerTavolaServerOperators(seconds, {});
                auto const operators = operatorsOfANewCanvas();
                bool autoPin = false;
                for (auto const& op : operators) {
                    autoPin = autoPin || isA<Datamodel::AutoPinServerDocumentOperator>(op);
                }
                finish({{operators.size() == 3, "three operators"}, {!autoPin, "no auto-pin"}});
            },
            ::testing::ExitedWithCode(0), "")
            << "auto-pin time " << seconds;
    }
}

TEST(ServerOperatorsRegistration, EffectiveDefaultsReplaceEachEmptyListByTheCanvasDefaults) {
    EXPECT_EXIT(
        {
            ColorPresetDefaults const before = Datamodel::effectiveColorPresetDefaults();
            bool const emptyBefore = Datamodel::configuredColorPresetDefaults().annotationPresets.empty() &&
                                     Datamodel::configuredColorPresetDefaults().noteBackgroundPresets.empty();
            Datamodel::registerTavolaServerOperators(0.0f, {kConfiguredAnnotations, {}});
            ColorPresetDefaults const after = Datamodel::effectiveColorPresetDefaults();
            finish({{emptyBefore, "nothing is configured before registration"},
                    {before.annotationPresets == SharedCanvas::annotationPresetsDefaults(),
                     "before registration: the canvas's annotation list"},
                    {before.noteBackgroundPresets == SharedCanvas::noteBackgroundPresetsDefaults(),
                     "before registration: the canvas's note list"},
                    {after.annotationPresets == kConfiguredAnnotations, "the configured annotation list"},
                    {after.noteBackgroundPresets == SharedCanvas::noteBackgroundPresetsDefaults(),
                     "the empty note list is replaced"},
                    {Datamodel::configuredColorPresetDefaults().noteBackgroundPresets.empty(),
                     "the configured note list stays empty"}});
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(ServerOperatorsRegistration, WithBothListsEmptyTheEffectiveDefaultsAreTheCanvasLists) {
    EXPECT_EXIT(
        {
            Datamodel::registerTavolaServerOperators(0.0f, {});
            ColorPresetDefaults const effective = Datamodel::effectiveColorPresetDefaults();
            finish({{effective.annotationPresets == SharedCanvas::annotationPresetsDefaults(), "annotations"},
                    {effective.noteBackgroundPresets == SharedCanvas::noteBackgroundPresetsDefaults(),
                     "notes"}});
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(ServerOperatorsRegistration, ACanvasOpenedAfterRegistrationGetsTheConfiguredLists) {
    EXPECT_EXIT(
        {
            Datamodel::registerTavolaServerOperators(0.0f, {kConfiguredAnnotations, kConfiguredNotes});
            TestSupport::LiveSites sites(QStringLiteral("26.07.5"),
                                         &Tessel::ServerDocumentTypeOperators::instance());
            auto& a = sites.join("a");
            finish(
                {{a.canvas().annotationColorPresets.values() == kConfiguredAnnotations, "annotations"},
                 {a.canvas().connectorColorPresets.values() == kConfiguredAnnotations, "connectors"},
                 {a.canvas().noteBackgroundColorPresets.values() == kConfiguredNotes, "note backgrounds"}});
        },
        ::testing::ExitedWithCode(0), "");
}
