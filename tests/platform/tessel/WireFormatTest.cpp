#include "platform/tessel/WireFormat.hpp"
#include "platform/tessel/AssetTransfer.hpp"

#include <gtest/gtest.h>

using namespace Tessel::Wire;

namespace {

Operation addition() {
    Operation operation;
    operation.kind = OperationKind::AddNode;
    operation.parentGuid = "parent";
    operation.nodeGuid = "child";
    operation.name = "child";
    operation.typeKey = "tavola_note";
    operation.attributes = {{"text", 0x10, "hello"}, {"depth", 0x0d, QByteArray(4, '\0')}};
    return operation;
}

Operation elementEdit(OperationKind kind) {
    Operation operation;
    operation.kind = kind;
    operation.nodeGuid = "node";
    operation.name = "presets";
    operation.index = 3;
    operation.bytes = kind == OperationKind::RemoveElement ? QByteArray() : QByteArray(16, 'x');
    return operation;
}

void expectSame(Operation const& read, Operation const& written) {
    EXPECT_EQ(read.kind, written.kind);
    EXPECT_EQ(read.nodeGuid, written.nodeGuid);
    EXPECT_EQ(read.parentGuid, written.parentGuid);
    EXPECT_EQ(read.name, written.name);
    EXPECT_EQ(read.typeKey, written.typeKey);
    EXPECT_EQ(read.index, written.index);
    EXPECT_EQ(read.bytes, written.bytes);
    ASSERT_EQ(read.attributes.size(), written.attributes.size());
    for (std::size_t i = 0; i < read.attributes.size(); ++i) {
        EXPECT_EQ(read.attributes[i].name, written.attributes[i].name);
        EXPECT_EQ(read.attributes[i].typeCode, written.attributes[i].typeCode);
        EXPECT_EQ(read.attributes[i].bytes, written.attributes[i].bytes);
    }
}

} // namespace

TEST(WireFormat, AFrameCarriesItsKindAndPayload) {
    Cobalt::BinaryData payload;
    payload.writeString("document");
    QByteArray const bytes = encodeFrame(MessageKind::CloseDocument, payload);
    EXPECT_EQ(bytes.size(), headerSize + payload.data().size());
    EXPECT_EQ(static_cast<std::uint8_t>(bytes[0]), formatVersion);

    Frame frame;
    QString error;
    ASSERT_TRUE(decodeFrame(bytes, frame, error)) << qPrintable(error);
    EXPECT_EQ(frame.kind, MessageKind::CloseDocument);
    EXPECT_EQ(frame.payload.data(), payload.data());
}

TEST(WireFormat, AFrameIsRefusedWhenShortLongOfAnotherVersionOrKind) {
    QByteArray const good = encodeFrame(MessageKind::Hello, Cobalt::BinaryData());
    struct Row {
        char const* what;
        QByteArray bytes;
    };
    QByteArray otherVersion = good;
    otherVersion[0] = 2;
    QByteArray unknownKind = good;
    unknownKind[1] = 99;
    QByteArray noKind = good;
    noKind[1] = 0;
    for (Row const& row : {Row{"shorter than a header", good.left(5)}, Row{"a byte too many", good + 'x'},
                           Row{"another version", otherVersion}, Row{"an unknown kind", unknownKind},
                           Row{"kind zero", noKind}, Row{"nothing", QByteArray()}}) {
        Frame frame;
        QString error;
        EXPECT_FALSE(decodeFrame(row.bytes, frame, error)) << row.what;
        EXPECT_FALSE(error.isEmpty()) << row.what << " is refused with a reason";
    }
}

TEST(WireFormat, EveryOperationKindReadsBackAsWritten) {
    Operation deletion;
    deletion.kind = OperationKind::DeleteNode;
    deletion.nodeGuid = "gone";
    Operation value;
    value.kind = OperationKind::SetValue;
    value.nodeGuid = "node";
    value.name = "text";
    value.typeCode = 0x10;
    value.bytes = "hello";
    Operation vector = value;
    vector.kind = OperationKind::SetVector;
    vector.typeCode = 0x1000030;
    Operation guid;
    guid.kind = OperationKind::GuidChanged;
    guid.nodeGuid = "old";
    guid.name = "new";
    std::vector<Operation> const written{addition(),
                                         deletion,
                                         value,
                                         vector,
                                         elementEdit(OperationKind::InsertElement),
                                         elementEdit(OperationKind::RemoveElement),
                                         elementEdit(OperationKind::ReplaceElement),
                                         guid};
    Cobalt::BinaryData data;
    writeOperations(data, written);
    data.rewind();
    std::vector<Operation> read;
    ASSERT_TRUE(readOperations(data, read));
    EXPECT_TRUE(data.atEnd());
    ASSERT_EQ(read.size(), written.size());
    for (std::size_t i = 0; i < read.size(); ++i) {
        expectSame(read[i], written[i]);
    }
}

