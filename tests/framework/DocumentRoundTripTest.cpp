// Whole documents of the three stored kinds, with every element class of their factories, written into an
// archive, turned into text and back, and rebuilt: what comes back must be what went out.

#include "platform/tessel/ElementArchive.hpp"

#include "attributes/AttributeEnum.hpp"
#include "attributes/AttributeT.hpp"
#include "attributes/AttributeTimeStamp.hpp"
#include "attributes/AttributeVectorContainer.hpp"
#include "canvas/SharedCanvas.hpp"
#include "canvas/Table.hpp"
#include "client/ClientState.hpp"
#include "client/EmblemFolder.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/cobalt/Color.hpp"
#include "platform/cobalt/TimeStamp.hpp"
#include "platform/sienna/BezierNode.hpp"
#include "platform/tessel/ElementFactory.hpp"

#include <gtest/gtest.h>

#include <QSet>
#include <QStringList>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

using Basalt::Archive;
using Basalt::Attribute;
using Tessel::Element;
using Tessel::ElementArchive;
using Tessel::ElementFactory;

namespace {

// Stored documents carry the user's layer; defaults come from the classes.
constexpr unsigned storedLayers = Archive::layerBit(Attribute::LAYER_USER);

// ---- sample values, one table row per attribute type

// Writes sample `which` (0 or 1) of its type on LAYER_USER; false when the attribute refuses it.
using SampleWrite = std::function<bool(Attribute&, int which)>;

template <typename T>
SampleWrite listOf(std::vector<T> first, std::vector<T> second) {
    return [first, second](Attribute& attribute, int which) {
        auto* list = dynamic_cast<Basalt::AttributeVectorContainer<T>*>(&attribute);
        if (list) {
            list->setValues(which == 0 ? first : second);
        }
        return list != nullptr;
    };
}

Sienna::BezierNode bezier(float base) {
    return Sienna::BezierNode{
        {base, base + 1.0f, 0.5f}, {base + 2.0f, base + 3.0f, 1.5f}, {-base, 4.0f, 2.0f}};
}

// Samples need no more than six significant digits: that is what archive text keeps of a float.
std::map<QByteArray, SampleWrite> const& sampleWriters() {
    static std::map<QByteArray, SampleWrite> const writers = {
        {"float", [](Attribute& a, int which) { return a.set(which == 0 ? 12.5f : -7.25f); }},
        {"int", [](Attribute& a, int which) { return a.set(which == 0 ? 42 : -17); }},
        {"long", [](Attribute& a, int which) { return a.set(which == 0 ? 1234567 : -89); }},
        {"unsigned long", [](Attribute& a, int which) { return a.set(which == 0 ? 7654321 : 3); }},
        {"bool", [](Attribute& a, int which) { return a.set(which == 0 ? 1 : 0); }},
        {"string",
         [](Attribute& a, int which) {
             return a.set(which == 0 ? QStringLiteral("Grüße, \"quoted\" \\ text\non two lines")
                                     : QStringLiteral("other text"));
         }},
        {"asset",
         [](Attribute& a, int which) {
             return a.set(which == 0 ? QStringLiteral("00112233445566778899aabbccddeeff")
                                     : QStringLiteral("ffeeddccbbaa99887766554433221100"));
         }},
        {"color",
         [](Attribute& a, int which) {
             return a.set(which == 0 ? Fathom::Vector4T<float>(0.25f, 0.5f, 0.75f, 0.5f)
                                     : Fathom::Vector4T<float>(1.0f, 0.75f, 0.0f, 1.0f));
         }},
        {"timestamp",
         [](Attribute& a, int which) {
             auto* time = dynamic_cast<Basalt::AttributeT<Cobalt::TimeStamp>*>(&a);
             if (time) {
                 time->setValue(Cobalt::TimeStamp(which == 0 ? 1700000000123456 : 99), Attribute::LAYER_USER);
             }
             return time != nullptr;
         }},
        {"vector2:float",
         [](Attribute& a, int which) {
             return a.set(which == 0 ? Fathom::Vector2T<float>(12.5f, -3.25f)
                                     : Fathom::Vector2T<float>(1, 2));
         }},
        {"vector2:int",
         [](Attribute& a, int which) {
             return a.set(which == 0 ? Fathom::Vector2T<float>(7, -2) : Fathom::Vector2T<float>(3, 4));
         }},
        {"vector:float", listOf<float>({0.25f, 0.75f}, {1.0f})},
        {"vector:int", listOf<int>({1, -2, 3}, {4})},
        {"vector:long", listOf<long>({11, 22, 33}, {44})},
        {"vector:color", listOf<Cobalt::ColorPMA>({Cobalt::ColorPMA(0.125f, 0.25f, 0.375f, 0.5f),
                                                   Cobalt::ColorPMA(0.0f, 0.0f, 1.0f, 1.0f)},
                                                  {Cobalt::ColorPMA(1.0f, 1.0f, 1.0f, 1.0f)})},
        {"vector:Sienna::BezierNode",
         listOf<Sienna::BezierNode>({bezier(1.0f), bezier(10.5f)}, {bezier(-2.0f)})},
    };
    return writers;
}

// An enumeration takes a listed value other than the one it shows; one with a single name can only write
// that one again, on the user layer.
bool writeEnumSample(Attribute& attribute) {
    auto const* enumeration = dynamic_cast<Basalt::AttributeEnum const*>(&attribute);
    if (!enumeration || enumeration->names().size() == 0) {
        return false;
    }
    int value = enumeration->names().rows().begin()->second;
    for (auto const& row : enumeration->names().rows()) {
        if (row.second != attribute.asInt()) {
            value = row.second;
        }
    }
    return attribute.set(value);
}

bool writeTableSample(Attribute& attribute, std::string const& where) {
    auto const writer = sampleWriters().find(attribute.type());
    if (writer == sampleWriters().end()) {
        ADD_FAILURE() << where << ": no sample value for the attribute type " << attribute.type().constData();
        return false;
    }
    QString const before = attribute.asString();
    bool written = true;
    for (int which = 0; which < 2 && written && attribute.asString() == before; ++which) {
        written = writer->second(attribute, which);
    }
    return written;
}

bool isSingleNameEnumeration(Attribute const& attribute) {
    auto const* enumeration = dynamic_cast<Basalt::AttributeEnum const*>(&attribute);
    return enumeration && enumeration->names().size() == 1;
}

// Writes a sample that differs from what the attribute showed, on the user layer where it has layers.
void writeSample(Attribute& attribute, QString const& path) {
    std::string const where = path.toStdString();
    std::string const before = attribute.asString().toStdString();
    bool const isList = attribute.type().startsWith("vector:");
    bool const written = attribute.type().startsWith("enum:") ? writeEnumSample(attribute)
                                                              : writeTableSample(attribute, where);
    ASSERT_TRUE(written) << where << " takes its sample";
    if (!isSingleNameEnumeration(attribute)) {
        EXPECT_NE(attribute.asString().toStdString(), before)
            << where << ": the sample differs from the default";
    }
    EXPECT_TRUE(isList || attribute.isValueDefinedOnLayer(Attribute::LAYER_USER))
        << where << ": the sample is on the user layer";
}

// Every stored value of every element of the tree gets a sample. Tuples are not stored themselves: their
// components, which are attributes of the same element, get the samples.
void writeSamples(Element& element, QString const& path = QString()) {
    QString const here = path + QLatin1Char('/') + QString::fromUtf8(element.name());
    for (Basalt::Node::Entry const& entry : element.attributes()) {
        if (auto* child = dynamic_cast<Element*>(entry.second)) {
            writeSamples(*child, here);
        } else if (entry.second->isSerializable()) {
            writeSample(*entry.second, here + QLatin1Char(':') + QString::fromUtf8(entry.first));
        }
    }
}

// ---- building documents through their factories

class TreeBuilder {
public:
    explicit TreeBuilder(ElementFactory const& factory) : m_factory(factory) {}

