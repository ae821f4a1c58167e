// A document with an access password opens only with it; the server keeps only its hash, with the document.

#include "tests/support/ExceptionMessage.hpp"
#include "tests/support/LiveSites.hpp"

#include "platform/tessel/DocumentInfo.hpp"
#include "platform/tessel/Documents.hpp"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestSupport::LiveSites;

namespace {

/// Why `site` can't open "canvas" with `password`, or "<nothing thrown>" when it opened it.
std::string openRefusal(LiveSites& sites, LiveSites::Site& site, QString const& password) {
    Tessel::OpenOptions options;
    options.accessPassword = password;
    auto opened =
        site.connection->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                      LiveSites::factoryOf(Datamodel::SharedCanvas::documentType()), options);
    sites.deliver();
    return TestSupport::messageOf<std::runtime_error>(
        [&] { site.document = LiveSites::answered(std::move(opened), "no answer"); });
}

constexpr char const* locked = "document 'canvas' needs its access password";

} // namespace

TEST(AccessPasswordLiveTest, ADocumentWithAnAccessPasswordOpensOnlyWithIt) {
    LiveSites sites;
    auto& a = sites.join("a");
    ASSERT_TRUE(sites.server()->setAccessPassword("canvas", QStringLiteral("sesame")));
    sites.deliver();
    std::shared_ptr<Tessel::DocumentInfo> const seen =
        a.connection->documents()->findDocumentInfoById("canvas");
    ASSERT_NE(seen, nullptr);
    EXPECT_TRUE(seen->hasAccessPassword()) << "every client hears that it has one";
    EXPECT_TRUE(a.document->isLive()) << "who has it open keeps it";

    EXPECT_EQ(openRefusal(sites, sites.connect("without"), QString()), locked);
    EXPECT_EQ(openRefusal(sites, sites.connect("wrong"), QStringLiteral("Sesame")), locked);
    EXPECT_EQ(openRefusal(sites, sites.connect("right"), QStringLiteral("sesame")), "<nothing thrown>");

    ASSERT_TRUE(sites.server()->setAccessPassword("canvas", QString()));
    sites.deliver();
    EXPECT_FALSE(seen->hasAccessPassword());
    EXPECT_EQ(openRefusal(sites, sites.connect("later"), QString()), "<nothing thrown>") << "taken away";
}

TEST(AccessPasswordLiveTest, OnlyAListedDocumentTakesAnAccessPassword) {
    LiveSites sites;
    EXPECT_FALSE(sites.server()->setAccessPassword("nowhere", QStringLiteral("sesame")));
}

TEST(AccessPasswordLiveTest, TheAccessPasswordOutlivesTheServerAsAHashOnly) {
    QTemporaryDir storage;
    {
        LiveSites sites(QStringLiteral("26.07.5"), nullptr, storage.path());
        sites.join("a");
        ASSERT_TRUE(sites.server()->setAccessPassword("canvas", QStringLiteral("sesame")));
    }
    QFile stored(QDir(storage.path()).filePath(QStringLiteral("canvas.json")));
    ASSERT_TRUE(stored.open(QIODevice::ReadOnly));
    QByteArray const contents = stored.readAll();
    EXPECT_TRUE(contents.contains("accessPassword"));
    EXPECT_FALSE(contents.contains("sesame")) << "no password in the clear";

    LiveSites restarted(QStringLiteral("26.07.5"), nullptr, storage.path());
    EXPECT_EQ(openRefusal(restarted, restarted.connect("without"), QString()), locked);
    EXPECT_EQ(openRefusal(restarted, restarted.connect("with"), QStringLiteral("sesame")),
              "<nothing thrown>");
}
