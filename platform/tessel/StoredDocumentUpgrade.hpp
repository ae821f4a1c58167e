#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

namespace Tessel {

/// What bringing one stored document file forward through the chain of its type did.
struct StoredDocumentUpgrade {
    enum class Outcome {
        /// Every step above its version ran, and the file now holds the document at the end of the chain.
        Upgraded,
        /// Nothing to do: the document is at the end of its chain, or its type has no chain.
        Current,
        /// The file was not touched, since it can't be carried forward: see `error`.
        Refused,
        /// A step failed, or the file could not be written: the file was not touched. See `error`.
        Failed,
    };

    QString path;
    Outcome outcome = Outcome::Refused;
    /// The type the document names ("documentType"); empty when it names none.
    QByteArray documentType;
    /// The version the document had, and the one it has now.
    int fromVersion = 0;
    int toVersion = 0;
    /// The versions of the steps that ran, in order.
    std::vector<int> stepsRun;
    /// What the steps logged (nodes they could not repair ...) and what the reading found (nodes of unknown
    /// types), in order.
    QStringList warnings;
    /// Why the document was refused or failed.
    QString error;

    bool succeeded() const { return outcome == Outcome::Upgraded || outcome == Outcome::Current; }
};

/// Whether a document type knows an element type key.
using KnownElementType = std::function<bool(QByteArray const& documentType, QByteArray const& typeKey)>;

/// Brings the stored document in `path` to the end of the chain of its type (`JSONMigrations`), and writes
/// it back whole or not at all. A file is written only when every step ran: a document that is not JSON,
/// has no "nodes" array, names no type, or was stored by a later release than this one (a version above
/// the end of its chain) is refused; a step that fails leaves the file as it was. Nodes that, once the
/// steps ran, have types that `knownType` (when given) doesn't know are carried along and reported as
/// warnings. Logs of the steps are
/// kept in the result instead of going to the log, so call it where one thread logs.
StoredDocumentUpgrade upgradeStoredDocument(QString const& path, KnownElementType const& knownType = {});

} // namespace Tessel
