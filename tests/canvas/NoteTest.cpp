#include "canvas/Note.hpp"

#include "canvas/Hsluv.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/TestExecutors.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using Basalt::Attribute;
using Cobalt::ColorPMA;

ColorPMA const black(0.0f, 0.0f, 0.0f, 1.0f);
ColorPMA const white(1.0f, 1.0f, 1.0f, 1.0f);

// What a note's document holds: the names of the children its archive writes.
std::vector<std::string> storedNames(Basalt::Node const& node) {
    Basalt::Archive archive;
    std::vector<std::string> names;
    Basalt::ArchiveElement const element = node.serialize(archive);
    for (auto child = element.children(); child; ++child) {
        names.push_back(child->name().toStdString());
    }
    return names;
}

bool contains(std::vector<std::string> const& names, std::string const& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// A note as the root of a document whose server announced `serverVersion`.
struct NoteDocument {
    explicit NoteDocument(char const* serverVersion) {
        auto link = std::make_shared<Tessel::ClientToServerConnection>(
            Tessel::ClientToServerConnection::Announcement{
                Cobalt::VersionString(QString::fromLatin1(serverVersion)), 1, 1, 0},
            &executor);
        note = new Datamodel::Note();
        note->initName();
        document = Tessel::DocumentConnection::create(std::unique_ptr<Tessel::Element>(note), nullptr,
                                                      &executor, std::move(link));
        document->initializeElements();
    }
    TestSupport::ManualExecutor executor;
    Datamodel::Note* note = nullptr;
    std::shared_ptr<Tessel::DocumentConnection> document;
};

} // namespace

TEST(Note, AttributesAreDeclaredInOrderWithTheirTypesDefaultsAndLayers) {
    Datamodel::Note note;
    struct Row {
        QByteArray key;
        QByteArray type;
        QString shown;
        Attribute::Layer layer;
    };
    Row const rows[] = {
        {"text", "string", "", Attribute::LAYER_DEFAULT},
        {"background-color", "color", "rgba_pma(255, 0, 0, 1)", Attribute::LAYER_USER},
        {"title", "string", "", Attribute::LAYER_DEFAULT},
        {"text-color", "color", "rgba_pma(0, 0, 0, 1)", Attribute::LAYER_DEFAULT},
        {"auto-text-color", "bool", "true", Attribute::LAYER_DEFAULT},
    };
    Attribute const* const declared[] = {&note.text, &note.backgroundColor, &note.title, &note.textColor,
                                         &note.autoTextColor};
    ASSERT_EQ(std::size(rows), std::size(declared));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        Row const& row = rows[i];
        Attribute const& attribute = *declared[i];
        EXPECT_EQ(attribute.name(), row.key) << "declaration " << i;
        EXPECT_EQ(attribute.type(), row.type) << row.key.constData();
        EXPECT_EQ(attribute.asString().toStdString(), row.shown.toStdString()) << row.key.constData();
        EXPECT_EQ(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER), row.layer == Attribute::LAYER_USER)
            << row.key.constData() << " has its default on the wrong layer";
    }
    // The three hosted ones follow the item's attributes in this order.
    auto const& entries = note.attributes();
    ASSERT_GE(entries.size(), 3u);
    EXPECT_EQ(entries[entries.size() - 3].second, &note.text);
    EXPECT_EQ(entries[entries.size() - 2].second, &note.backgroundColor);
    EXPECT_EQ(entries[entries.size() - 1].second, &note.title);
    EXPECT_EQ(note.flags().bits(), 0u);
}

