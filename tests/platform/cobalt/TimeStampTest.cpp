#include "platform/cobalt/TimeStamp.hpp"

#include "platform/cobalt/StringUtils.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <sstream>
#include <thread>

using Cobalt::TimeStamp;

TEST(TimeStamp, DefaultIsTheEpoch) {
    constexpr TimeStamp epoch;
    static_assert(epoch.ticks() == 0, "the default is tick 0");
    EXPECT_EQ(epoch.ticks(), 0);
    EXPECT_EQ(epoch.seconds(), 0.0);
}

TEST(TimeStamp, TicksAreMicroseconds) {
    EXPECT_EQ(TimeStamp::ticksPerSecond(), 1000000);
    EXPECT_EQ(TimeStamp(2500000).seconds(), 2.5);
    EXPECT_EQ(TimeStamp(-500000).seconds(), -0.5);
}

TEST(TimeStamp, ComparisonsFollowTheTickCount) {
    struct Row {
        std::int64_t a;
        std::int64_t b;
    } const rows[] = {{0, 0}, {1, 2}, {2, 1}, {-5, 5}, {std::numeric_limits<std::int64_t>::min(), 0}};
    for (auto const& row : rows) {
        TimeStamp const a(row.a);
        TimeStamp const b(row.b);
        EXPECT_EQ(a == b, row.a == row.b) << row.a << " vs " << row.b;
        EXPECT_EQ(a != b, row.a != row.b) << row.a << " vs " << row.b;
        EXPECT_EQ(a < b, row.a < row.b) << row.a << " vs " << row.b;
        EXPECT_EQ(a > b, row.a > row.b) << row.a << " vs " << row.b;
        EXPECT_EQ(a <= b, row.a <= row.b) << row.a << " vs " << row.b;
        EXPECT_EQ(a >= b, row.a >= row.b) << row.a << " vs " << row.b;
    }
}

TEST(TimeStamp, CurrentTimeIsWallClockTimeSinceTheEpoch) {
    auto const before = std::chrono::duration_cast<std::chrono::microseconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count();
    TimeStamp const now = TimeStamp::currentTime();
    auto const after = std::chrono::duration_cast<std::chrono::microseconds>(
                           std::chrono::system_clock::now().time_since_epoch())
                           .count();
    EXPECT_GE(now.ticks(), before);
    EXPECT_LE(now.ticks(), after);
}

TEST(TimeStamp, CurrentTimeAdvances) {
    TimeStamp const first = TimeStamp::currentTime();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    TimeStamp const second = TimeStamp::currentTime();
    EXPECT_GT(second, first);
    EXPECT_GE(second.ticks() - first.ticks(), 5000) << "at least the five milliseconds slept";
}

TEST(TimeStamp, StreamWritesTheDecimalTickCountAndReadsItBack) {
    std::int64_t const samples[] = {0,
                                    1,
                                    -1,
                                    1700000000123456LL,
                                    std::numeric_limits<std::int64_t>::max(),
                                    std::numeric_limits<std::int64_t>::min()};
    for (std::int64_t ticks : samples) {
        std::ostringstream out;
        out << TimeStamp(ticks);
        EXPECT_EQ(out.str(), std::to_string(ticks));
        std::istringstream in(out.str());
        TimeStamp read(12345);
        EXPECT_TRUE(static_cast<bool>(in >> read));
        EXPECT_EQ(read, TimeStamp(ticks));
    }
}

TEST(TimeStamp, BadStreamInputFailsAndKeepsTheValue) {
    for (char const* text : {"", "abc", "-", "x12"}) {
        std::istringstream in(text);
        TimeStamp value(777);
        EXPECT_FALSE(static_cast<bool>(in >> value)) << '"' << text << '"';
        EXPECT_EQ(value, TimeStamp(777)) << "a failed read must keep the value, text \"" << text << '"';
    }
    TimeStamp value(777);
    EXPECT_FALSE(Cobalt::StringUtils::fromString(QStringLiteral("12 seconds"), value));
    EXPECT_EQ(value, TimeStamp(777));
}

TEST(TimeStamp, TextFormRoundTripsThroughStringUtils) {
    TimeStamp const original(1712345678901234LL);
    TimeStamp read;
    EXPECT_TRUE(Cobalt::StringUtils::fromString(Cobalt::StringUtils::toString(original), read));
    EXPECT_EQ(read, original);
}
