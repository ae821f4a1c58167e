// Version gates on live documents, and messages that a server must refuse without harm.

#include "tests/support/CapturedLog.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/RawClient.hpp"

#include "canvas/Note.hpp"
#include "media/ImageAsset.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerNode.hpp"

#include <gtest/gtest.h>

using TestSupport::LiveSites;
using TestSupport::RawClient;
using TestSupport::transactionFrame;

namespace {

template <typename E>
E& addElement(LiveSites& sites, LiveSites::Site& site, E* element) {
    Tessel::NodeTransaction transaction(*site.document);
    transaction.addNode(*element, site.canvas());
    transaction.commit();
    sites.deliver();
    return *element;
}

std::shared_ptr<Tessel::ServerNode> serverNodeOf(LiveSites& sites, Tessel::Element const& element) {
    return sites.serverDocument()->findNode(element.guid());
}

} // namespace

TEST(LiveVersionGate, AClientOnAServerBelow320NeverSendsTextColor) {
    LiveSites sites(QStringLiteral("3.1.0"));
    auto& a = sites.join("a");
    auto& note = addElement(sites, a, new Datamodel::Note());
    note.backgroundColor = Cobalt::ColorPMA(0.1f, 0.1f, 0.1f, 1.0f);
    note.textColor = Cobalt::ColorPMA(0.5f, 0.5f, 0.5f, 1.0f);
    sites.deliver();

    auto const node = serverNodeOf(sites, note);
    ASSERT_NE(node, nullptr);
    EXPECT_NE(node->childAttribute("background-color"), nullptr);
    EXPECT_EQ(node->childAttribute("text-color"), nullptr) << "the colour stays local below 3.2.0";
    EXPECT_EQ(node->childAttribute("auto-text-color"), nullptr);
}

TEST(LiveVersionGate, AClientOnAServerAt320SendsTextColor) {
    LiveSites sites(QStringLiteral("3.2.0"));
    auto& a = sites.join("a");
    auto& note = addElement(sites, a, new Datamodel::Note());
    note.backgroundColor = Cobalt::ColorPMA(0.1f, 0.1f, 0.1f, 1.0f);
    sites.deliver();

    auto const node = serverNodeOf(sites, note);
    ASSERT_NE(node, nullptr);
    EXPECT_NE(node->childAttribute("text-color"), nullptr);
}

TEST(LiveVersionGate, AssetPoseAttributesTravelOnlyFromTheVersionThatKnowsThem) {
    LiveSites sites(QStringLiteral("26.07.3"));
    auto& a = sites.join("a");
    auto& asset = addElement(sites, a, new Datamodel::ImageAsset());
    asset.backdropColor = Cobalt::ColorPMA(0.2f, 0.2f, 0.2f, 1.0f);
    asset.modelYaw = 10.0f;
    asset.cameraFov = 30.0f;
    asset.modelRoll = 5.0f;
    sites.deliver();

    auto const node = serverNodeOf(sites, asset);
    ASSERT_NE(node, nullptr);
    EXPECT_NE(node->childAttribute("backdrop-color"), nullptr);
    EXPECT_NE(node->childAttribute("model-yaw"), nullptr);
    EXPECT_EQ(node->childAttribute("camera-fov"), nullptr) << "26.07.4 is needed";
    EXPECT_EQ(node->childAttribute("model-roll"), nullptr) << "26.07.5 is needed";
}

TEST(LiveVersionGate, NoPoseAttributeTravelsBelow2607_3) {
    LiveSites sites(QStringLiteral("26.07.2"));
    auto& a = sites.join("a");
    auto& asset = addElement(sites, a, new Datamodel::ImageAsset());
    asset.backdropColor = Cobalt::ColorPMA(0.2f, 0.2f, 0.2f, 1.0f);
    asset.modelYaw = 10.0f;
    sites.deliver();

    auto const node = serverNodeOf(sites, asset);
    ASSERT_NE(node, nullptr);
    for (char const* key : {"backdrop-color", "model-yaw", "model-pitch", "camera-fov", "model-roll"}) {
        EXPECT_EQ(node->childAttribute(key), nullptr) << key << " stays local";
    }
}

namespace {

class LiveBadInput : public ::testing::Test {
protected:
    LiveBadInput() : a(sites.join("a")), b(sites.join("b")), raw(sites) {
        auto* note = new Datamodel::Note();
        Tessel::NodeTransaction transaction(*a.document);
        transaction.addNode(*note, a.canvas());
        transaction.commit();
        sites.deliver();
        guid = note->guid();
    }

