// Stored documents come from disk and from older releases: any bytes must open as a canvas, or be refused,
// without harm. Whatever opens is brought forward through the canvas chain and repaired by the canvas
// operators, and the stored form written of it must open again to the same tree.
// Input: the bytes of a stored document file.

#include "tests/support/OperatorSites.hpp"

#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/StoredDocument.hpp"

#include <QJsonDocument>

#include <cstdint>
#include <cstdlib>

namespace {

/// The tree of the canvas that `stored` opens as, on a fresh server with the canvas operators; empty when
/// it is refused.
QString openedTree(QJsonObject stored, QJsonObject* written = nullptr) {
    Tessel::JSONMigrations::instance().migrate(Datamodel::SharedCanvas::documentType(), stored);
    TestSupport::OperatorSites sites;
    QString error;
    bool restored = false;
    auto const document = sites.server()->openDocument(
        "fuzzed", Datamodel::SharedCanvas::documentType(), error, [&](Tessel::ServerDocument& opened) {
            restored = Tessel::StoredDocument::restore(stored, opened, error);
        });
    if (!document || !restored) {
        return QString();
    }
    sites.deliver();
    if (written) {
        *written = Tessel::StoredDocument::fromDocument(*document);
    }
    return TestSupport::describeTree(*document->rootNode());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Cobalt::Trace::setSink([](Cobalt::Trace::Level, char const*) {});
    QJsonDocument const json =
        QJsonDocument::fromJson(QByteArray(reinterpret_cast<char const*>(data), static_cast<int>(size)));
    if (!json.isObject()) {
        return 0;
    }
    QJsonObject written;
    QString const tree = openedTree(json.object(), &written);
    if (tree.isEmpty()) {
        return 0;
    }
    // Opening what we wrote runs the operators again, which change nothing on a repaired canvas.
    if (openedTree(written) != tree) {
        std::abort(); // what we store we must open again unchanged
    }
    return 0;
}
