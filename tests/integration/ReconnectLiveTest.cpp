// A client whose link went opens the document again and learns which of its transactions the server
// applied without its hearing so.

#include "tests/support/LiveSites.hpp"

#include "canvas/Note.hpp"
#include "platform/tessel/ServerDocument.hpp"

#include <gtest/gtest.h>

using TestSupport::LiveSites;

namespace {

/// A change of a node that doesn't exist, which the server refuses.
Tessel::Wire::Operation changeOfNothing() {
    Tessel::Wire::Operation operation;
    operation.kind = Tessel::Wire::OperationKind::DeleteNode;
    operation.nodeGuid = "no-such-node";
    return operation;
}

} // namespace

TEST(ReconnectLiveTest, AClientThatOpensTheDocumentAgainLearnsWhichUnansweredTransactionsWereApplied) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto* note = new Datamodel::Note();
    note->initName();
    Tessel::NodeTransaction transaction(*a.document);
    transaction.addNode(*note, a.canvas());
    auto added = transaction.commit();
    auto refused = a.document->sendTransaction({changeOfNothing()});
    sites.serverExecutor().drain(); // the server answers both, and a hears neither
    QByteArray const guid = note->guid();
    a.connection->disconnect();
    sites.deliver();
    EXPECT_TRUE(added.hasException()) << "a never heard the answer";
    Tessel::DocumentResume const resume = a.document->resume();
    ASSERT_EQ(resume.unanswered.size(), 2u);

    auto& again = sites.connect("a-again");
    auto reopened = again.connection->openDocument(
        "canvas", Datamodel::SharedCanvas::documentType(),
        LiveSites::factoryOf(Datamodel::SharedCanvas::documentType()), {resume});
    sites.deliver();
    again.document = LiveSites::answered(std::move(reopened), "no document");
    EXPECT_EQ(again.document->recoveredTransactions(), std::vector<std::int64_t>{resume.unanswered.front()})
        << "the addition was applied, the change of nothing was not";
    EXPECT_NE(again.document->findSharedElement(guid), nullptr) << "the current document has the note";
}

TEST(ReconnectLiveTest, AnOpeningWithoutAnEarlierSessionRecoversNothing) {
    LiveSites sites;
    auto& a = sites.join("a");
    sites.addToCanvas<Datamodel::Note>(a);
    EXPECT_TRUE(a.document->recoveredTransactions().empty());
    EXPECT_TRUE(a.document->resume().unanswered.empty()) << "every transaction was answered";
    EXPECT_FALSE(a.document->resume().sessionKey.isEmpty());
}

TEST(ReconnectLiveTest, TheServerRemembersOnlyTheLastTransactionsOfADocument) {
    LiveSites sites;
    auto& a = sites.join("a");
    Tessel::ServerDocument& document = *sites.serverDocument();
    for (std::int64_t id = 1;
         id <= static_cast<std::int64_t>(Tessel::ServerDocument::rememberedTransactions) + 1; ++id) {
        document.noteApplied("session", id);
    }
    EXPECT_EQ(document.appliedOf("session", {1, 2, 3}), (std::vector<std::int64_t>{2, 3}))
        << "the oldest was forgotten";
    EXPECT_TRUE(document.appliedOf("other", {2}).empty()) << "ids belong to their session";
    document.noteApplied(QByteArray(), 7);
    EXPECT_TRUE(document.appliedOf(QByteArray(), {7}).empty()) << "a nameless session is not remembered";
    (void)a;
}