TEST(WireFormat, EveryTruncationOfAnOperationIsRefused) {
    Cobalt::BinaryData whole;
    writeOperations(whole, {addition()});
    for (int length = 0; length < whole.data().size(); ++length) {
        Cobalt::BinaryData cut(whole.data().left(length));
        std::vector<Operation> read;
        EXPECT_FALSE(readOperations(cut, read) && cut.atEnd()) << "cut at " << length;
    }
}

TEST(WireFormat, AnUnknownOperationKindOrANegativeCountIsRefused) {
    Cobalt::BinaryData unknown;
    unknown.writeInt32(1);
    unknown.writeInt32(42);
    std::vector<Operation> read;
    EXPECT_FALSE(readOperations(unknown, read));

    Cobalt::BinaryData negative;
    negative.writeInt32(-1);
    EXPECT_FALSE(readOperations(negative, read));
}

TEST(WireFormat, AnIndexOutsideThirtyTwoBitsIsRefused) {
    Cobalt::BinaryData data;
    data.writeInt32(static_cast<std::int32_t>(OperationKind::RemoveElement));
    data.writeString("node");
    data.writeString("presets");
    data.writeInt64(std::int64_t(1) << 40);
    Operation operation;
    EXPECT_FALSE(readOperation(data, operation));
}

// The count is the sender's word: a message of a few bytes must not make the reader hold room for millions
// of values it doesn't carry.
TEST(WireFormat, AnAddNodeThatAnnouncesMoreValuesThanFollowIsRefusedWithoutRoomForThem) {
    Cobalt::BinaryData data;
    data.writeInt32(static_cast<std::int32_t>(OperationKind::AddNode));
    for (char const* text : {"parent", "child", "child", "tavola_note"}) {
        data.writeString(text);
    }
    data.writeInt32(1 << 24);
    data.writeString("text");
    data.writeInt64(0x10);
    data.writeBytes("hello");
    Operation operation;
    EXPECT_FALSE(readOperation(data, operation));
    EXPECT_LE(operation.attributes.capacity(), 2u) << "room grows with the values read, not with the count";
}

TEST(WireFormat, AssetMessagesReadBackAsTheyWereWritten) {
    Tessel::AssetTransfer::Message chunk;
    chunk.publicHash = QByteArray(32, 'h');
    chunk.offset = 7;
    chunk.total = 10;
    chunk.bytes = "abc";
    Cobalt::BinaryData payload = Tessel::AssetTransfer::write(MessageKind::AssetChunk, chunk);
    Tessel::AssetTransfer::Message read;
    ASSERT_TRUE(Tessel::AssetTransfer::read(MessageKind::AssetChunk, payload, read));
    EXPECT_EQ(read.publicHash, chunk.publicHash);
    EXPECT_EQ(read.offset, 7);
    EXPECT_EQ(read.total, 10);
    EXPECT_EQ(read.bytes, QByteArray("abc"));

    Tessel::AssetTransfer::Message offer;
    offer.publicHash = QByteArray(32, 'o');
    offer.length = 1234;
    offer.text = QStringLiteral("plan.pdf");
    payload = Tessel::AssetTransfer::write(MessageKind::AssetOffer, offer);
    ASSERT_TRUE(Tessel::AssetTransfer::read(MessageKind::AssetOffer, payload, read));
    EXPECT_EQ(read.length, 1234);
    EXPECT_EQ(read.text, QStringLiteral("plan.pdf"));
}

TEST(WireFormat, AssetMessagesThatDontFitAreRefused) {
    auto refused = [](MessageKind kind, Tessel::AssetTransfer::Message const& message) {
        Cobalt::BinaryData payload = Tessel::AssetTransfer::write(kind, message);
        Tessel::AssetTransfer::Message read;
        return !Tessel::AssetTransfer::read(kind, payload, read);
    };
    Tessel::AssetTransfer::Message pull;
    pull.publicHash = QByteArray(32, 'p');
    pull.length = Tessel::AssetTransfer::chunkSize;
    EXPECT_FALSE(refused(MessageKind::AssetPull, pull));
    pull.length = 0;
    EXPECT_TRUE(refused(MessageKind::AssetPull, pull)) << "a pull of nothing";
    pull.length = Tessel::AssetTransfer::chunkSize + 1;
    EXPECT_TRUE(refused(MessageKind::AssetPull, pull)) << "a pull longer than a piece";
    pull.length = 1;
    pull.offset = -1;
    EXPECT_TRUE(refused(MessageKind::AssetPull, pull)) << "a negative offset";
    Tessel::AssetTransfer::Message stored;
    stored.publicHash = QByteArray(33, 's');
    EXPECT_TRUE(refused(MessageKind::AssetStored, stored)) << "a hash that isn't 32 bytes";
    Tessel::AssetTransfer::Message chunk;
    chunk.publicHash = QByteArray(32, 'c');
    chunk.offset = 8;
    chunk.total = 10;
    chunk.bytes = "abc";
    EXPECT_TRUE(refused(MessageKind::AssetChunk, chunk)) << "a piece beyond the end of its content";
}
