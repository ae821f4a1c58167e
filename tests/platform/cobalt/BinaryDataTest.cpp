#include "platform/cobalt/BinaryData.hpp"

#include <QByteArray>
#include <QString>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

using Cobalt::BinaryData;
using Cobalt::TimeStamp;
using Type = Cobalt::BinaryData::Type;

namespace {

QByteArray bytes(std::initializer_list<int> values) {
    QByteArray result;
    for (int value : values) {
        result.append(static_cast<char>(value));
    }
    return result;
}

// Same bits, so that NaN and -0.0 count as read back exactly.
bool sameBits(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}
bool sameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// --- One description per value type: how to write it, read it, and which values to try.

struct Float32Codec {
    using Value = float;
    static constexpr Type tag = Type::Float32;
    static std::vector<Value> samples() {
        return {0.0f,
                -0.0f,
                1.0f,
                -2.5f,
                3.14159265f,
                std::numeric_limits<float>::max(),
                std::numeric_limits<float>::lowest(),
                std::numeric_limits<float>::denorm_min(),
                std::numeric_limits<float>::infinity(),
                -std::numeric_limits<float>::infinity(),
                std::numeric_limits<float>::quiet_NaN()};
    }
    static void write(BinaryData& data, Value value) { data.writeFloat32(value); }
    static Value read(BinaryData& data, bool* ok) { return data.readFloat32(ok); }
    static bool same(Value a, Value b) { return sameBits(a, b); }
};

struct Float64Codec {
    using Value = double;
    static constexpr Type tag = Type::Float64;
    static std::vector<Value> samples() {
        return {0.0,
                -0.0,
                1.0,
                0.1,
                -123456789.123456789,
                std::numeric_limits<double>::max(),
                std::numeric_limits<double>::lowest(),
                std::numeric_limits<double>::denorm_min(),
                std::numeric_limits<double>::infinity(),
                std::numeric_limits<double>::quiet_NaN()};
    }
    static void write(BinaryData& data, Value value) { data.writeFloat64(value); }
    static Value read(BinaryData& data, bool* ok) { return data.readFloat64(ok); }
    static bool same(Value a, Value b) { return sameBits(a, b); }
};

struct Int32Codec {
    using Value = std::int32_t;
    static constexpr Type tag = Type::Int32;
    static std::vector<Value> samples() {
        return {0, 1, -1, 0x01020304, std::numeric_limits<Value>::max(), std::numeric_limits<Value>::min()};
    }
    static void write(BinaryData& data, Value value) { data.writeInt32(value); }
    static Value read(BinaryData& data, bool* ok) { return data.readInt32(ok); }
    static bool same(Value a, Value b) { return a == b; }
};

struct Int64Codec {
    using Value = std::int64_t;
    static constexpr Type tag = Type::Int64;
    static std::vector<Value> samples() {
        return {0,
                1,
                -1,
                0x0102030405060708LL,
                std::numeric_limits<Value>::max(),
                std::numeric_limits<Value>::min()};
    }
    static void write(BinaryData& data, Value value) { data.writeInt64(value); }
    static Value read(BinaryData& data, bool* ok) { return data.readInt64(ok); }
    static bool same(Value a, Value b) { return a == b; }
};

struct TimeStampCodec {
    using Value = TimeStamp;
    static constexpr Type tag = Type::TimeStamp;
    static std::vector<Value> samples() {
        return {TimeStamp(),
                TimeStamp(1),
                TimeStamp(-1),
                TimeStamp(1700000000123456LL),
                TimeStamp(std::numeric_limits<std::int64_t>::max()),
                TimeStamp(std::numeric_limits<std::int64_t>::min())};
    }
    static void write(BinaryData& data, Value value) { data.writeTimeStamp(value); }
    static Value read(BinaryData& data, bool* ok) { return data.readTimeStamp(ok); }
    static bool same(Value a, Value b) { return a == b; }
};

struct Vector2FloatCodec {
    using Value = Fathom::Vector2T<float>;
    static constexpr Type tag = Type::Vector2Float32;
    static std::vector<Value> samples() {
        return {Value(), Value(1.0f, -2.0f), Value(-0.0f, 0.5f),
                Value(std::numeric_limits<float>::max(), std::numeric_limits<float>::lowest())};
    }
    static void write(BinaryData& data, Value const& value) { data.writeVector2Float32(value); }
    static Value read(BinaryData& data, bool* ok) { return data.readVector2Float32(ok); }
    static bool same(Value const& a, Value const& b) { return sameBits(a.x, b.x) && sameBits(a.y, b.y); }
};

struct Vector2IntCodec {
    using Value = Fathom::Vector2T<int>;
    static constexpr Type tag = Type::Vector2Int32;
    static std::vector<Value> samples() {
        return {Value(), Value(1, -1),
                Value(std::numeric_limits<int>::max(), std::numeric_limits<int>::min())};
    }
    static void write(BinaryData& data, Value const& value) { data.writeVector2Int32(value); }
    static Value read(BinaryData& data, bool* ok) { return data.readVector2Int32(ok); }
    static bool same(Value const& a, Value const& b) { return a == b; }
};

struct BoolCodec {
    using Value = bool;
    static constexpr Type tag = Type::Bool;
    static std::vector<Value> samples() { return {true, false}; }
    static void write(BinaryData& data, Value value) { data.writeBool(value); }
    static Value read(BinaryData& data, bool* ok) { return data.readBool(ok); }
    static bool same(Value a, Value b) { return a == b; }
};

struct StringCodec {
    using Value = QByteArray;
    static constexpr Type tag = Type::String;
    static std::vector<Value> samples() {
        return {QByteArray(""), QByteArray("hello"), QString::fromUtf8("Grüße, 世界").toUtf8(),
                QByteArray("with\0nul", 8), QByteArray(70000, 'x')};
    }
    static void write(BinaryData& data, Value const& value) { data.writeString(value); }
    static Value read(BinaryData& data, bool* ok) {
        QByteArray value;
        *ok = data.readString(value);
        return value;
    }
    static bool same(Value const& a, Value const& b) { return a == b; }
};

struct BytesCodec {
    using Value = QByteArray;
    static constexpr Type tag = Type::Bytes;
    static std::vector<Value> samples() {
        return {QByteArray(), bytes({0x00, 0xff, 0x80, 0x01}), QByteArray(300, '\0')};
    }
    static void write(BinaryData& data, Value const& value) { data.writeBytes(value); }
    static Value read(BinaryData& data, bool* ok) {
        QByteArray value;
        *ok = data.readBytes(value);
        return value;
    }
    static bool same(Value const& a, Value const& b) { return a == b; }
};

template <typename Codec>
class BinaryDataRoundTrip : public ::testing::Test {};

using Codecs = ::testing::Types<Float32Codec, Float64Codec, Int32Codec, Int64Codec, TimeStampCodec,
                                Vector2FloatCodec, Vector2IntCodec, BoolCodec, StringCodec, BytesCodec>;

class CodecNames {
public:
    template <typename Codec>
    static std::string GetName(int) {
        switch (Codec::tag) {
        case Type::Float32:
            return "Float32";
        case Type::Float64:
            return "Float64";
        case Type::Int32:
            return "Int32";
        case Type::Int64:
            return "Int64";
        case Type::TimeStamp:
            return "TimeStamp";
        case Type::Vector2Float32:
            return "Vector2Float32";
        case Type::Vector2Int32:
            return "Vector2Int32";
        case Type::String:
            return "String";
        case Type::Bool:
            return "Bool";
        case Type::Bytes:
            return "Bytes";
        }
        return "Unknown";
    }
};

} // namespace