    // A new element of `key` with a fresh guid, its own name unless one is given, added to `host`.
    Element& add(Element& host, char const* key, QByteArray const& name = QByteArray()) {
        Element* made = m_factory.create(key);
        if (!made) {
            ADD_FAILURE() << "the factory makes no element for " << key;
            made = new Element();
        }
        made->initName();
        host.addAttribute(name.isEmpty() ? made->name() : name, made);
        return *made;
    }

    std::unique_ptr<Element> root(char const* key) {
        std::unique_ptr<Element> made(m_factory.create(key));
        if (!made) {
            ADD_FAILURE() << "the factory makes no element for " << key;
            made = std::make_unique<Element>();
        }
        made->initName();
        return made;
    }

private:
    ElementFactory const& m_factory;
};

// A table of 2 by 2 with its cells, made by the table itself as a client does.
void addTable(TreeBuilder& builder, Element& host, QByteArray const& name = QByteArray()) {
    auto* table = dynamic_cast<Datamodel::Table*>(&builder.add(host, "tavola_table", name));
    ASSERT_NE(table, nullptr);
    table->gridSize = Fathom::SizeT<int>(2, 2);
    table->createCells();
}

std::unique_ptr<Element> buildCanvas(ElementFactory const& factory) {
    TreeBuilder builder(factory);
    std::unique_ptr<Element> canvas = builder.root("tavola_shared_canvas");
    builder.add(*canvas, "tavola_canvas_background", "background");
    Element& connectors = builder.add(*canvas, "tavola_connector_container", "connectors");
    builder.add(connectors, "tavola_connector");
    Element& presentations = builder.add(*canvas, "tavola_presentation_container", "presentations");
    Element& presentation = builder.add(presentations, "tavola_presentation");
    builder.add(presentation, "tavola_presentation_slide");
    builder.add(presentation, "tavola_presentation_slide");
    Element& upload = builder.add(*canvas, "tavola_folder", "upload-folder");
    Element& uploaded = builder.add(upload, "tavola_folder_item");
    builder.add(uploaded, "tavola_image_asset", "content");
    Element& bookmarks = builder.add(*canvas, "tavola_bookmark_container", "browser-bookmarks");
    builder.add(bookmarks, "tavola_bookmark");
    builder.add(bookmarks, "tavola_bookmark");
    builder.add(*canvas, "tavola_bookmark_container", "ip-stream-bookmarks");
    Element& outputs = builder.add(*canvas, "tavola_video_output_map", "video_output_wall");
    builder.add(outputs, "tavola_video_output_sink");
    for (char const* item :
         {"tavola_anchor", "tavola_annotation", "tavola_browser", "tavola_asset", "tavola_canvas_link",
          "tavola_note", "tavola_pdf_asset", "tavola_video_asset", "tavola_video_ip_stream",
          "tavola_video_screen_share_stream", "tavola_video_aux_pc_stream", "tavola_video_output_anchor",
          "tavola_rdp_connection"}) {
        builder.add(*canvas, item);
    }
    addTable(builder, *canvas);
    return canvas;
}

// The part of a canvas that lives only while clients are connected, under the factory's transient root.
std::unique_ptr<Element> buildCanvasTransient(ElementFactory const& factory) {
    TreeBuilder builder(factory);
    std::unique_ptr<Element> root(factory.createTransientRoot());
    if (!root) {
        ADD_FAILURE() << "the canvas factory has a transient root";
        return std::make_unique<Element>();
    }
    Element& connection = builder.add(*root, "tavola_connection");
    builder.add(connection, "tavola_view");
    builder.add(connection, "tavola_view");
    builder.add(connection, "tavola_interaction");
    builder.add(*root, "tavola_leadership", "leadership");
    return root;
}

std::unique_ptr<Element> buildClientState(ElementFactory const& factory) {
    TreeBuilder builder(factory);
    std::unique_ptr<Element> state = builder.root("tavola_client_state");
    builder.add(*state, "tavola_workspace");
    builder.add(*state, "tavola_workspace");
    Element& outputs = builder.add(*state, "client_state_video_map");
    builder.add(outputs, "client_state_video_output_sink");
    builder.add(outputs, "client_state_video_output_sink");
    Element& inputs = builder.add(*state, "client_state_video_input_map");
    builder.add(inputs, "client_state_video_input");
    builder.add(inputs, "client_state_video_input");
    return state;
}

// A personal folder with a subfolder and one entry for every kind of content it can hold.
std::unique_ptr<Element> buildPersonalFolder(ElementFactory const& factory) {
    TreeBuilder builder(factory);
    std::unique_ptr<Element> folder = builder.root("tavola_personal_folder");
    Element& subfolder = builder.add(*folder, "tavola_folder");
    builder.add(builder.add(subfolder, "tavola_folder_item"), "tavola_note", "content");
    for (char const* content : {"tavola_annotation", "tavola_asset", "tavola_browser", "tavola_canvas_link",
                                "tavola_image_asset", "tavola_pdf_asset", "tavola_video_asset"}) {
        builder.add(builder.add(*folder, "tavola_folder_item"), content, "content");
    }
    addTable(builder, builder.add(*folder, "tavola_folder_item"), "content");
    return folder;
}

// ---- the round trip and the comparison

// Out into an archive, to JSON text, into a second archive, and back into a tree: into a fresh root that
// the caller made, when given, else into one that the factory makes from the stored key.
std::unique_ptr<Element> throughText(Element const& tree, ElementFactory const& factory,
                                     std::unique_ptr<Element> into = nullptr) {
    Archive out(storedLayers);
    QString error;
    out.setRoot(ElementArchive::writeElementTree(tree, factory, out, &error));
    EXPECT_TRUE(error.isEmpty()) << "writing: " << error.toStdString();
    QByteArray const json = out.toJson();
    EXPECT_FALSE(json.isEmpty());

    Archive in(storedLayers);
    EXPECT_TRUE(in.fromJson(json, &error)) << error.toStdString();
    if (into) {
        EXPECT_TRUE(ElementArchive::readElementTreeInto(*into, in.root(), factory, &error));
    } else {
        into = ElementArchive::readElementTree(in.root(), factory, &error);
    }
    EXPECT_TRUE(error.isEmpty()) << "reading: " << error.toStdString();
    return into;
}

// Both trees alike, element by element: key, class, guid, name, attribute names in order, and for every
// value whether the user layer holds one, its text there, and the text shown.
void expectSameDocument(Element const& written, Element const& read, ElementFactory const& factory,
                        std::string const& path = "") {
    std::string const here = path + "/" + written.name().toStdString();
    SCOPED_TRACE(here);
    EXPECT_EQ(factory.keyOf(written), factory.keyOf(read)) << "the same type key";
    EXPECT_EQ(typeid(written), typeid(read)) << "the same class";
    EXPECT_EQ(written.guid(), read.guid()) << "the guid is kept";
    EXPECT_EQ(written.name(), read.name()) << "the name is kept";
    auto const& left = written.attributes();
    auto const& right = read.attributes();
    ASSERT_EQ(left.size(), right.size()) << "the same attributes and child elements";
    for (std::size_t i = 0; i < left.size(); ++i) {
        Attribute const& a = *left[i].second;
        Attribute const& b = *right[i].second;
        std::string const key = left[i].first.toStdString();
        ASSERT_EQ(left[i].first, right[i].first) << "attribute " << i << " keeps its place";
        auto const* childA = dynamic_cast<Element const*>(&a);
        auto const* childB = dynamic_cast<Element const*>(&b);
        ASSERT_EQ(childA != nullptr, childB != nullptr) << key << ": an element stays an element";
        if (childA) {
            expectSameDocument(*childA, *childB, factory, here);
            continue;
        }
        EXPECT_EQ(a.type(), b.type()) << key;
        EXPECT_EQ(a.isValueDefinedOnLayer(Attribute::LAYER_USER),
                  b.isValueDefinedOnLayer(Attribute::LAYER_USER))
            << key << ": the user layer is defined after the round trip exactly when it was before";
        EXPECT_EQ(a.asString(nullptr, Attribute::LAYER_USER).toStdString(),
                  b.asString(nullptr, Attribute::LAYER_USER).toStdString())
            << key << ": the same value on the user layer";
        EXPECT_EQ(a.asString().toStdString(), b.asString().toStdString()) << key << ": the same value shown";
    }
}

void collectKeys(Element const& element, ElementFactory const& factory, QSet<QByteArray>& keys) {
    keys.insert(factory.keyOf(element));
    for (Basalt::Node::Entry const& entry : element.attributes()) {
        if (auto const* child = dynamic_cast<Element const*>(entry.second)) {
            collectKeys(*child, factory, keys);
        }
    }
}

QStringList sorted(QSet<QByteArray> const& keys) {
    QStringList texts;
    for (QByteArray const& key : keys) {
        texts.append(QString::fromUtf8(key));
    }
    texts.sort();
    return texts;
}

// The keys of a factory's document classes. Every factory also knows "node", the plain element of the
// platform; only the canvas uses it, for its transient root.
QSet<QByteArray> documentKeys(ElementFactory const& factory) {
    QSet<QByteArray> keys;
    for (auto const& maker : factory.makers()) {
        keys.insert(maker.first);
    }
    std::unique_ptr<Element> const transientRoot(factory.createTransientRoot());
    if (!transientRoot) {
        keys.remove("node");
    }
    return keys;
}

// One stored tree of one document type.
struct DocumentCase {
    char const* name;
    std::function<std::shared_ptr<ElementFactory>()> factory;
    std::function<std::unique_ptr<Element>(ElementFactory const&)> build;
    // Read into a fresh transient root rather than into what the stored key makes: the transient root
    // shares its key with the plain element.
    bool intoTransientRoot;
};

std::vector<DocumentCase> const& documentCases() {
    static std::vector<DocumentCase> const cases = {
        {"canvas", &Datamodel::SharedCanvas::elementFactory, buildCanvas, false},
        {"canvas transient part", &Datamodel::SharedCanvas::elementFactory, buildCanvasTransient, true},
        {"client state", &Datamodel::ClientState::elementFactory, buildClientState, false},
        {"personal folder", &Datamodel::EmblemFolder::elementFactory, buildPersonalFolder, false},
    };
    return cases;
}

std::unique_ptr<Element> roundTrip(DocumentCase const& document, Element const& tree,
                                   ElementFactory const& factory) {
    std::unique_ptr<Element> into(document.intoTransientRoot ? factory.createTransientRoot() : nullptr);
    return throughText(tree, factory, std::move(into));
}

} // namespace

