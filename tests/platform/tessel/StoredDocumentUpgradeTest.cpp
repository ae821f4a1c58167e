// Bringing stored document files forward, one file at a time, whole or not at all.

#include "platform/tessel/StoredDocumentUpgrade.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/StoredDocument.hpp"

#include "platform/cobalt/Trace.hpp"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <stdexcept>

using Tessel::JSONMigration;
using Tessel::StoredDocument;
using Tessel::StoredDocumentUpgrade;
using Outcome = Tessel::StoredDocumentUpgrade::Outcome;

namespace {

constexpr char kType[] = "upgrade-test";

/// Step 1 marks every node; step 2 throws on a node named "poison"; step 3 warns about every node.
class Marking : public JSONMigration {
public:
    Marking() : JSONMigration(1) {}
    bool migrate(QJsonObject&, QJsonObject& document) override {
        QJsonArray nodes = document.value(QStringLiteral("nodes")).toArray();
        for (int i = 0; i < nodes.size(); ++i) {
            QJsonObject node = nodes.at(i).toObject();
            node.insert(QStringLiteral("marked"), true);
            nodes.replace(i, node);
        }
        document.insert(QStringLiteral("nodes"), nodes);
        return true;
    }
};

class Poisoned : public JSONMigration {
public:
    Poisoned() : JSONMigration(2) {}
    bool migrate(QJsonObject&, QJsonObject& document) override {
        for (QJsonValue const& node : document.value(QStringLiteral("nodes")).toArray()) {
            if (node.toObject().value(QStringLiteral("id")).toString() == QLatin1String("poison")) {
                throw std::out_of_range("BundleReader::read # tried to read past the end");
            }
        }
        return true;
    }
};

class Warning : public JSONMigration {
public:
    Warning() : JSONMigration(3) {}
    bool migrate(QJsonObject&, QJsonObject& document) override {
        for (QJsonValue const& node : document.value(QStringLiteral("nodes")).toArray()) {
            Cobalt::Trace::warning("Warning # Failed to migrate node %s: too short",
                                   qUtf8Printable(node.toObject().value(QStringLiteral("id")).toString()));
        }
        return true;
    }
};

void registerTestChain() {
    auto list = std::make_shared<Tessel::JSONMigrationList>(kType);
    list->append(std::make_shared<Marking>());
    list->append(std::make_shared<Poisoned>());
    list->append(std::make_shared<Warning>());
    Tessel::JSONMigrations::instance().addMigrationList(kType, list);
}

QJsonObject document(QStringList const& ids, int version = 0,
                     QString const& type = QString::fromLatin1(kType)) {
    QJsonArray nodes;
    for (QString const& id : ids) {
        nodes.append(
            QJsonObject{{QStringLiteral("id"), id}, {QStringLiteral("type"), QStringLiteral("item")}});
    }
    QJsonObject stored{{QStringLiteral("documentType"), type}, {QStringLiteral("nodes"), nodes}};
    if (version > 0) {
        stored.insert(QStringLiteral("versions"), QJsonObject{{type, version}});
    }
    return stored;
}

class StoredDocumentUpgradeTest : public ::testing::Test {
protected:
    void SetUp() override { registerTestChain(); }