TYPED_TEST_SUITE(BinaryDataRoundTrip, Codecs, CodecNames);

TYPED_TEST(BinaryDataRoundTrip, EveryWrittenValueReadsBackInOrderAndEndsAtTheEnd) {
    using Codec = TypeParam;
    BinaryData data;
    for (auto const& value : Codec::samples()) {
        Codec::write(data, value);
    }
    BinaryData reader(data.data());
    for (auto const& expected : Codec::samples()) {
        bool ok = false;
        auto const value = Codec::read(reader, &ok);
        ASSERT_TRUE(ok) << "a written value must read back";
        EXPECT_TRUE(Codec::same(value, expected)) << "the value read must be the value written";
    }
    EXPECT_TRUE(reader.atEnd());
    EXPECT_EQ(reader.position(), data.data().size());
}

TYPED_TEST(BinaryDataRoundTrip, EachValueStartsWithItsTypeTag) {
    using Codec = TypeParam;
    BinaryData data;
    Codec::write(data, Codec::samples().front());
    ASSERT_FALSE(data.data().isEmpty());
    EXPECT_EQ(static_cast<std::uint8_t>(data.data().at(0)), static_cast<std::uint8_t>(Codec::tag));
    bool ok = false;
    EXPECT_EQ(data.peekType(&ok), Codec::tag);
    EXPECT_TRUE(ok);
    EXPECT_EQ(data.position(), 0) << "peeking must not consume";
}