TEST(DocumentRoundTrip, EveryElementAndEveryUserValueOfEachDocumentComesBackThroughText) {
    for (DocumentCase const& document : documentCases()) {
        SCOPED_TRACE(document.name);
        std::shared_ptr<ElementFactory> const factory = document.factory();
        std::unique_ptr<Element> const tree = document.build(*factory);
        writeSamples(*tree);
        std::unique_ptr<Element> const read = roundTrip(document, *tree, *factory);
        ASSERT_TRUE(read);
        expectSameDocument(*tree, *read, *factory);
    }
}

TEST(DocumentRoundTrip, ValuesThatWereOnlyDefaultsStayDefaults) {
    for (DocumentCase const& document : documentCases()) {
        SCOPED_TRACE(document.name);
        std::shared_ptr<ElementFactory> const factory = document.factory();
        std::unique_ptr<Element> const tree = document.build(*factory);
        std::unique_ptr<Element> const read = roundTrip(document, *tree, *factory);
        ASSERT_TRUE(read);
        expectSameDocument(*tree, *read, *factory);
    }
}

TEST(DocumentRoundTrip, TheTestDocumentsHoldEveryKeyOfTheirFactories) {
    std::map<ElementFactory const*, QSet<QByteArray>> used;
    for (DocumentCase const& document : documentCases()) {
        std::shared_ptr<ElementFactory> const factory = document.factory();
        collectKeys(*document.build(*factory), *factory, used[factory.get()]);
    }
    for (auto const& [factory, keys] : used) {
        EXPECT_EQ(sorted(keys), sorted(documentKeys(*factory)))
            << "the round trip covers every element class of the document type";
    }
    EXPECT_EQ(used.size(), 3u) << "three document types: canvas, client state, personal folder";
}

