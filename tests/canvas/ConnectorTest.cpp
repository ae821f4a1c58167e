#include "canvas/Connector.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using Basalt::Attribute;
using Datamodel::Connector;

} // namespace

TEST(Connector, AttributesAreDeclaredInOrderWithTheirTypesDefaultsAndLayers) {
    Connector connector;
    QByteArray const typeEnum = "enum:Datamodel::Connector::ConnectorType";
    QByteArray const tipEnum = "enum:Datamodel::Connector::LineTip";
    std::vector<TestSupport::MemberRow> const rows = {
        {"connector-type", typeEnum, "curve", Attribute::LAYER_DEFAULT},
        {"src", "string", "", Attribute::LAYER_DEFAULT},
        {"src-rel-location", "location2:float", "0 0", Attribute::LAYER_DEFAULT},
        {"src-auto-location", "bool", "false", Attribute::LAYER_DEFAULT},
        {"src-tip", tipEnum, "none", Attribute::LAYER_DEFAULT},
        {"dst", "string", "", Attribute::LAYER_DEFAULT},
        {"dst-rel-location", "location2:float", "0 0", Attribute::LAYER_DEFAULT},
        {"dst-auto-location", "bool", "false", Attribute::LAYER_DEFAULT},
        {"dst-tip", tipEnum, "none", Attribute::LAYER_DEFAULT},
        {"line-color", "color", "rgba_pma(255, 255, 255, 1)", Attribute::LAYER_DEFAULT},
        {"line-width", "float", "3", Attribute::LAYER_DEFAULT},
    };
    std::vector<Attribute const*> const declared = {
        &connector.connectorType, &connector.src,       &connector.srcRelLocation, &connector.srcAutoLocation,
        &connector.srcTip,        &connector.dst,       &connector.dstRelLocation, &connector.dstAutoLocation,
        &connector.dstTip,        &connector.lineColor, &connector.lineWidth};
    // The element's own list, without the components of the two locations.
    std::vector<Attribute const*> listed;
    for (auto const& entry : connector.attributes()) {
        if (!entry.second->ownerShorthand()) {
            listed.push_back(entry.second);
        }
    }
    TestSupport::expectOwnAttributes(listed, declared, rows);
    EXPECT_EQ(connector.flags().bits(), 3u);
    EXPECT_EQ(connector.uiTitle(), QStringLiteral("Connector"));
}

TEST(Connector, TheNameTablesHoldTheirNamesAndNumbers) {
    struct Row {
        Basalt::EnumNames const* names;
        QByteArray name;
        int value;
    };
    Row const rows[] = {
        {&Datamodel::s_connectorTypes, "curve", 0},
        {&Datamodel::s_lineTips, "none", 0},
        {&Datamodel::s_lineTips, "solid-equilateral-triangle", 1},
    };
    for (Row const& row : rows) {
        int value = -1;
        EXPECT_TRUE(row.names->find(row.name, value)) << row.name.constData();
        EXPECT_EQ(value, row.value) << row.name.constData();
    }
    EXPECT_EQ(Datamodel::s_connectorTypes.size(), 1);
    EXPECT_EQ(Datamodel::s_lineTips.size(), 2);
}

TEST(Connector, ANewConnectorHasEmptyEndsNoTipsAWhiteLineOfWidth3AndNoAutomaticEnds) {
    Connector connector;
    EXPECT_TRUE(connector.src.value().isEmpty());
    EXPECT_TRUE(connector.dst.value().isEmpty());
    EXPECT_EQ(connector.srcTip.value(), Connector::LINE_TIP_NONE);
    EXPECT_EQ(connector.dstTip.value(), Connector::LINE_TIP_NONE);
    EXPECT_EQ(connector.lineColor.value(), Cobalt::ColorPMA(1.0f, 1.0f, 1.0f, 1.0f));
    EXPECT_EQ(connector.lineWidth.value(), 3.0f);
    EXPECT_FALSE(connector.srcAutoLocation.value());
    EXPECT_FALSE(connector.dstAutoLocation.value());
    EXPECT_EQ(connector.connectorType.value(), Connector::CONNECTOR_TYPE_CURVE);
}