TYPED_TEST(BinaryDataRoundTrip, ReadAtTheEndFailsAndConsumesNothing) {
    using Codec = TypeParam;
    BinaryData empty;
    bool ok = true;
    Codec::read(empty, &ok);
    EXPECT_FALSE(ok) << "a read at the end must fail";
    EXPECT_EQ(empty.position(), 0);

    BinaryData data;
    Codec::write(data, Codec::samples().front());
    Codec::read(data, &ok);
    ASSERT_TRUE(ok);
    int const end = data.position();
    ok = true;
    Codec::read(data, &ok);
    EXPECT_FALSE(ok) << "a read after the last value must fail";
    EXPECT_EQ(data.position(), end);
}

// Every cut of an encoded value, from the bare tag to one byte short, is refused as a whole.
TYPED_TEST(BinaryDataRoundTrip, TruncatedValueFailsAndConsumesNothing) {
    using Codec = TypeParam;
    BinaryData whole;
    Codec::write(whole, Codec::samples()[1]);
    QByteArray const encoded = whole.data();
    ASSERT_GT(encoded.size(), 1);
    for (int length = 1; length < encoded.size(); ++length) {
        BinaryData truncated(encoded.left(length));
        bool ok = true;
        Codec::read(truncated, &ok);
        EXPECT_FALSE(ok) << "a value cut to " << length << " of " << encoded.size() << " bytes must not read";
        EXPECT_EQ(truncated.position(), 0) << "a failed read must consume nothing";
    }
}

namespace {

// Every reader, to try each on values of the other types.
struct Reader {
    Type tag;
    std::function<bool(BinaryData&)> read;
};

template <typename Codec>
Reader readerOf() {
    return Reader{Codec::tag, [](BinaryData& data) {
                      bool ok = false;
                      Codec::read(data, &ok);
                      return ok;
                  }};
}

std::vector<Reader> allReaders() {
    return {readerOf<Float32Codec>(),    readerOf<Float64Codec>(),   readerOf<Int32Codec>(),
            readerOf<Int64Codec>(),      readerOf<TimeStampCodec>(), readerOf<Vector2FloatCodec>(),
            readerOf<Vector2IntCodec>(), readerOf<BoolCodec>(),      readerOf<StringCodec>(),
            readerOf<BytesCodec>()};
}

} // namespace

TYPED_TEST(BinaryDataRoundTrip, ReadOfAnotherTypeFailsAndLeavesTheValueForTheRightReader) {
    using Codec = TypeParam;
    BinaryData data;
    Codec::write(data, Codec::samples()[1]);
    Codec::write(data, Codec::samples()[1]);
    for (Reader const& reader : allReaders()) {
        if (reader.tag == Codec::tag) {
            continue;
        }
        EXPECT_FALSE(reader.read(data)) << "a reader of tag " << static_cast<int>(reader.tag)
                                        << " must refuse a value of tag " << static_cast<int>(Codec::tag);
        EXPECT_EQ(data.position(), 0) << "a refused read must consume nothing";
    }
    bool ok = false;
    auto const value = Codec::read(data, &ok);
    EXPECT_TRUE(ok) << "after refused reads the right reader must still succeed";
    EXPECT_TRUE(Codec::same(value, Codec::samples()[1]));
}

namespace {

struct LayoutRow {
    char const* what;
    std::function<void(BinaryData&)> write;
    QByteArray expected;
};

std::vector<LayoutRow> layoutRows() {
    return {
        {"float32 1.0", [](BinaryData& d) { d.writeFloat32(1.0f); }, bytes({0x01, 0x00, 0x00, 0x80, 0x3f})},
        {"float32 -2.0", [](BinaryData& d) { d.writeFloat32(-2.0f); }, bytes({0x01, 0x00, 0x00, 0x00, 0xc0})},
        {"float64 1.0", [](BinaryData& d) { d.writeFloat64(1.0); },
         bytes({0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xf0, 0x3f})},
        {"int32 0x01020304", [](BinaryData& d) { d.writeInt32(0x01020304); },
         bytes({0x03, 0x04, 0x03, 0x02, 0x01})},
        {"int32 -2", [](BinaryData& d) { d.writeInt32(-2); }, bytes({0x03, 0xfe, 0xff, 0xff, 0xff})},
        {"int64 0x0102030405060708", [](BinaryData& d) { d.writeInt64(0x0102030405060708LL); },
         bytes({0x04, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01})},
        {"timestamp 0x0102030405060708",
         [](BinaryData& d) { d.writeTimeStamp(TimeStamp(0x0102030405060708LL)); },
         bytes({0x05, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01})},
        {"vector2 float (1, -2)",
         [](BinaryData& d) { d.writeVector2Float32(Fathom::Vector2T<float>(1.0f, -2.0f)); },
         bytes({0x06, 0x00, 0x00, 0x80, 0x3f, 0x00, 0x00, 0x00, 0xc0})},
        {"vector2 int (1, -1)", [](BinaryData& d) { d.writeVector2Int32(Fathom::Vector2T<int>(1, -1)); },
         bytes({0x07, 0x01, 0x00, 0x00, 0x00, 0xff, 0xff, 0xff, 0xff})},
        {"string \"hi\"", [](BinaryData& d) { d.writeString("hi"); },
         bytes({0x08, 0x02, 0x00, 0x00, 0x00, 'h', 'i'})},
        {"empty string", [](BinaryData& d) { d.writeString(""); }, bytes({0x08, 0x00, 0x00, 0x00, 0x00})},
        {"bool true", [](BinaryData& d) { d.writeBool(true); }, bytes({0x09, 0x01})},
        {"bool false", [](BinaryData& d) { d.writeBool(false); }, bytes({0x09, 0x00})},
        {"bytes 00 ff",
         [](BinaryData& d) {
             d.writeBytes(bytes({0x00, 0xff}));
         },
         bytes({0x0a, 0x02, 0x00, 0x00, 0x00, 0x00, 0xff})},
    };
}

} // namespace