TEST(Note, ANewNoteIs300By300OnTheDefaultLayerAndTitledNote) {
    Datamodel::Note note;
    EXPECT_EQ(note.size.value(), Fathom::SizeT<float>(300.0f, 300.0f));
    EXPECT_FALSE(note.size.isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "the size is a default, not a choice";
    EXPECT_EQ(note.uiTitle(), QStringLiteral("Note"));
    note.title = QStringLiteral("Agenda");
    EXPECT_EQ(note.uiTitle(), QStringLiteral("Agenda"));
}

TEST(Note, ANewNotesBackgroundIsOnTheUserLayerButNotChanged) {
    Datamodel::Note note;
    EXPECT_TRUE(note.backgroundColor.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_FALSE(note.backgroundColor.isChanged()) << "the user-layer red equals the default red";
    EXPECT_EQ(note.backgroundColor.value(), ColorPMA(1.0f, 0.0f, 0.0f, 1.0f));
}

// Red would give white text, so black shows that nothing has run yet.
TEST(Note, ANewRedNoteKeepsTheDefaultBlackTextUntilSomethingChanges) {
    Datamodel::Note note;
    EXPECT_TRUE(note.autoTextColor.value());
    EXPECT_EQ(note.textColor.value(), black);
    EXPECT_FALSE(note.textColor.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Note, TextIsWhiteUpToLightness60AndBlackAbove) {
    struct Row {
        ColorPMA background;
        bool lightnessAbove60;
        ColorPMA text;
    };
    Row const rows[] = {
        {ColorPMA(1.0f, 1.0f, 0.0f, 1.0f), true, black},       // yellow
        {ColorPMA(0.0f, 0.0f, 1.0f, 1.0f), false, white},      // blue
        {ColorPMA(0.0f, 0.5f, 0.0f, 1.0f), false, white},      // dark green
        {ColorPMA(1.0f, 1.0f, 1.0f, 1.0f), true, black},       // white
        {ColorPMA(0.0f, 0.0f, 0.0f, 1.0f), false, white},      // black
        {ColorPMA(0.56f, 0.56f, 0.56f, 1.0f), false, white},   // grey just below 60
        {ColorPMA(0.575f, 0.575f, 0.575f, 1.0f), true, black}, // grey just above 60
    };
    for (Row const& row : rows) {
        double const lightness =
            Datamodel::rgb2hsluv({row.background.red, row.background.green, row.background.blue})[2];
        ASSERT_EQ(lightness > 60.0, row.lightnessAbove60)
            << "the table's colour is on the wrong side: " << lightness;
        Datamodel::Note note;
        note.backgroundColor = row.background;
        EXPECT_EQ(note.textColor.value(), row.text) << "background lightness " << lightness;
        EXPECT_TRUE(note.textColor.isValueDefinedOnLayer(Attribute::LAYER_USER));
    }
}

TEST(Note, ATransparentBackgroundIsTakenAsItStandsWithoutDivision) {
    Datamodel::Note note;
    // Divided by zero this would be no colour at all; as it stands it is white, which wants black text.
    note.backgroundColor = ColorPMA(1.0f, 1.0f, 1.0f, 0.0f);
    EXPECT_EQ(note.textColor.value(), black);
    // A half-transparent grey is undone to white first: black text, where the raw 0.5 grey would give white.
    note.backgroundColor = ColorPMA(0.0f, 0.0f, 0.0f, 1.0f);
    ASSERT_EQ(note.textColor.value(), white);
    note.backgroundColor = ColorPMA(0.5f, 0.5f, 0.5f, 0.5f);
    EXPECT_EQ(note.textColor.value(), black) << "premultiplication must be undone for a visible colour";
}

TEST(Note, WithoutAutoTextColorABackgroundChangeLeavesTheTextColor) {
    Datamodel::Note note;
    note.autoTextColor = false;
    note.backgroundColor = ColorPMA(1.0f, 1.0f, 0.0f, 1.0f);
    EXPECT_EQ(note.textColor.value(), black);
    note.backgroundColor = ColorPMA(0.0f, 0.0f, 1.0f, 1.0f);
    EXPECT_EQ(note.textColor.value(), black)
        << "a dark background must not recolour text that isn't automatic";
    EXPECT_FALSE(note.textColor.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Note, TurningAutoTextColorOnRecomputesAtOnce) {
    Datamodel::Note note;
    note.autoTextColor = false;
    note.backgroundColor = ColorPMA(0.0f, 0.0f, 1.0f, 1.0f);
    ASSERT_EQ(note.textColor.value(), black);
    note.autoTextColor = true;
    EXPECT_EQ(note.textColor.value(), white);
}

TEST(Note, AClientOnAServerBelow320DoesntWriteTheTextColorAttributes) {
    NoteDocument document("3.1.9");
    Datamodel::Note& note = *document.note;
    note.autoTextColor = false;
    note.textColor = white;
    EXPECT_EQ(note.attribute("text-color"), nullptr);
    EXPECT_EQ(note.attribute("auto-text-color"), nullptr);
    std::vector<std::string> const names = storedNames(note);
    EXPECT_TRUE(contains(names, "background-color"));
    EXPECT_FALSE(contains(names, "text-color")) << "an older server must not see the text colour";
    EXPECT_FALSE(contains(names, "auto-text-color"));
    // Detached, the colour logic still runs locally.
    note.autoTextColor = true;
    note.backgroundColor = ColorPMA(1.0f, 1.0f, 0.0f, 1.0f);
    EXPECT_EQ(note.textColor.value(), black);
}

TEST(Note, AClientOnAServerAt320OrLaterAddsTheTextColorAttributesLast) {
    for (char const* version : {"3.2.0", "3.2", "3.10.1", "4.0.0"}) {
        NoteDocument document(version);
        Datamodel::Note& note = *document.note;
        EXPECT_EQ(note.attribute("text-color"), &note.textColor) << version;
        EXPECT_EQ(note.attribute("auto-text-color"), &note.autoTextColor) << version;
        auto const& entries = note.attributes();
        ASSERT_GE(entries.size(), 2u);
        EXPECT_EQ(entries[entries.size() - 2].second, &note.textColor);
        EXPECT_EQ(entries[entries.size() - 1].second, &note.autoTextColor);
        note.textColor = white;
        EXPECT_TRUE(contains(storedNames(note), "text-color")) << version;
    }
}

TEST(Note, InitializingWithoutAServerLinkLogsAndLeavesTheNoteAsItIs) {
    TestSupport::CapturedLog log;
    TestSupport::ManualExecutor executor;
    auto* note = new Datamodel::Note();
    auto document = Tessel::DocumentConnection::create(std::unique_ptr<Tessel::Element>(note), nullptr,
                                                       &executor, nullptr);
    document->initializeElements();

    std::vector<std::string> const errors = log.messagesUpTo(Cobalt::Trace::LEVEL_ERROR);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0], "Note::initialize # No connection to determine version");
    EXPECT_EQ(note->attribute("text-color"), nullptr);
    EXPECT_EQ(note->attribute("auto-text-color"), nullptr);
}

TEST(Note, TheMinimumSizeStays30By30WhateverTheSize) {
    Datamodel::Note note;
    EXPECT_EQ(note.minimumSize, Fathom::SizeT<float>(30.0f, 30.0f));
    note.size = Fathom::SizeT<float>(10.0f, 5000.0f);
    EXPECT_EQ(note.minimumSize, Fathom::SizeT<float>(30.0f, 30.0f));
    note.scale = 0.1f;
    EXPECT_EQ(note.minimumSize, Fathom::SizeT<float>(30.0f, 30.0f));
}

TEST(Note, CopyValuesFromAnotherClassFailsAndCopiesNothing) {
    struct Other : Datamodel::CanvasItem {};
    Other other;
    other.size = Fathom::SizeT<float>(5.0f, 5.0f);
    Datamodel::Note note;
    EXPECT_FALSE(note.copyValues(other));
    EXPECT_EQ(note.size.value(), Fathom::SizeT<float>(300.0f, 300.0f));
}

// The background's write runs the listener; the later writes restore the source's own text colour.
TEST(Note, CopyValuesCopiesUserValuesAndEndsInTheSourcesTextColorState) {
    Datamodel::Note source;
    source.text = QStringLiteral("Buy milk");
    source.title = QStringLiteral("Shopping");
    source.location = Fathom::Vector2T<float>(4.0f, 8.0f);
    source.backgroundColor = ColorPMA(0.0f, 0.0f, 1.0f, 1.0f); // white text, automatically
    source.autoTextColor = false;
    source.textColor = ColorPMA(1.0f, 1.0f, 0.0f, 1.0f); // then yellow by hand

    Datamodel::Note copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.text.value(), QStringLiteral("Buy milk"));
    EXPECT_EQ(copy.title.value(), QStringLiteral("Shopping"));
    EXPECT_EQ(copy.location.value(), Fathom::Vector2T<float>(4.0f, 8.0f));
    EXPECT_EQ(copy.backgroundColor.value(), ColorPMA(0.0f, 0.0f, 1.0f, 1.0f));
    EXPECT_EQ(copy.textColor.value(), ColorPMA(1.0f, 1.0f, 0.0f, 1.0f))
        << "the hand-picked colour must survive";
    EXPECT_FALSE(copy.autoTextColor.value());
    EXPECT_FALSE(copy.size.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Note, CopyValuesLeavesWhatTheSourceHasOnlyAsDefault) {
    Datamodel::Note source;
    Datamodel::Note copy;
    copy.text = QStringLiteral("mine");
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.text.value(), QStringLiteral("mine")) << "a default of the source is no value to copy";
    EXPECT_EQ(copy.textColor.value(), black);
}