    QString write(QString const& name, QJsonObject const& stored) {
        QString const path = m_directory.filePath(name);
        QString error;
        EXPECT_TRUE(StoredDocument::write(path, stored, error)) << error.toStdString();
        return path;
    }
    QString writeBytes(QString const& name, QByteArray const& bytes) {
        QString const path = m_directory.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }
    static QByteArray bytesOf(QString const& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_directory;
};

} // namespace

TEST_F(StoredDocumentUpgradeTest, ADocumentRunsEveryStepAboveItsVersionAndIsWrittenBack) {
    QString const path = write(QStringLiteral("a.json"), document({QStringLiteral("n1")}, 1));
    StoredDocumentUpgrade const upgrade = Tessel::upgradeStoredDocument(path);
    EXPECT_EQ(upgrade.outcome, Outcome::Upgraded) << upgrade.error.toStdString();
    EXPECT_EQ(upgrade.fromVersion, 1);
    EXPECT_EQ(upgrade.toVersion, 3);
    EXPECT_EQ(upgrade.stepsRun, (std::vector<int>{2, 3}));
    EXPECT_EQ(upgrade.warnings,
              QStringList{QStringLiteral("Warning # Failed to migrate node n1: too short")});

    QJsonObject stored;
    QString error;
    ASSERT_TRUE(StoredDocument::read(path, stored, error));
    EXPECT_EQ(Tessel::JSONMigrations::reachedVersion(stored, kType), 3);
    EXPECT_FALSE(
        stored.value(QStringLiteral("nodes")).toArray().at(0).toObject().contains(QStringLiteral("marked")))
        << "step 1 lies below the version the document had";
}

TEST_F(StoredDocumentUpgradeTest, ADocumentAtTheEndOfItsChainIsLeftUntouched) {
    QString const path = write(QStringLiteral("a.json"), document({QStringLiteral("n1")}, 3));
    QByteArray const before = bytesOf(path);
    StoredDocumentUpgrade const upgrade = Tessel::upgradeStoredDocument(path);
    EXPECT_EQ(upgrade.outcome, Outcome::Current);
    EXPECT_TRUE(upgrade.succeeded());
    EXPECT_EQ(bytesOf(path), before);
}

TEST_F(StoredDocumentUpgradeTest, AStepThatFailsLeavesTheFileAsItWasAndSaysWhichStep) {
    QString const path = write(QStringLiteral("a.json"), document({QStringLiteral("poison")}));
    QByteArray const before = bytesOf(path);
    StoredDocumentUpgrade const upgrade = Tessel::upgradeStoredDocument(path);
    EXPECT_EQ(upgrade.outcome, Outcome::Failed);
    EXPECT_TRUE(upgrade.error.startsWith(QStringLiteral("Step 2 of 'upgrade-test' failed")))
        << upgrade.error.toStdString();
    EXPECT_TRUE(
        upgrade.warnings.join(QLatin1Char('\n')).contains(QStringLiteral("tried to read past the end")))
        << upgrade.warnings.join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(bytesOf(path), before) << "a half-migrated document is never written";
}

TEST_F(StoredDocumentUpgradeTest, AFileThatIsNotJsonIsRefusedAndLeftAsItIs) {
    QString const path = writeBytes(QStringLiteral("a.json"), "{ \"nodes\": [");
    StoredDocumentUpgrade const upgrade = Tessel::upgradeStoredDocument(path);
    EXPECT_EQ(upgrade.outcome, Outcome::Refused);
    EXPECT_TRUE(upgrade.error.contains(QStringLiteral("holds no stored document")))
        << upgrade.error.toStdString();
    EXPECT_EQ(bytesOf(path), QByteArray("{ \"nodes\": ["));
}

TEST_F(StoredDocumentUpgradeTest, ADocumentWithoutNodesIsRefused) {
    QString const path =
        writeBytes(QStringLiteral("a.json"), "{\"documentType\": \"upgrade-test\", \"nodes\": 5}");
    StoredDocumentUpgrade const upgrade = Tessel::upgradeStoredDocument(path);
    EXPECT_EQ(upgrade.outcome, Outcome::Refused);
    EXPECT_TRUE(upgrade.error.contains(QStringLiteral("has no \"nodes\" array")))
        << upgrade.error.toStdString();
}

TEST_F(StoredDocumentUpgradeTest, ADocumentThatNamesNoTypeIsRefused) {
    QString const path = write(QStringLiteral("a.json"), document({QStringLiteral("n1")}, 0, QString()));
    StoredDocumentUpgrade const upgrade = Tessel::upgradeStoredDocument(path);
    EXPECT_EQ(upgrade.outcome, Outcome::Refused);
    EXPECT_TRUE(upgrade.error.contains(QStringLiteral("names no document type")))
        << upgrade.error.toStdString();
}

TEST_F(StoredDocumentUpgradeTest, ADocumentOfALaterReleaseIsRefusedAndLeftAsItIs) {
    QString const path = write(QStringLiteral("a.json"), document({QStringLiteral("n1")}, 4));
    QByteArray const before = bytesOf(path);
    StoredDocumentUpgrade const upgrade = Tessel::upgradeStoredDocument(path);
    EXPECT_EQ(upgrade.outcome, Outcome::Refused);
    EXPECT_TRUE(upgrade.error.contains(
        QStringLiteral("at version 4 of 'upgrade-test', newer than this release knows (3)")))
        << upgrade.error.toStdString();
    EXPECT_EQ(bytesOf(path), before);
}

TEST_F(StoredDocumentUpgradeTest, NodesOfUnknownTypesAreReportedAndCarriedAlong) {
    QString const path = write(QStringLiteral("a.json"), document({QStringLiteral("n1")}, 2));
    auto const knowsNothing = [](QByteArray const&, QByteArray const&) { return false; };
    StoredDocumentUpgrade const upgrade = Tessel::upgradeStoredDocument(path, knowsNothing);
    EXPECT_EQ(upgrade.outcome, Outcome::Upgraded);
    EXPECT_TRUE(upgrade.warnings.contains(
        QStringLiteral("Node 'n1' has the type 'item', which a document of type 'upgrade-test' doesn't know; "
                       "it is carried along unchanged")))
        << upgrade.warnings.join(QLatin1Char('\n')).toStdString();
}

TEST_F(StoredDocumentUpgradeTest, AMissingFileIsRefused) {
    StoredDocumentUpgrade const upgrade =
        Tessel::upgradeStoredDocument(m_directory.filePath(QStringLiteral("none.json")));
    EXPECT_EQ(upgrade.outcome, Outcome::Refused);
    EXPECT_TRUE(upgrade.error.contains(QStringLiteral("Can't read"))) << upgrade.error.toStdString();
}

// Whatever piece the write stops after, the file that was there stays whole and reads back as before.
TEST_F(StoredDocumentUpgradeTest, AWriteInterruptedAfterAnyPieceLeavesThePreviousFileWhole) {
    QStringList ids;
    for (int i = 0; i < 20000; ++i) {
        ids << QStringLiteral("node-%1").arg(i);
    }
    QJsonObject const previous = document({QStringLiteral("old")});
    QJsonObject const next = document(ids);
    qint64 const pieces =
        (QJsonDocument(next).toJson(QJsonDocument::Compact).size() + StoredDocument::writeChunkSize - 1) /
        StoredDocument::writeChunkSize;
    ASSERT_GT(pieces, 3) << "the document must span several pieces";
    QString const path = write(QStringLiteral("a.json"), previous);
    for (qint64 stopAfter = 1; stopAfter <= pieces; ++stopAfter) {
        qint64 piecesWritten = 0;
        QString error;
        EXPECT_FALSE(
            StoredDocument::write(path, next, error, [&](qint64) { return ++piecesWritten < stopAfter; }));
        EXPECT_TRUE(error.contains(QStringLiteral("interrupted"))) << error.toStdString();
        QJsonObject stored;
        ASSERT_TRUE(StoredDocument::read(path, stored, error))
            << "stopped after " << stopAfter << ": " << error.toStdString();
        EXPECT_EQ(stored, previous) << "stopped after piece " << stopAfter;
    }
    EXPECT_EQ(QDir(m_directory.path()).entryList(QDir::Files), QStringList{QStringLiteral("a.json")})
        << "no temporary file stays behind";
    QString error;
    ASSERT_TRUE(StoredDocument::write(path, next, error)) << error.toStdString();
    QJsonObject stored;
    ASSERT_TRUE(StoredDocument::read(path, stored, error));
    EXPECT_EQ(stored, next);
}