// The byte layout travels between clients and the server: tags and little-endian payloads are fixed.
TEST(BinaryDataLayout, WritesMatchHandBuiltLittleEndianBytes) {
    for (LayoutRow const& row : layoutRows()) {
        BinaryData data;
        row.write(data);
        EXPECT_EQ(data.data().toHex(' '), row.expected.toHex(' ')) << row.what;
    }
}

TEST(BinaryDataLayout, HandBuiltBytesReadAsTheirValues) {
    BinaryData data(bytes({0x01, 0x00, 0x00, 0x80, 0x3f,                         // float32 1.0
                           0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xf0, 0x3f, // float64 1.0
                           0x03, 0xfe, 0xff, 0xff, 0xff,                         // int32 -2
                           0x04, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, // int64
                           0x05, 0x40, 0x42, 0x0f, 0x00, 0x00, 0x00, 0x00, 0x00, // one second
                           0x06, 0x00, 0x00, 0x80, 0x3f, 0x00, 0x00, 0x00, 0xc0, // (1, -2)
                           0x07, 0x01, 0x00, 0x00, 0x00, 0xff, 0xff, 0xff, 0xff, // (1, -1)
                           0x08, 0x02, 0x00, 0x00, 0x00, 'o',  'k',              // "ok"
                           0x09, 0x01,                                           // true
                           0x0a, 0x01, 0x00, 0x00, 0x00, 0x7f}));                // 7f
    bool ok = false;
    EXPECT_EQ(data.readFloat32(&ok), 1.0f);
    EXPECT_TRUE(ok);
    EXPECT_EQ(data.readFloat64(&ok), 1.0);
    EXPECT_TRUE(ok);
    EXPECT_EQ(data.readInt32(&ok), -2);
    EXPECT_TRUE(ok);
    EXPECT_EQ(data.readInt64(&ok), 0x0102030405060708LL);
    EXPECT_TRUE(ok);
    EXPECT_EQ(data.readTimeStamp(&ok), TimeStamp(TimeStamp::ticksPerSecond()));
    EXPECT_TRUE(ok);
    EXPECT_EQ(data.readVector2Float32(&ok), Fathom::Vector2T<float>(1.0f, -2.0f));
    EXPECT_TRUE(ok);
    EXPECT_EQ(data.readVector2Int32(&ok), Fathom::Vector2T<int>(1, -1));
    EXPECT_TRUE(ok);
    QByteArray text;
    EXPECT_TRUE(data.readString(text));
    EXPECT_EQ(text, QByteArray("ok"));
    EXPECT_TRUE(data.readBool(&ok));
    EXPECT_TRUE(ok);
    QByteArray raw;
    EXPECT_TRUE(data.readBytes(raw));
    EXPECT_EQ(raw, bytes({0x7f}));
    EXPECT_TRUE(data.atEnd());
}

TEST(BinaryDataSized, StringWhoseLengthRunsPastTheEndFailsAndLeavesTheStringAlone) {
    // Length 5, but only three bytes follow.
    BinaryData data(bytes({0x08, 0x05, 0x00, 0x00, 0x00, 'a', 'b', 'c'}));
    QByteArray value("kept");
    EXPECT_FALSE(data.readString(value));
    EXPECT_EQ(value, QByteArray("kept")) << "a failed read must leave the target alone";
    EXPECT_EQ(data.position(), 0);
}

