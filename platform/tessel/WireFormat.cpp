#include "platform/tessel/WireFormat.hpp"

#include "platform/cobalt/LittleEndian.hpp"

#include <limits>
#include <utility>

namespace Tessel::Wire {

namespace {

constexpr std::uint8_t lastMessageKind = static_cast<std::uint8_t>(MessageKind::TransactionsRecovered);
constexpr std::int32_t lastOperationKind = static_cast<std::int32_t>(OperationKind::ClearValue);
// No document needs more; a count above it is a corrupt message, not a reason to reserve memory.
constexpr std::int32_t maximumCount = 1 << 24;

bool isValueOperation(OperationKind kind) {
    return kind == OperationKind::SetValue || kind == OperationKind::SetVector;
}
bool isElementOperation(OperationKind kind) {
    return kind == OperationKind::InsertElement || kind == OperationKind::RemoveElement ||
           kind == OperationKind::ReplaceElement;
}

void writeAddNode(Cobalt::BinaryData& data, Operation const& operation) {
    data.writeString(operation.parentGuid);
    data.writeString(operation.nodeGuid);
    data.writeString(operation.name);
    data.writeString(operation.typeKey);
    writeAttributeValues(data, operation.attributes);
}

bool readAddNode(PayloadReader& reader, Operation& operation) {
    reader.text(operation.parentGuid).text(operation.nodeGuid).text(operation.name).text(operation.typeKey);
    return readAttributeValues(reader, operation.attributes);
}

} // namespace

void writeAttributeValues(Cobalt::BinaryData& data, std::vector<AttributeValue> const& values) {
    data.writeInt32(static_cast<std::int32_t>(values.size()));
    for (AttributeValue const& value : values) {
        data.writeString(value.name);
        data.writeInt64(value.typeCode);
        data.writeBytes(value.bytes);
    }
}

bool readAttributeValues(PayloadReader& reader, std::vector<AttributeValue>& values) {
    std::int32_t count = 0;
    reader.int32(count);
    if (!reader.ok() || count < 0 || count > maximumCount) {
        return false;
    }
    // Grown value by value: the count is the sender's word, and room for it reserved up front would let a
    // message of a few bytes take hundreds of megabytes.
    for (std::int32_t i = 0; i < count && reader.ok(); ++i) {
        AttributeValue value;
        reader.text(value.name).uint32(value.typeCode).bytes(value.bytes);
        values.push_back(std::move(value));
    }
    return reader.ok();
}

QByteArray encodeFrame(MessageKind kind, Cobalt::BinaryData const& payload) {
    QByteArray frame;
    frame.reserve(headerSize + payload.data().size());
    frame.append(static_cast<char>(formatVersion));
    frame.append(static_cast<char>(kind));
    Cobalt::appendLittleEndian(frame, static_cast<std::uint32_t>(payload.data().size()));
    frame.append(payload.data());
    return frame;
}

bool decodeFrame(QByteArray const& bytes, Frame& frame, QString& error) {
    if (bytes.size() < headerSize) {
        error = QStringLiteral("frame shorter than its header (%1 bytes)").arg(bytes.size());
        return false;
    }
    auto const version = static_cast<std::uint8_t>(bytes[0]);
    if (version != formatVersion) {
        error = QStringLiteral("unknown format version %1").arg(version);
        return false;
    }
    auto const kind = static_cast<std::uint8_t>(bytes[1]);
    if (kind == 0 || kind > lastMessageKind) {
        error = QStringLiteral("unknown message kind %1").arg(kind);
        return false;
    }
    auto const length = Cobalt::readLittleEndian<std::uint32_t>(bytes.constData() + 2);
    if (length != static_cast<std::uint32_t>(bytes.size() - headerSize)) {
        error = QStringLiteral("payload length %1 where %2 bytes follow")
                    .arg(length)
                    .arg(bytes.size() - headerSize);
        return false;
    }
    frame.kind = static_cast<MessageKind>(kind);
    frame.payload = Cobalt::BinaryData(bytes.mid(headerSize));
    return true;
}

void writeOperation(Cobalt::BinaryData& data, Operation const& operation) {
    data.writeInt32(static_cast<std::int32_t>(operation.kind));
    switch (operation.kind) {
    case OperationKind::AddNode:
        writeAddNode(data, operation);
        return;
    case OperationKind::DeleteNode:
        data.writeString(operation.nodeGuid);
        return;
    case OperationKind::SetValue:
    case OperationKind::SetVector:
        data.writeString(operation.nodeGuid);
        data.writeString(operation.name);
        data.writeInt64(operation.typeCode);
        data.writeBytes(operation.bytes);
        return;
    case OperationKind::InsertElement:
    case OperationKind::ReplaceElement:
    case OperationKind::RemoveElement:
        data.writeString(operation.nodeGuid);
        data.writeString(operation.name);
        data.writeInt64(operation.index);
        if (operation.kind != OperationKind::RemoveElement) {
            data.writeBytes(operation.bytes);
        }
        return;
    case OperationKind::GuidChanged:
    case OperationKind::ClearValue:
        data.writeString(operation.nodeGuid);
        data.writeString(operation.name);
        return;
    case OperationKind::MoveNode:
        data.writeString(operation.nodeGuid);
        data.writeString(operation.name);
        data.writeString(operation.parentGuid);
        return;
    }
}

bool readOperation(Cobalt::BinaryData& data, Operation& operation) {
    PayloadReader reader(data);
    std::int32_t kind = 0;
    if (!reader.int32(kind).ok() || kind < 1 || kind > lastOperationKind) {
        return false;
    }
    operation = Operation();
    operation.kind = static_cast<OperationKind>(kind);
    if (operation.kind == OperationKind::AddNode) {
        return readAddNode(reader, operation);
    }
    reader.text(operation.nodeGuid);
    if (operation.kind == OperationKind::DeleteNode) {
        return reader.ok();
    }
    reader.text(operation.name);
    if (operation.kind == OperationKind::MoveNode) {
        reader.text(operation.parentGuid);
    } else if (isValueOperation(operation.kind)) {
        reader.uint32(operation.typeCode).bytes(operation.bytes);
    } else if (isElementOperation(operation.kind)) {
        reader.uint32(operation.index);
        if (operation.kind != OperationKind::RemoveElement) {
            reader.bytes(operation.bytes);
        }
    }
    return reader.ok();
}

void writeOperations(Cobalt::BinaryData& data, std::vector<Operation> const& operations) {
    data.writeInt32(static_cast<std::int32_t>(operations.size()));
    for (Operation const& operation : operations) {
        writeOperation(data, operation);
    }
}

bool readOperations(Cobalt::BinaryData& data, std::vector<Operation>& operations) {
    std::int32_t count = 0;
    if (!PayloadReader(data).int32(count).ok() || count < 0 || count > maximumCount) {
        return false;
    }
    operations.clear();
    for (std::int32_t i = 0; i < count; ++i) {
        Operation operation;
        if (!readOperation(data, operation)) {
            return false;
        }
        operations.push_back(std::move(operation));
    }
    return true;
}

void writeTransactionIds(Cobalt::BinaryData& data, std::vector<std::int64_t> const& ids) {
    data.writeInt32(static_cast<std::int32_t>(ids.size()));
    for (std::int64_t const id : ids) {
        data.writeInt64(id);
    }
}

bool readTransactionIds(PayloadReader& reader, std::vector<std::int64_t>& ids) {
    std::int32_t count = 0;
    if (!reader.int32(count).ok() || count < 0 || count > maximumCount) {
        return false;
    }
    ids.clear();
    for (std::int32_t i = 0; i < count && reader.ok(); ++i) {
        std::int64_t id = 0;
        reader.int64(id);
        ids.push_back(id);
    }
    return reader.ok();
}

PayloadReader& PayloadReader::text(QByteArray& value) {
    m_ok = m_ok && m_data.readString(value);
    return *this;
}

PayloadReader& PayloadReader::bytes(QByteArray& value) {
    m_ok = m_ok && m_data.readBytes(value);
    return *this;
}

PayloadReader& PayloadReader::int32(std::int32_t& value) {
    if (m_ok) {
        value = m_data.readInt32(&m_ok);
    }
    return *this;
}

PayloadReader& PayloadReader::int64(std::int64_t& value) {
    if (m_ok) {
        value = m_data.readInt64(&m_ok);
    }
    return *this;
}

PayloadReader& PayloadReader::uint32(std::uint32_t& value) {
    std::int64_t wide = 0;
    int64(wide);
    m_ok = m_ok && wide >= 0 && wide <= std::numeric_limits<std::uint32_t>::max();
    if (m_ok) {
        value = static_cast<std::uint32_t>(wide);
    }
    return *this;
}

} // namespace Tessel::Wire