TEST(Connector, TheTypeStaysCurveWhateverElseIsWritten) {
    Connector connector;
    for (char const* name : {"line", "straight", "", "none"}) {
        EXPECT_FALSE(connector.connectorType.set(QString::fromLatin1(name))) << name;
    }
    EXPECT_FALSE(connector.connectorType.set(1)) << "only 0 is listed";
    EXPECT_FALSE(connector.connectorType.set(-1));
    EXPECT_EQ(connector.connectorType.value(), Connector::CONNECTOR_TYPE_CURVE);
    EXPECT_FALSE(connector.connectorType.isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "a refusal writes nothing";
}

TEST(Connector, ATipNameInCapitalsIsAccepted) {
    Connector connector;
    EXPECT_TRUE(connector.srcTip.set(QStringLiteral("SOLID-EQUILATERAL-TRIANGLE")));
    EXPECT_EQ(connector.srcTip.asInt(), 1);
    EXPECT_EQ(connector.srcTip.value(), Connector::LINE_TIP_SOLID_EQUILATERAL_TRIANGLE);
    EXPECT_EQ(connector.dstTip.value(), Connector::LINE_TIP_NONE) << "the ends are independent";
}

TEST(Connector, CopyValuesFromAnElementThatIsntAConnectorFails) {
    Datamodel::ConnectorContainer container;
    Connector connector;
    connector.src = QStringLiteral("kept");
    EXPECT_FALSE(connector.copyValues(container));
    EXPECT_EQ(connector.src.value(), QStringLiteral("kept"));
}

TEST(Connector, CopyingAConnectorWithOnlyDstSetChangesOnlyDst) {
    Connector source;
    source.dst = QStringLiteral("note-2");

    Connector copy;
    copy.src = QStringLiteral("note-1");
    copy.srcRelLocation = Fathom::Vector2T<float>(0.25f, 0.5f);
    copy.srcTip = Connector::LINE_TIP_SOLID_EQUILATERAL_TRIANGLE;
    copy.lineWidth = 8.0f;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.dst.value(), QStringLiteral("note-2"));
    EXPECT_EQ(copy.src.value(), QStringLiteral("note-1"));
    EXPECT_EQ(copy.srcRelLocation.value(), Fathom::Vector2T<float>(0.25f, 0.5f));
    EXPECT_EQ(copy.srcTip.value(), Connector::LINE_TIP_SOLID_EQUILATERAL_TRIANGLE);
    EXPECT_EQ(copy.lineWidth.value(), 8.0f);
    EXPECT_FALSE(copy.dstRelLocation.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_FALSE(copy.lineColor.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Connector, ACopyJoinsTheSameTwoElementsWithTheSameLine) {
    Connector source;
    source.src = QStringLiteral("a");
    source.dst = QStringLiteral("b");
    source.srcAutoLocation = true;
    source.dstRelLocation = Fathom::Vector2T<float>(1.0f, 2.0f);
    source.dstTip = Connector::LINE_TIP_SOLID_EQUILATERAL_TRIANGLE;
    source.lineColor = Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f);

    Connector copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.src.value(), QStringLiteral("a"));
    EXPECT_EQ(copy.dst.value(), QStringLiteral("b"));
    EXPECT_TRUE(copy.srcAutoLocation.value());
    EXPECT_EQ(copy.dstRelLocation.value(), Fathom::Vector2T<float>(1.0f, 2.0f));
    EXPECT_EQ(copy.dstTip.value(), Connector::LINE_TIP_SOLID_EQUILATERAL_TRIANGLE);
    EXPECT_EQ(copy.lineColor.value(), Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f));
}

TEST(Connector, AContainerHasNoAttributesAndFlagsZero) {
    Datamodel::ConnectorContainer container;
    EXPECT_TRUE(container.attributes().empty());
    EXPECT_EQ(container.flags().bits(), 0u);
    EXPECT_EQ(container.uiTitle(), QStringLiteral("Canvas element"));
}

TEST(Connector, AContainerOwnsItsConnectorsAndClonesThem) {
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<Connector>("tavola_connector");
    factory->addFactory<Datamodel::ConnectorContainer>("tavola_connector_container");
    Datamodel::ConnectorContainer container;
    auto* connector = new Connector();
    connector->initName();
    connector->src = QStringLiteral("a");
    container.addAttribute(connector);

    std::unique_ptr<Tessel::Element> clone(container.cloneElement(factory));
    ASSERT_TRUE(dynamic_cast<Datamodel::ConnectorContainer*>(clone.get()));
    ASSERT_EQ(clone->attributes().size(), 1u);
    auto const* cloned = dynamic_cast<Connector const*>(clone->attributes()[0].second);
    ASSERT_TRUE(cloned);
    EXPECT_EQ(cloned->src.value(), QStringLiteral("a"));
    EXPECT_NE(cloned->guid(), connector->guid());
}
