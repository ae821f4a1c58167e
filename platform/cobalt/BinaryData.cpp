#include "platform/cobalt/BinaryData.hpp"

#include "platform/cobalt/LittleEndian.hpp"

namespace Cobalt {

namespace {

constexpr int tagSize = 1;
constexpr int lengthSize = 4;

bool isKnownTag(std::uint8_t tag) {
    return tag >= static_cast<std::uint8_t>(BinaryData::Type::Float32) &&
           tag <= static_cast<std::uint8_t>(BinaryData::Type::Bytes);
}

template <typename V>
struct Fixed;
template <>
struct Fixed<float> {
    static constexpr int size = 4;
    static void append(QByteArray& b, float v) { appendLittleEndian(b, v); }
    static float take(char const* d) { return readLittleEndian<float>(d); }
};
template <>
struct Fixed<double> {
    static constexpr int size = 8;
    static void append(QByteArray& b, double v) { appendLittleEndian(b, v); }
    static double take(char const* d) { return readLittleEndian<double>(d); }
};
template <>
struct Fixed<std::int32_t> {
    static constexpr int size = 4;
    static void append(QByteArray& b, std::int32_t v) { appendLittleEndian(b, v); }
    static std::int32_t take(char const* d) { return readLittleEndian<std::int32_t>(d); }
};
template <>
struct Fixed<std::int64_t> {
    static constexpr int size = 8;
    static void append(QByteArray& b, std::int64_t v) { appendLittleEndian(b, v); }
    static std::int64_t take(char const* d) { return readLittleEndian<std::int64_t>(d); }
};
template <>
struct Fixed<bool> {
    static constexpr int size = 1;
    static void append(QByteArray& b, bool v) { b.append(v ? '\1' : '\0'); }
    static bool take(char const* d) { return *d != 0; }
};
template <>
struct Fixed<TimeStamp> {
    static constexpr int size = 8;
    static void append(QByteArray& b, TimeStamp v) { appendLittleEndian(b, v.ticks()); }
    static TimeStamp take(char const* d) { return TimeStamp(readLittleEndian<std::int64_t>(d)); }
};
template <typename C>
struct Fixed<Fathom::Vector2T<C>> {
    static constexpr int size = 2 * Fixed<C>::size;
    static void append(QByteArray& b, Fathom::Vector2T<C> const& v) {
        Fixed<C>::append(b, v.x);
        Fixed<C>::append(b, v.y);
    }
    static Fathom::Vector2T<C> take(char const* d) {
        return Fathom::Vector2T<C>(Fixed<C>::take(d), Fixed<C>::take(d + Fixed<C>::size));
    }
};

} // namespace

BinaryData::Type BinaryData::peekType(bool* ok) const {
    bool const known = !atEnd() && isKnownTag(static_cast<std::uint8_t>(m_bytes.at(m_position)));
    if (ok) {
        *ok = known;
    }
    return known ? static_cast<Type>(m_bytes.at(m_position)) : Type::Bytes;
}

void BinaryData::writeTag(Type type) {
    m_bytes.append(static_cast<char>(type));
}

void BinaryData::writeSized(Type type, QByteArray const& value) {
    writeTag(type);
    appendLittleEndian(m_bytes, static_cast<std::uint32_t>(value.size()));
    m_bytes.append(value);
}

void BinaryData::writeFloat32(float value) {
    writeTag(Type::Float32);
    Fixed<float>::append(m_bytes, value);
}
void BinaryData::writeFloat64(double value) {
    writeTag(Type::Float64);
    Fixed<double>::append(m_bytes, value);
}
void BinaryData::writeInt32(std::int32_t value) {
    writeTag(Type::Int32);
    Fixed<std::int32_t>::append(m_bytes, value);
}
void BinaryData::writeInt64(std::int64_t value) {
    writeTag(Type::Int64);
    Fixed<std::int64_t>::append(m_bytes, value);
}
void BinaryData::writeTimeStamp(TimeStamp value) {
    writeTag(Type::TimeStamp);
    Fixed<TimeStamp>::append(m_bytes, value);
}
void BinaryData::writeVector2Float32(Fathom::Vector2T<float> const& value) {
    writeTag(Type::Vector2Float32);
    Fixed<Fathom::Vector2T<float>>::append(m_bytes, value);
}
void BinaryData::writeVector2Int32(Fathom::Vector2T<int> const& value) {
    writeTag(Type::Vector2Int32);
    Fixed<Fathom::Vector2T<int>>::append(m_bytes, value);
}
void BinaryData::writeBool(bool value) {
    writeTag(Type::Bool);
    Fixed<bool>::append(m_bytes, value);
}
void BinaryData::writeString(QByteArray const& value) {
    writeSized(Type::String, value);
}
void BinaryData::writeBytes(QByteArray const& value) {
    writeSized(Type::Bytes, value);
}

bool BinaryData::claim(Type type, int size, int& payload) const {
    if (m_bytes.size() - m_position < tagSize + size) {
        return false;
    }
    if (static_cast<std::uint8_t>(m_bytes.at(m_position)) != static_cast<std::uint8_t>(type)) {
        return false;
    }
    payload = m_position + tagSize;
    return true;
}

template <typename V>
V BinaryData::readFixed(Type type, bool* ok) {
    int payload = 0;
    bool const claimed = claim(type, Fixed<V>::size, payload);
    if (ok) {
        *ok = claimed;
    }
    if (!claimed) {
        return V{};
    }
    m_position = payload + Fixed<V>::size;
    return Fixed<V>::take(m_bytes.constData() + payload);
}

bool BinaryData::readSized(Type type, QByteArray& value) {
    int payload = 0;
    if (!claim(type, lengthSize, payload)) {
        return false;
    }
    std::uint32_t const length = readLittleEndian<std::uint32_t>(m_bytes.constData() + payload);
    qint64 const available = m_bytes.size() - (payload + lengthSize);
    if (length > available) {
        return false;
    }
    value = m_bytes.mid(payload + lengthSize, static_cast<int>(length));
    m_position = payload + lengthSize + static_cast<int>(length);
    return true;
}

float BinaryData::readFloat32(bool* ok) {
    return readFixed<float>(Type::Float32, ok);
}
double BinaryData::readFloat64(bool* ok) {
    return readFixed<double>(Type::Float64, ok);
}
std::int32_t BinaryData::readInt32(bool* ok) {
    return readFixed<std::int32_t>(Type::Int32, ok);
}
std::int64_t BinaryData::readInt64(bool* ok) {
    return readFixed<std::int64_t>(Type::Int64, ok);
}
TimeStamp BinaryData::readTimeStamp(bool* ok) {
    return readFixed<TimeStamp>(Type::TimeStamp, ok);
}
Fathom::Vector2T<float> BinaryData::readVector2Float32(bool* ok) {
    return readFixed<Fathom::Vector2T<float>>(Type::Vector2Float32, ok);
}
Fathom::Vector2T<int> BinaryData::readVector2Int32(bool* ok) {
    return readFixed<Fathom::Vector2T<int>>(Type::Vector2Int32, ok);
}
bool BinaryData::readBool(bool* ok) {
    return readFixed<bool>(Type::Bool, ok);
}
bool BinaryData::readString(QByteArray& value) {
    return readSized(Type::String, value);
}
bool BinaryData::readBytes(QByteArray& value) {
    return readSized(Type::Bytes, value);
}

} // namespace Cobalt
