#include "platform/cobalt/StringUtils.hpp"

#include "platform/cobalt/BinaryData.hpp"
#include "platform/cobalt/Color.hpp"
#include "platform/fathom/Vector.hpp"
#include "platform/sienna/BezierNode.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <mutex>
#include <thread>
#include <typeinfo>

using namespace Cobalt;

namespace StringUtilsTestTypes {
enum class Shape { Circle = 3, Square = 4 };
enum Signed : int { Minus = -4 };
// Enumerations stored in one byte still read and write as numbers, not as characters.
enum class Tiny : std::uint8_t { Nine = 9, Big = 200 };
enum class TinySigned : signed char { MinusThree = -3 };
} // namespace StringUtilsTestTypes

using StringUtilsTestTypes::Shape;
using StringUtilsTestTypes::Signed;
using StringUtilsTestTypes::Tiny;
using StringUtilsTestTypes::TinySigned;

namespace {

struct DemangleRow {
    char const* mangled;
    char const* readable;
};

} // namespace

TEST(StringUtilsDemangle, TypeidNamesBecomeReadable) {
    DemangleRow const rows[] = {
        {typeid(int).name(), "int"},
        {typeid(unsigned long).name(), "unsigned long"},
        {typeid(Cobalt::Color).name(), "Cobalt::Color"},
        {typeid(Fathom::Vector2T<float>).name(), "Fathom::Vector2T<float>"},
        {typeid(Sienna::BezierNode).name(), "Sienna::BezierNode"},
        {typeid(Shape).name(), "StringUtilsTestTypes::Shape"},
        {"N6Cobalt5ColorE", "Cobalt::Color"},
    };
    for (DemangleRow const& row : rows) {
        EXPECT_EQ(StringUtils::demangle(row.mangled), QByteArray(row.readable)) << row.mangled;
    }
}

TEST(StringUtilsDemangle, GarbageComesBackAsItIs) {
    for (char const* garbage : {"not a mangled name", "_Z", "N6Cobalt", "%%%", ""}) {
        EXPECT_EQ(StringUtils::demangle(garbage), QByteArray(garbage)) << garbage;
    }
}

TEST(StringUtilsDemangle, NullGivesEmpty) {
    EXPECT_TRUE(StringUtils::demangle(nullptr).isEmpty());
}

TEST(StringUtilsToString, FloatsGetSixSignificantDigits) {
    struct Row {
        float value;
        char const* text;
    } const rows[] = {
        {3.14159265f, "3.14159"},    {1.0f, "1"},      {0.5f, "0.5"},         {-2.25f, "-2.25"}, {0.0f, "0"},
        {1234567.0f, "1.23457e+06"}, {1e-7f, "1e-07"}, {100000.0f, "100000"},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(StringUtils::toString(row.value), QString::fromLatin1(row.text)) << row.text;
    }
}

TEST(StringUtilsToString, IntegersAndOtherStreamableValues) {
    EXPECT_EQ(StringUtils::toString(42), QStringLiteral("42"));
    EXPECT_EQ(StringUtils::toString(-7), QStringLiteral("-7"));
    EXPECT_EQ(StringUtils::toString(std::numeric_limits<long>::min()),
              QStringLiteral("-9223372036854775808"));
    EXPECT_EQ(StringUtils::toString(std::numeric_limits<unsigned long>::max()),
              QStringLiteral("18446744073709551615"));
    EXPECT_EQ(StringUtils::toString(Fathom::Vector2T<float>(1.5f, -2.0f)), QStringLiteral("1.5 -2"));
}

TEST(StringUtilsToString, TextPassesThrough) {
    EXPECT_EQ(StringUtils::toString(QStringLiteral(" as is ")), QStringLiteral(" as is "));
    EXPECT_EQ(StringUtils::toString(QString::fromUtf8("Grüße").toUtf8()), QString::fromUtf8("Grüße"))
        << "a byte array is read as UTF-8";
}

TEST(StringUtilsToString, EnumerationsAreWrittenAsTheirNumber) {
    EXPECT_EQ(StringUtils::toString(Shape::Circle), QStringLiteral("3"));
    EXPECT_EQ(StringUtils::toString(Signed::Minus), QStringLiteral("-4"));
    EXPECT_EQ(StringUtils::toString(Tiny::Nine), QStringLiteral("9")) << "a one-byte enum is not a character";
    EXPECT_EQ(StringUtils::toString(Tiny::Big), QStringLiteral("200"));
    EXPECT_EQ(StringUtils::toString(TinySigned::MinusThree), QStringLiteral("-3"));
    EXPECT_EQ(StringUtils::toString(Cobalt::BinaryData::Type::Bool), QStringLiteral("9"));
}

TEST(StringUtilsFromString, WholeValuesAreRead) {
    int integer = 0;
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("42"), integer));
    EXPECT_EQ(integer, 42);
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("  -17 \n"), integer))
        << "white space around is allowed";
    EXPECT_EQ(integer, -17);

    float number = 0.0f;
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("2.5"), number));
    EXPECT_EQ(number, 2.5f);
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("1e3"), number));
    EXPECT_EQ(number, 1000.0f);

    long wide = 0;
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("-9000000000"), wide));
    EXPECT_EQ(wide, -9000000000L);

    Fathom::Vector2T<int> vector;
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("3 -4"), vector));
    EXPECT_EQ(vector, Fathom::Vector2T<int>(3, -4));
}

