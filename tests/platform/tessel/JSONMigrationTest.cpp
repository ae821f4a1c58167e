// The runner of stored documents' chains: every step above the version reached, in order, and never a
// stop.

#include "tests/support/CapturedLog.hpp"

#include "platform/tessel/JSONMigration.hpp"

#include <QJsonArray>

#include <gtest/gtest.h>

#include <stdexcept>

using Tessel::JSONMigration;
using Tessel::JSONMigrationList;
using Tessel::JSONMigrations;

namespace {

/// A step that notes its number in the document's "trail" and does what it is told.
class Recording : public JSONMigration {
public:
    enum class Outcome { Succeed, Fail, Throw };
    explicit Recording(int version, Outcome outcome = Outcome::Succeed)
        : JSONMigration(version), m_outcome(outcome) {}
    bool migrate(QJsonObject&, QJsonObject& document) override {
        QJsonArray trail = document.value(QStringLiteral("trail")).toArray();
        trail.append(version());
        document.insert(QStringLiteral("trail"), trail);
        if (m_outcome == Outcome::Throw) {
            throw std::runtime_error("broken step");
        }
        return m_outcome == Outcome::Succeed;
    }

private:
    Outcome m_outcome;
};

/// A registry of its own holding one chain of `steps` for the type "doc".
JSONMigrations& chainOf(JSONMigrations& migrations,
                        std::vector<std::shared_ptr<JSONMigration>> const& steps) {
    auto list = std::make_shared<JSONMigrationList>("doc");
    for (auto const& step : steps) {
        list->append(step);
    }
    migrations.addMigrationList("doc", list);
    return migrations;
}

QJsonObject atVersion(int version) {
    return QJsonObject{{QStringLiteral("versions"), QJsonObject{{QStringLiteral("doc"), version}}}};
}

QJsonArray trail(QJsonObject const& document) {
    return document.value(QStringLiteral("trail")).toArray();
}

} // namespace

TEST(JSONMigrations, EveryStepAboveTheReachedVersionRunsInOrderAndTheVersionIsRecorded) {
    JSONMigrations migrations;
    chainOf(migrations,
            {std::make_shared<Recording>(1), std::make_shared<Recording>(2), std::make_shared<Recording>(3)});
    QJsonObject document = atVersion(1);

    Tessel::JSONMigrationReport const report = migrations.migrate("doc", document);

    EXPECT_EQ(trail(document), (QJsonArray{2, 3}));
    EXPECT_EQ(report.fromVersion, 1);
    EXPECT_EQ(report.toVersion, 3);
    EXPECT_EQ(report.stepsRun, (std::vector<int>{2, 3}));
    EXPECT_EQ(JSONMigrations::reachedVersion(document, "doc"), 3);
    migrations.migrate("doc", document);
    EXPECT_EQ(trail(document), (QJsonArray{2, 3})) << "a document at the end of its chain is left alone";
}

TEST(JSONMigrations, ADocumentThatNamesNoVersionRunsTheWholeChain) {
    JSONMigrations migrations;
    chainOf(migrations, {std::make_shared<Recording>(1), std::make_shared<Recording>(2)});
    QJsonObject document;
    migrations.migrate("doc", document);
    EXPECT_EQ(trail(document), (QJsonArray{1, 2}));
}

TEST(JSONMigrations, AFailingStepIsLoggedAndTheChainGoesOn) {
    TestSupport::CapturedLog log;
    JSONMigrations migrations;
    chainOf(migrations,
            {std::make_shared<Recording>(1, Recording::Outcome::Throw),
             std::make_shared<Recording>(2, Recording::Outcome::Fail), std::make_shared<Recording>(3)});
    QJsonObject document;

    Tessel::JSONMigrationReport const report = migrations.migrate("doc", document);

    EXPECT_EQ(trail(document), (QJsonArray{1, 2, 3})) << "no step stops a document from loading";
    EXPECT_EQ(report.stepsFailed, (std::vector<int>{1, 2}));
    EXPECT_EQ(report.stepsRun, std::vector<int>{3});
    EXPECT_EQ(report.toVersion, 3);
    EXPECT_EQ(
        log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING),
        (std::vector<std::string>{"JSONMigrations::migrate # Step 1 of 'doc' failed: broken step",
                                  "JSONMigrations::migrate # Step 2 of 'doc' did not succeed; going on"}));
}

TEST(JSONMigrations, EmptyStepsPassADocumentWithoutNodesUnchanged) {
    JSONMigrations migrations;
    chainOf(migrations, {std::make_shared<Tessel::JSONEmptyMigration>(1),
                         std::make_shared<Tessel::JSONEmptyMigration>(2)});
    for (QJsonObject const& original :
         {QJsonObject{}, QJsonObject{{QStringLiteral("nodes"), QJsonArray{}}}}) {
        QJsonObject document = original;
        Tessel::JSONMigrationReport const report = migrations.migrate("doc", document);
        EXPECT_EQ(report.stepsRun, (std::vector<int>{1, 2})) << "each step returns true";
        document.remove(QStringLiteral("versions"));
        EXPECT_EQ(document, original);
    }
}

TEST(JSONMigrations, ATypeWithoutAChainIsLeftAlone) {
    JSONMigrations migrations;
    QJsonObject document = atVersion(4);
    Tessel::JSONMigrationReport const report = migrations.migrate("other", document);
    EXPECT_EQ(document, atVersion(4));
    EXPECT_TRUE(report.stepsRun.empty());
}

TEST(JSONMigrations, AStepOutOfSequenceIsRefusedSoThatTheChainHasNoGaps) {
    TestSupport::CapturedLog log;
    JSONMigrationList list("doc");
    list.append(std::make_shared<Tessel::JSONEmptyMigration>(1));
    list.append(std::make_shared<Tessel::JSONEmptyMigration>(3));
    list.append(std::make_shared<Tessel::JSONEmptyMigration>(2));
    EXPECT_EQ(list.lastVersion(), 2);
    EXPECT_EQ(log.messagesUpTo(Cobalt::Trace::LEVEL_ERROR),
              std::vector<std::string>{
                  "JSONMigrationList::append # Step 3 of 'doc' doesn't follow step 1; dropped"});
}

TEST(JSONMigrations, ADocumentWrittenNowIsMarkedAtTheEndOfItsChain) {
    JSONMigrations migrations;
    chainOf(migrations, {std::make_shared<Tessel::JSONEmptyMigration>(1),
                         std::make_shared<Tessel::JSONEmptyMigration>(2)});
    QJsonObject document;
    migrations.markCurrent("doc", document);
    EXPECT_EQ(JSONMigrations::reachedVersion(document, "doc"), 2);
}