TEST(BinaryDataSized, HugeLengthFailsInsteadOfReadingOutOfBounds) {
    BinaryData data(bytes({0x0a, 0xff, 0xff, 0xff, 0xff, 0x00}));
    QByteArray value;
    EXPECT_FALSE(data.readBytes(value));
    EXPECT_EQ(data.position(), 0);
}

TEST(BinaryDataSized, StringAndBytesAreDifferentTypes) {
    BinaryData data;
    data.writeString("text");
    QByteArray value("kept");
    EXPECT_FALSE(data.readBytes(value)) << "bytes must not read a string";
    EXPECT_EQ(value, QByteArray("kept"));
    EXPECT_TRUE(data.readString(value));
    EXPECT_EQ(value, QByteArray("text"));
}

TEST(BinaryDataSized, StringIsCarriedAsGivenUtf8) {
    QByteArray const utf8 = QString::fromUtf8("Zoë ✓").toUtf8();
    BinaryData data;
    data.writeString(utf8);
    QByteArray value;
    ASSERT_TRUE(data.readString(value));
    EXPECT_EQ(QString::fromUtf8(value), QString::fromUtf8("Zoë ✓"));
}

TEST(BinaryDataPeek, PeekAtTheEndOrAtAnUnknownTagReportsFailure) {
    BinaryData empty;
    bool ok = true;
    empty.peekType(&ok);
    EXPECT_FALSE(ok) << "nothing to peek at the end";

    for (int tag : {0x00, 0x0b, 0x7f, 0xff}) {
        BinaryData unknown(bytes({tag, 0x00, 0x00, 0x00, 0x00}));
        ok = true;
        unknown.peekType(&ok);
        EXPECT_FALSE(ok) << "tag " << tag << " is no known type";
    }
}

TEST(BinaryDataPeek, PeekFollowsTheReadPosition) {
    BinaryData data;
    data.writeInt32(7);
    data.writeString("x");
    data.writeBool(false);
    bool ok = false;
    EXPECT_EQ(data.peekType(&ok), Type::Int32);
    EXPECT_TRUE(ok);
    data.readInt32();
    EXPECT_EQ(data.peekType(&ok), Type::String);
    QByteArray text;
    data.readString(text);
    EXPECT_EQ(data.peekType(&ok), Type::Bool);
    data.readBool();
    data.peekType(&ok);
    EXPECT_FALSE(ok);
}

TEST(BinaryDataSequence, MixedValuesReadInOrderAndRewindStartsOver) {
    BinaryData data;
    data.writeInt32(42);
    data.writeString("name");
    data.writeFloat32(0.25f);
    data.writeBool(true);

    for (int pass = 0; pass < 2; ++pass) {
        bool ok = false;
        EXPECT_EQ(data.readInt32(&ok), 42);
        EXPECT_TRUE(ok);
        QByteArray text;
        EXPECT_TRUE(data.readString(text));
        EXPECT_EQ(text, QByteArray("name"));
        EXPECT_EQ(data.readFloat32(&ok), 0.25f);
        EXPECT_TRUE(ok);
        EXPECT_TRUE(data.readBool(&ok));
        EXPECT_TRUE(ok);
        EXPECT_TRUE(data.atEnd());
        data.rewind();
        EXPECT_EQ(data.position(), 0);
    }
}

TEST(BinaryDataSequence, WrongTypeReadLetsTheCallerTryAnotherType) {
    // Readers that accept several types probe like this: a failed read costs nothing.
    BinaryData data;
    data.writeFloat64(2.5);
    bool ok = true;
    EXPECT_EQ(data.readFloat32(&ok), 0.0f);
    EXPECT_FALSE(ok);
    EXPECT_EQ(data.readInt64(&ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(data.readFloat64(&ok), 2.5);
    EXPECT_TRUE(ok);
}

TEST(BinaryDataSequence, ReadsWithoutAnOkPointerStillConsumeOrNot) {
    BinaryData data;
    data.writeInt32(5);
    EXPECT_EQ(data.readFloat32(), 0.0f);
    EXPECT_EQ(data.position(), 0);
    EXPECT_EQ(data.readInt32(), 5);
    EXPECT_TRUE(data.atEnd());
}

TEST(BinaryDataSequence, NewMessageIsEmptyAndAtItsEnd) {
    BinaryData data;
    EXPECT_TRUE(data.data().isEmpty());
    EXPECT_TRUE(data.atEnd());
    EXPECT_EQ(data.position(), 0);
}