TEST(StringUtilsFromString, IncompleteOrTrailingTextFailsAndKeepsTheValue) {
    char const* const badIntegers[] = {"", "   ", "abc", "12abc", "1.5", "1 2", "--3", "0x10"};
    for (char const* text : badIntegers) {
        int value = 99;
        EXPECT_FALSE(StringUtils::fromString(QString::fromLatin1(text), value)) << '"' << text << '"';
        EXPECT_EQ(value, 99) << "a failed read must keep the value, text \"" << text << '"';
    }
    char const* const badFloats[] = {"", "x1", "1.5f", "2,5", "1 2"};
    for (char const* text : badFloats) {
        float value = 0.25f;
        EXPECT_FALSE(StringUtils::fromString(QString::fromLatin1(text), value)) << '"' << text << '"';
        EXPECT_EQ(value, 0.25f) << "a failed read must keep the value, text \"" << text << '"';
    }
    Fathom::Vector2T<float> vector(7.0f, 8.0f);
    EXPECT_FALSE(StringUtils::fromString(QStringLiteral("1"), vector));
    EXPECT_FALSE(StringUtils::fromString(QStringLiteral("1 2 3"), vector));
    EXPECT_EQ(vector, Fathom::Vector2T<float>(7.0f, 8.0f));
}

TEST(StringUtilsFromString, TextTypesTakeTheTextAsItStands) {
    QString text = QStringLiteral("old");
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("  new value "), text));
    EXPECT_EQ(text, QStringLiteral("  new value "));
    QByteArray bytes;
    EXPECT_TRUE(StringUtils::fromString(QString::fromUtf8("é"), bytes));
    EXPECT_EQ(bytes, QString::fromUtf8("é").toUtf8());
}

TEST(StringUtilsFromString, EnumerationsAreReadAsNumbers) {
    Shape shape = Shape::Circle;
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("4"), shape));
    EXPECT_EQ(shape, Shape::Square);
    EXPECT_FALSE(StringUtils::fromString(QStringLiteral("Square"), shape)) << "names are not numbers";
    EXPECT_EQ(shape, Shape::Square);

    Tiny tiny = Tiny::Big;
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("9"), tiny));
    EXPECT_EQ(tiny, Tiny::Nine) << "a one-byte enum reads the number, not the character '9'";
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("200"), tiny));
    EXPECT_EQ(tiny, Tiny::Big);

    for (char const* outOfRange : {"256", "300", "-1"}) {
        EXPECT_FALSE(StringUtils::fromString(QString::fromLatin1(outOfRange), tiny))
            << outOfRange << " doesn't fit in one unsigned byte";
        EXPECT_EQ(tiny, Tiny::Big);
    }

    TinySigned tinySigned{};
    EXPECT_TRUE(StringUtils::fromString(QStringLiteral("-3"), tinySigned));
    EXPECT_EQ(tinySigned, TinySigned::MinusThree);
}

TEST(StringUtilsFromString, EnumerationsWriteAndReadBack) {
    for (Tiny value : {Tiny::Nine, Tiny::Big}) {
        Tiny read{};
        EXPECT_TRUE(StringUtils::fromString(StringUtils::toString(value), read));
        EXPECT_EQ(read, value);
    }
}

TEST(StringUtilsFromString, ReturningFormTellsSuccessThroughOk) {
    bool ok = false;
    EXPECT_EQ(StringUtils::fromString<int>(QStringLiteral("7"), &ok), 7);
    EXPECT_TRUE(ok);
    EXPECT_EQ(StringUtils::fromString<int>(QStringLiteral("seven"), &ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(StringUtils::fromString<float>(QStringLiteral("0.5")), 0.5f);
}

TEST(StringUtilsFromString, FloatsSurviveTheirOwnText) {
    for (float value : {0.1f, 3.5f, -1234.5f, 1e-5f}) {
        bool ok = false;
        float const read = StringUtils::fromString<float>(StringUtils::toString(value), &ok);
        EXPECT_TRUE(ok);
        EXPECT_FLOAT_EQ(read, value);
    }
}

// The process-wide mutexes are recursive: a one-time set-up may start another under the same lock.
TEST(StringUtilsMutexes, OnceAndSingletonMutexesAreRecursive) {
    for (Mutex* mutex : {&s_onceMutex, &s_singletonMutex}) {
        EXPECT_TRUE(mutex->isRecursive());
        std::lock_guard<Mutex> outer(*mutex);
        EXPECT_TRUE(mutex->try_lock()) << "the holder may lock again";
        mutex->unlock();
        bool otherThreadGotIt = true;
        std::thread([&] {
            otherThreadGotIt = mutex->try_lock();
            if (otherThreadGotIt) {
                mutex->unlock();
            }
        }).join();
        EXPECT_FALSE(otherThreadGotIt) << "another thread must wait while it is held";
    }
}
