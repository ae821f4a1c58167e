#include "platform/cobalt/Trace.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using Cobalt::Trace;

namespace {

struct Logged {
    Trace::Level level;
    std::string message;
};

// Captures what is logged for the length of a test and puts the previous sink and the default level back.
class TraceCapture : public ::testing::Test {
protected:
    void SetUp() override {
        m_previous = Trace::setSink([this](Trace::Level level, char const* message) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_logged.push_back({level, message});
        });
        Trace::setMaximumLevel(Trace::LEVEL_DEBUG);
    }
    void TearDown() override {
        Trace::setSink(std::move(m_previous));
        Trace::setMaximumLevel(Trace::LEVEL_INFO);
    }

    std::vector<Logged> logged() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_logged;
    }

private:
    Trace::Sink m_previous;
    std::mutex m_mutex;
    std::vector<Logged> m_logged;
};

using TraceFunction = void (*)(char const*, ...);

struct LevelRow {
    char const* name;
    TraceFunction function;
    Trace::Level level;
};

LevelRow const levelRows[] = {
    {"error", &Trace::error, Trace::LEVEL_ERROR},
    {"warning", &Trace::warning, Trace::LEVEL_WARNING},
    {"info", &Trace::info, Trace::LEVEL_INFO},
    {"debug", &Trace::debug, Trace::LEVEL_DEBUG},
};

} // namespace

TEST_F(TraceCapture, MessagesArePrintfFormatted) {
    Trace::info("Node::eventSend # %s has %d listeners, %.2f%% busy, id %ld", "canvas", 3, 12.5, 42L);
    auto const messages = logged();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message, "Node::eventSend # canvas has 3 listeners, 12.50% busy, id 42");
}

TEST_F(TraceCapture, LongMessagesArriveWhole) {
    std::string const longText(10000, 'q');
    Trace::warning("Archive::fromJson # %s|%s", longText.c_str(), "end");
    auto const messages = logged();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message, "Archive::fromJson # " + longText + "|end")
        << "a message must not be cut at some buffer size";
}

TEST_F(TraceCapture, EmptyMessageIsStillDelivered) {
    Trace::error("%s", "");
    auto const messages = logged();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message, "");
}

TEST_F(TraceCapture, EachFunctionLogsAtItsLevel) {
    for (LevelRow const& row : levelRows) {
        row.function("Test::level # %s", row.name);
    }
    auto const messages = logged();
    ASSERT_EQ(messages.size(), std::size(levelRows));
    for (std::size_t i = 0; i < messages.size(); ++i) {
        EXPECT_EQ(messages[i].level, levelRows[i].level) << levelRows[i].name;
        EXPECT_EQ(messages[i].message, std::string("Test::level # ") + levelRows[i].name);
    }
}

// Every maximum level against every message level: a message passes exactly when its level is not above.
TEST_F(TraceCapture, MaximumLevelDropsEverythingAboveIt) {
    for (LevelRow const& maximum : levelRows) {
        Trace::setMaximumLevel(maximum.level);
        std::size_t const before = logged().size();
        for (LevelRow const& message : levelRows) {
            message.function("Test::filter # %s", message.name);
            bool const delivered = logged().size() > before && logged().back().level == message.level &&
                                   logged().back().message == std::string("Test::filter # ") + message.name;
            EXPECT_EQ(delivered, message.level <= maximum.level)
                << message.name << " message at maximum level " << maximum.name;
        }
    }
}

TEST_F(TraceCapture, SetSinkReturnsThePreviousSink) {
    std::vector<std::string> first;
    std::vector<std::string> second;
    Trace::Sink const captureSink =
        Trace::setSink([&first](Trace::Level, char const* message) { first.push_back(message); });
    Trace::Sink const returned =
        Trace::setSink([&second](Trace::Level, char const* message) { second.push_back(message); });
    Trace::info("to second");
    ASSERT_TRUE(static_cast<bool>(returned));
    returned(Trace::LEVEL_INFO, "straight to first");
    EXPECT_EQ(first, std::vector<std::string>{"straight to first"})
        << "the sink returned must be the one that was installed before";
    EXPECT_EQ(second, std::vector<std::string>{"to second"});
    Trace::setSink(captureSink);
    Trace::info("back to the fixture");
    auto const messages = logged();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message, "back to the fixture") << "restoring the returned sink must take effect";
}

TEST_F(TraceCapture, EmptySinkRestoresTheStandardErrorWriter) {
    Trace::Sink const capture = Trace::setSink(Trace::Sink());
    ::testing::internal::CaptureStderr();
    Trace::warning("Trace::test # %s", "to stderr");
    std::string const written = ::testing::internal::GetCapturedStderr();
    Trace::setSink(capture);
    EXPECT_NE(written.find("Trace::test # to stderr"), std::string::npos) << "written: " << written;
    EXPECT_NE(written.find("warning"), std::string::npos) << "the default sink prints the level";
    EXPECT_TRUE(logged().empty()) << "the capture sink was not installed meanwhile";
}

TEST_F(TraceCapture, LoggingFromManyThreadsDeliversEveryMessageWhole) {
    constexpr int threads = 4;
    constexpr int perThread = 500;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([t] {
            for (int i = 0; i < perThread; ++i) {
                Trace::info("Worker::run # thread %d message %d", t, i);
            }
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    auto const messages = logged();
    ASSERT_EQ(messages.size(), static_cast<std::size_t>(threads * perThread));
    std::vector<int> next(threads, 0);
    for (Logged const& message : messages) {
        int thread = -1;
        int index = -1;
        ASSERT_EQ(std::sscanf(message.message.c_str(), "Worker::run # thread %d message %d", &thread, &index),
                  2)
            << message.message;
        ASSERT_GE(thread, 0);
        ASSERT_LT(thread, threads);
        EXPECT_EQ(index, next[thread]++) << "messages of one thread arrive in order";
    }
}

TEST(TraceLevelName, EachLevelHasItsName) {
    for (LevelRow const& row : levelRows) {
        EXPECT_STREQ(Trace::levelName(row.level), row.name);
    }
}
