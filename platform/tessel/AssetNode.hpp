#pragma once

#include "attributes/Event.hpp"
#include "platform/basalt/Node.hpp"

#include <QByteArray>
#include <QString>

#include <utility>

namespace Tessel {

/// Where one content stands on one client of a live document: a node per public hash that the document's
/// asset attributes hold, made by the document connection and deleted when no attribute holds the hash any
/// more (its ROLE_DELETE listeners hear of that). It follows the content's way between this client's
/// storage and the server: state, progress in bytes, and the reason of a failure.
class AssetNode : public Basalt::Node {
public:
    /// Never renumber: 0 means that nothing is known, and callers test for it.
    enum ClientState : int {
        /// Nothing is known yet.
        STATE_NONE = 0,
        /// The content is on the server only: this client keeps no files.
        STATE_REMOTE = 1,
        /// This client sends the content to the server.
        STATE_UPLOADING = 2,
        /// This client fetches the content from the server.
        STATE_DOWNLOADING = 3,
        /// The content is whole in this client's storage.
        STATE_READY = 4,
        /// The transfer failed; `errorText` says why.
        STATE_FAILED = 5,
    };
    /// Done and total bytes.
    using Progress = std::pair<unsigned long, unsigned long>;

    AssetNode(QByteArray publicHash, QString originalFileName);
    ~AssetNode() override;

    /// SHA-256 of the content, 32 bytes.
    QByteArray const& publicHashBin() const { return m_publicHash; }
    ClientState clientState() const { return m_state; }
    /// Bytes moved so far and in all, for the transfer under way or the last one.
    Progress progress() const { return m_progress; }
    /// Why the transfer failed; empty unless the state is `STATE_FAILED`.
    QString const& errorText() const { return m_errorText; }
    /// The name the content was published under, as far as this client knows it; may be empty.
    QString const& originalFileName() const { return m_originalFileName; }
    void setOriginalFileName(QString name) { m_originalFileName = std::move(name); }

    /// Moves the node to `state` and raises `stateChanged` when anything changed.
    void update(ClientState state, Progress progress, QString errorText = QString());

    /// Raised on the document's thread with the state, the progress and the error text.
    Basalt::Event<ClientState, Progress, QString> stateChanged;

private:
    QByteArray m_publicHash;
    QString m_originalFileName;
    ClientState m_state = STATE_NONE;
    Progress m_progress{0, 0};
    QString m_errorText;
};

} // namespace Tessel
