// Writes the seed corpus of ServerMessageFuzz through the real encoder, so that the valid seeds stay valid
// when the wire format moves: `ServerMessageSeeds fuzz/corpus/servermessage`. The broken seeds are valid
// ones with one fault each, the faults a careless or hostile client would send.

#include "fuzz/ServerMessage.hpp"
#include "tests/support/RawClient.hpp"

#include "canvas/Note.hpp"
#include "platform/kelp/TypeRegistry.hpp"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <utility>
#include <vector>

namespace {

using Tessel::Wire::AttributeValue;
using Tessel::Wire::MessageKind;
using Tessel::Wire::Operation;
using Tessel::Wire::OperationKind;
using Seeds = std::vector<std::pair<char const*, QByteArray>>;

/// The encoded value of the attribute `name` of `element`, as a client sends it.
AttributeValue encodedValue(Kelp::TypeRegistry const& registry, Basalt::Node& element,
                            QByteArray const& name) {
    AttributeValue value;
    value.name = name;
    unsigned valueSize = 0;
    Basalt::Attribute* const attribute = element.attribute(name);
    auto const serializer = registry.createSerializer(attribute, value.typeCode, valueSize);
    value.bytes = serializer ? serializer->serialize(*attribute) : QByteArray();
    return value;
}

/// A note as a client adds it under the canvas root, with a few values of its own.
Operation addNote(Kelp::TypeRegistry const& registry, QByteArray const& guid) {
    Datamodel::Note note;
    note.text = QStringLiteral("seeded");
    note.location = Fathom::Vector2T<float>(120.0f, -40.0f);
    note.size = Fathom::SizeT<float>(200.0f, 150.0f);
    note.backgroundColor = Cobalt::ColorPMA(0.2f, 0.4f, 0.6f, 1.0f);
    note.depth = 12.5f;
    Operation operation;
    operation.kind = OperationKind::AddNode;
    operation.parentGuid = FuzzSupport::rootGuidStandIn;
    operation.nodeGuid = guid;
    operation.name = guid;
    operation.typeKey = "tavola_note";
    for (char const* name : {"text", "location", "size", "background-color", "depth"}) {
        operation.attributes.push_back(encodedValue(registry, note, name));
    }
    return operation;
}

Operation setValue(AttributeValue const& value, QByteArray const& guid = FuzzSupport::fuzzNoteGuid) {
    Operation operation;
    operation.kind = OperationKind::SetValue;
    operation.nodeGuid = guid;
    operation.name = value.name;
    operation.typeCode = value.typeCode;
    operation.bytes = value.bytes;
    return operation;
}

Operation onNode(OperationKind kind, QByteArray const& guid, QByteArray const& name = QByteArray()) {
    Operation operation;
    operation.kind = kind;
    operation.nodeGuid = guid;
    operation.name = name;
    return operation;
}

/// Edits of the canvas root's list of note colours, one of each kind.
std::vector<Operation> presetEdits(Kelp::TypeRegistry const& registry) {
    Datamodel::SharedCanvas canvas;
    canvas.noteBackgroundColorPresets.setValues(
        {Cobalt::ColorPMA(1, 0, 0, 1), Cobalt::ColorPMA(0, 1, 0, 1), Cobalt::ColorPMA(0, 0, 1, 1)});
    AttributeValue const whole = encodedValue(registry, canvas, "note-background-color-presets");
    QByteArray const one = whole.bytes.left(whole.bytes.size() / 3);
    Operation setVector = setValue(whole, FuzzSupport::rootGuidStandIn);
    setVector.kind = OperationKind::SetVector;
    Operation insert = onNode(OperationKind::InsertElement, FuzzSupport::rootGuidStandIn, whole.name);
    insert.index = 1;
    insert.bytes = one;
    Operation replace = insert;
    replace.kind = OperationKind::ReplaceElement;
    replace.index = 3;
    Operation remove = onNode(OperationKind::RemoveElement, FuzzSupport::rootGuidStandIn, whole.name);
    return {setVector, insert, replace, remove};
}

QByteArray frameOf(MessageKind kind, QByteArray const& text) {
    Cobalt::BinaryData payload;
    payload.writeString(text);
    return Tessel::Wire::encodeFrame(kind, payload);
}

Seeds validSeeds(Kelp::TypeRegistry const& registry) {
    Datamodel::Note note;
    note.text = QStringLiteral("edited");
    note.depth = 3.5f;
    Operation const added = addNote(registry, "seed-note");
    Operation const editAdded = setValue(encodedValue(registry, note, "text"), added.nodeGuid);
    using TestSupport::transactionFrame;
    return {
        {"hello.bin", TestSupport::helloFrame("fuzz", "fuzz-user")},
        {"open-canvas.bin", TestSupport::openCanvasFrame()},
        {"open-second-canvas.bin", TestSupport::openCanvasFrame("second")},
        {"close-canvas.bin", frameOf(MessageKind::CloseDocument, "canvas")},
        {"add-note.bin", transactionFrame({added})},
        {"set-text.bin", transactionFrame({setValue(encodedValue(registry, note, "text"))})},
        {"set-depth.bin", transactionFrame({setValue(encodedValue(registry, note, "depth"))})},
        {"delete-note.bin", transactionFrame({onNode(OperationKind::DeleteNode, FuzzSupport::fuzzNoteGuid)})},
        {"add-edit-delete.bin",
         transactionFrame({added, editAdded, onNode(OperationKind::DeleteNode, added.nodeGuid)})},
        {"color-presets.bin", transactionFrame(presetEdits(registry))},
    };
}

/// A frame whose AddNode announces far more values than follow.
QByteArray hugeValueCount() {
    Cobalt::BinaryData payload;
    payload.writeString("canvas");
    payload.writeInt64(TestSupport::rawTransactionId);
    payload.writeInt32(1);
    payload.writeInt32(static_cast<std::int32_t>(OperationKind::AddNode));
    for (char const* text : {FuzzSupport::rootGuidStandIn, "huge", "huge", "tavola_note"}) {
        payload.writeString(text);
    }
    payload.writeInt32(1 << 24);
    return Tessel::Wire::encodeFrame(MessageKind::Transaction, payload);
}

Seeds brokenSeeds(Kelp::TypeRegistry const& registry) {
    Datamodel::Note note;
    AttributeValue wrongType = encodedValue(registry, note, "text");
    wrongType.typeCode = Kelp::TYPE_FLOAT32;
    QByteArray const text = TestSupport::transactionFrame({setValue(encodedValue(registry, note, "text"))});
    QByteArray badVersion = text;
    badVersion[0] = 9;
    QByteArray serverKind = text;
    serverKind[1] = static_cast<char>(MessageKind::Welcome);
    QByteArray longerThanSaid = text;
    longerThanSaid.append('\0');
    return {
        {"empty.bin", QByteArray()},
        {"truncated.bin", text.left(text.size() - 3)},
        {"bad-version.bin", badVersion},
        {"kind-for-clients.bin", serverKind},
        {"longer-than-said.bin", longerThanSaid},
        {"wrong-type.bin", TestSupport::transactionFrame({setValue(wrongType)})},
        {"guid-changed.bin", TestSupport::transactionFrame(
                                 {onNode(OperationKind::GuidChanged, FuzzSupport::fuzzNoteGuid, "new")})},
        {"delete-root.bin",
         TestSupport::transactionFrame({onNode(OperationKind::DeleteNode, FuzzSupport::rootGuidStandIn)})},
        {"huge-value-count.bin", hugeValueCount()},
    };
}

bool write(QDir const& folder, Seeds const& seeds) {
    for (auto const& seed : seeds) {
        QFile file(folder.filePath(QString::fromUtf8(seed.first)));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(seed.second) != seed.second.size()) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(file.fileName()));
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    QDir const folder(QString::fromLocal8Bit(argv[1]));
    auto const registry = TestSupport::modelTypeRegistry();
    if (!folder.mkpath(QStringLiteral(".")) || !write(folder, validSeeds(*registry)) ||
        !write(folder, brokenSeeds(*registry))) {
        return 1;
    }
    std::printf("wrote the seeds to %s\n", argv[1]);
    return 0;
}