    /// Sends `bytes` and checks that exactly one error naming the raw connection was logged and that the
    /// document didn't change.
    void expectRefused(QByteArray const& bytes) {
        TestSupport::CapturedLog log;
        int const nodes = sites.serverDocument()->nodeCount();
        raw.sendBytes(bytes);
        auto const errors = log.messagesUpTo(Cobalt::Trace::LEVEL_ERROR);
        ASSERT_EQ(errors.size(), 1u) << "one logged error";
        EXPECT_NE(errors.front().find("connection 3 (raw)"), std::string::npos) << errors.front();
        EXPECT_EQ(sites.serverDocument()->nodeCount(), nodes) << "nothing changed";
        expectServerStillWorks();
    }

    void expectServerStillWorks() {
        auto* atA = dynamic_cast<Datamodel::Note*>(a.document->findSharedElement(guid));
        auto* atB = dynamic_cast<Datamodel::Note*>(b.document->findSharedElement(guid));
        ASSERT_TRUE(atA && atB);
        atA->text = QStringLiteral("still going %1").arg(++writes);
        sites.deliver();
        EXPECT_EQ(atB->text.value(), atA->text.value()) << "the others go on";
    }

    static Tessel::Wire::Operation setText(QByteArray const& guid, QByteArray const& name,
                                           unsigned typeCode) {
        Tessel::Wire::Operation operation;
        operation.kind = Tessel::Wire::OperationKind::SetValue;
        operation.nodeGuid = guid;
        operation.name = name;
        operation.typeCode = typeCode;
        operation.bytes = "text";
        return operation;
    }

    LiveSites sites;
    LiveSites::Site& a;
    LiveSites::Site& b;
    RawClient raw;
    QByteArray guid;
    int writes = 0;
};

} // namespace

TEST_F(LiveBadInput, ATruncatedMessageIsRefused) {
    QByteArray const whole = transactionFrame({setText(guid, "text", Kelp::TYPE_STRING)});
    expectRefused(whole.left(whole.size() - 3));
}

TEST_F(LiveBadInput, ACorruptHeaderIsRefused) {
    QByteArray frame = transactionFrame({setText(guid, "text", Kelp::TYPE_STRING)});
    frame[0] = 9;
    expectRefused(frame);
}

TEST_F(LiveBadInput, AValueOfTheWrongTypeIsRefused) {
    expectRefused(transactionFrame({setText(guid, "text", Kelp::TYPE_FLOAT32)}));
}

TEST_F(LiveBadInput, AMessageNamingAMissingNodeIsRefused) {
    expectRefused(transactionFrame({setText("no-such-node", "text", Kelp::TYPE_STRING)}));
}

TEST_F(LiveBadInput, AMessageNamingAMissingAttributeIsRefused) {
    expectRefused(transactionFrame({setText(guid, "no-such-attribute", Kelp::TYPE_STRING)}));
}

TEST_F(LiveBadInput, AWronglyTypedPayloadIsRefused) {
    Cobalt::BinaryData payload;
    payload.writeInt32(5); // where the document id belongs
    expectRefused(Tessel::Wire::encodeFrame(Tessel::Wire::MessageKind::Transaction, payload));
}

TEST_F(LiveBadInput, ATransactionWithOneBadOperationChangesNothing) {
    Tessel::Wire::Operation addition;
    addition.kind = Tessel::Wire::OperationKind::AddNode;
    addition.parentGuid = sites.serverDocument()->rootNode()->guid();
    addition.nodeGuid = "new-note";
    addition.name = "new-note";
    addition.typeKey = "tavola_note";
    expectRefused(transactionFrame({addition, setText("no-such-node", "text", Kelp::TYPE_STRING)}));
    EXPECT_EQ(sites.serverDocument()->findNode("new-note"), nullptr) << "the good half wasn't applied either";
}

// A NUL character would end the key where the document is stored.
TEST_F(LiveBadInput, ANodeWhoseGuidOrNameHoldsANulCharacterIsRefused) {
    for (auto const& key : {std::make_pair(QByteArray("bad\0guid", 8), QByteArray("fine")),
                            std::make_pair(QByteArray("fine-guid"), QByteArray("bad\0name", 8))}) {
        Tessel::Wire::Operation addition;
        addition.kind = Tessel::Wire::OperationKind::AddNode;
        addition.parentGuid = sites.serverDocument()->rootNode()->guid();
        addition.nodeGuid = key.first;
        addition.name = key.second;
        addition.typeKey = "tavola_note";
        expectRefused(transactionFrame({addition}));
    }
}