// Lists append when deserialised, and a new canvas starts with six note background colours: reading a
// stored canvas must still give exactly the stored lists, neither following the defaults nor doubled.
TEST(DocumentRoundTrip, ACanvasReadBackHoldsExactlyItsStoredListsInPlaceOfTheNewCanvasDefaults) {
    std::shared_ptr<ElementFactory> const factory = Datamodel::SharedCanvas::elementFactory();
    std::vector<std::vector<Cobalt::ColorPMA>> const storedLists = {
        {Cobalt::ColorPMA(0.5f, 0.25f, 0.0f, 1.0f), Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f)},
        {},
    };
    auto const colorLists = [](Datamodel::SharedCanvas& canvas) {
        return std::vector<Basalt::AttributeVectorContainer<Cobalt::ColorPMA>*>{
            &canvas.annotationColorPresets, &canvas.noteBackgroundColorPresets, &canvas.noteTextColorPresets,
            &canvas.connectorColorPresets};
    };
    for (std::vector<Cobalt::ColorPMA> const& stored : storedLists) {
        SCOPED_TRACE(stored.size());
        Datamodel::SharedCanvas canvas;
        for (auto* list : colorLists(canvas)) {
            list->setValues(stored);
        }
        canvas.anchorIds.setValues(std::vector<long>(stored.size(), 9L));
        std::unique_ptr<Element> read = throughText(canvas, *factory);
        auto* readCanvas = dynamic_cast<Datamodel::SharedCanvas*>(read.get());
        ASSERT_NE(readCanvas, nullptr);
        for (auto const* list : colorLists(*readCanvas)) {
            EXPECT_EQ(list->values(), stored) << list->name().constData() << ": the stored list, once";
        }
        EXPECT_EQ(readCanvas->anchorIds.values(), std::vector<long>(stored.size(), 9L));
    }
}
