#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <functional>

namespace Tessel {

class ServerDocument;

/// The keys of the stored form, for every reader and writer of it. Stored: never rename.
namespace StoredKey {
constexpr char nodes[] = "nodes";
constexpr char id[] = "id";
constexpr char parentId[] = "parentId";
constexpr char type[] = "type";
constexpr char name[] = "name";
constexpr char attributes[] = "attributes";
constexpr char typeCode[] = "typeCode";
constexpr char value[] = "value";
constexpr char values[] = "values";
constexpr char size[] = "size";
constexpr char documentType[] = "documentType";
} // namespace StoredKey

/// The stored form of a server document, as JSON, and its files.
///
/// The form is flat: "nodes" lists every node of the persistent tree, parents first, each with "id" (its
/// guid), "parentId" (absent for the root), "type" (its element type key), "name" (its key under its
/// parent) and "attributes". An attribute holds "name" and "typeCode", and either "value", the Base64 of
/// its encoded bytes, or "values", the Base64 of all its values' bytes back to back, with "size", their
/// count. The document adds "documentType" and "versions", the versions its chains reached. Keys that a
/// reader doesn't know are left alone by it.
class StoredDocument {
public:
    /// The stored form of the document's persistent tree (the transient tree is not stored).
    static QJsonObject fromDocument(ServerDocument const& document);

    /// Fills a document that has just opened, before its operators start, from a stored form: the root
    /// takes the stored root's guid and values, and every node that hangs from it is added without telling
    /// anybody. What can't be read (a node whose parent is missing or that hangs in a cycle, a repeated id,
    /// an attribute of unknown type or without a value) is left out with a warning, and the rest loads.
    /// False, changing nothing, with the reason in `error`, when the form has no root node.
    static bool restore(QJsonObject const& stored, ServerDocument& document, QString& error);

    /// The size of the pieces in which `write` hands a document to its file.
    static constexpr qint64 writeChunkSize = 64 * 1024;
    /// Told, after each piece that `write` wrote, how many bytes are written; false stops the write there.
    using ChunkWritten = std::function<bool(qint64 bytesWritten)>;

    /// Writes a stored form to `path` whole or not at all: to a temporary file beside it, in pieces of
    /// `writeChunkSize`, renamed over `path` at the end. A write that fails or is stopped after any piece
    /// leaves the file that was there whole. False with the reason in `error`.
    static bool write(QString const& path, QJsonObject const& stored, QString& error,
                      ChunkWritten const& chunkWritten = ChunkWritten());
    /// Reads a stored form from `path`. False with the reason in `error` when the file can't be read or
    /// doesn't hold a JSON object.
    static bool read(QString const& path, QJsonObject& stored, QString& error);
};

} // namespace Tessel
