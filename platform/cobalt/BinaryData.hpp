#pragma once

#include "platform/cobalt/TimeStamp.hpp"
#include "platform/fathom/Vector.hpp"

#include <QByteArray>

#include <cstdint>

namespace Cobalt {

/// A typed, self-describing message: a sequence of values, each stored as a one-byte type tag followed by
/// its little-endian payload. Messages between clients and the server are carried in this form.
///
/// Reads consume values in order. A read whose type doesn't match the next value's tag, or that would run
/// past the end (including a truncated payload), fails and consumes nothing: the `bool*` result is set false
/// (`readString` returns false) and the position stays, so the caller may try another type.
class BinaryData {
public:
    /// The tags. Their numbers travel in messages: never renumber them.
    enum class Type : std::uint8_t {
        Float32 = 1,
        Float64 = 2,
        Int32 = 3,
        Int64 = 4,
        TimeStamp = 5,
        Vector2Float32 = 6,
        Vector2Int32 = 7,
        String = 8,
        Bool = 9,
        Bytes = 10,
    };

    BinaryData() = default;
    /// A message over bytes received from elsewhere; reading starts at the first value.
    explicit BinaryData(QByteArray bytes) : m_bytes(std::move(bytes)) {}

    /// The encoded message.
    QByteArray const& data() const { return m_bytes; }
    /// The byte offset of the next read.
    int position() const { return m_position; }
    /// Restarts reading at the first value.
    void rewind() { m_position = 0; }
    bool atEnd() const { return m_position >= m_bytes.size(); }
    /// The tag of the next value; false in `ok` at the end or before an unknown tag.
    Type peekType(bool* ok = nullptr) const;

    void writeFloat32(float value);
    void writeFloat64(double value);
    void writeInt32(std::int32_t value);
    void writeInt64(std::int64_t value);
    void writeTimeStamp(TimeStamp value);
    void writeVector2Float32(Fathom::Vector2T<float> const& value);
    void writeVector2Int32(Fathom::Vector2T<int> const& value);
    /// Text as given (callers pass UTF-8), with a 32-bit length.
    void writeString(QByteArray const& value);
    void writeBool(bool value);
    /// Opaque bytes, with a 32-bit length.
    void writeBytes(QByteArray const& value);
    /// Appends the values of another message after this one's.
    void append(BinaryData const& other) { m_bytes.append(other.m_bytes); }

    float readFloat32(bool* ok = nullptr);
    double readFloat64(bool* ok = nullptr);
    std::int32_t readInt32(bool* ok = nullptr);
    std::int64_t readInt64(bool* ok = nullptr);
    TimeStamp readTimeStamp(bool* ok = nullptr);
    Fathom::Vector2T<float> readVector2Float32(bool* ok = nullptr);
    Fathom::Vector2T<int> readVector2Int32(bool* ok = nullptr);
    /// Returns false, leaving `value` alone, on a type mismatch or at the end.
    bool readString(QByteArray& value);
    bool readBool(bool* ok = nullptr);
    bool readBytes(QByteArray& value);

private:
    void writeTag(Type type);
    void writeSized(Type type, QByteArray const& value);
    /// Checks the tag and that `size` payload bytes follow; on success returns the payload's offset.
    bool claim(Type type, int size, int& payload) const;
    template <typename V>
    V readFixed(Type type, bool* ok);
    bool readSized(Type type, QByteArray& value);

    QByteArray m_bytes;
    int m_position = 0;
};

} // namespace Cobalt
