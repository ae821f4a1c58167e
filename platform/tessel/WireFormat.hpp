#pragma once

#include "platform/cobalt/BinaryData.hpp"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <vector>

/// The one wire format between clients and a server, whatever carries the bytes.
///
/// A frame is a header of six bytes and a payload:
///
///     offset 0  u8   format version (`formatVersion`)
///     offset 1  u8   message kind (`MessageKind`)
///     offset 2  u32  payload length, little-endian; the frame ends exactly after the payload
///     offset 6  payload: a `Cobalt::BinaryData` (typed values back to back)
///
/// Payloads, value by value (S: string, B: bytes, I: int32, L: int64):
///
///     Hello              S installation name, S user name, I user id asked for (0: none), and, when the
///                        user signs in, S password, then, to sign in with a token in its place, S token
///     SignInRefused      S reason: the server refused the greeting and closes the link
///     TransactionsRecovered  S document id, I n, n L: which of the transactions the opening asked about
///                        the server had applied (it remembers the last ones of each document)
///     Welcome            S server version, I user id, I connection id, L server time (µs), and, for a
///                        sign-in with a password, S token: it signs the user in again until it expires
///     OpenDocument       S document id, S document type, and, when the client names this opening, S its
///                        session key, S the key of an earlier session of the document (empty: none), I n, n
///                        L: that session's transactions never answered, which the server tells about
///                        (TransactionsRecovered) before it sends the document, then S the document's access
///                        password (empty: none)
///     DocumentOpened     S document id, S root guid, S root type key, S transient root guid (empty: no
///                        transient tree), S guid of this client's connection node (empty: none),
///                        I n, n operations (the roots' values, then every node below them)
///     OpenRefused        S document id, S error text
///     Transaction        S document id, L transaction id, I n, n operations
///     Changes            S document id, I n, n operations
///     TransactionApplied S document id, L transaction id, I n, n operations (SetVector: the whole value of
///                        each list the transaction edited value by value after another site changed it, for
///                        the client to take back before its later edits)
///     TransactionRefused S document id, L transaction id, S error text, I n, n operations (SetVector: the
///                        whole value of each list the transaction wrote, for the client to take back)
///     CloseDocument      S document id; from a client: it leaves the document; from the server, followed by
///                        S reason: the client is out of the document (it was removed, or the client may no
///                        longer see it)
///     DocumentListed     S document id, I n, n times (S name, L type code, B value): the server holds the
///                        document, with these values of its `DocumentInfo` (all of them when it is new)
///     DocumentUnlisted   S document id: the server no longer holds the document
///     AssetOffer         B public hash, L size, S file name: the client holds this content for the server,
///                        which pulls it unless it holds it already
///     AssetStored        B public hash: the server holds the content
///     AssetRefused       B public hash, S error text: the content can't be had, or arrived wrong
///     AssetPull          B public hash, L offset, L length: the receiver of a content asks its holder for
///                        a piece (a client fetches from the server, the server pulls what a client offered)
///     AssetChunk         B public hash, L offset, L total size, B bytes: a piece of the content
///
/// An operation starts with I `OperationKind`; then:
///
///     AddNode         S parent guid, S guid, S name, S type key, I n, n times (S name, L type code, B value)
///     DeleteNode      S guid
///     SetValue        S node guid, S attribute name, L type code, B value
///     SetVector       S node guid, S attribute name, L type code, B values back to back
///     InsertElement   S node guid, S attribute name, L index, B one value
///     RemoveElement   S node guid, S attribute name, L index
///     ReplaceElement  S node guid, S attribute name, L index, B one value
///     GuidChanged     S former guid, S new guid
///     MoveNode        S guid, S name under the new parent, S new parent guid (the node keeps its subtree,
///                     guid and values)
///     ClearValue      S node guid, S attribute name: the server holds no value of the attribute, which falls
///                     back to its default (only from the server, when it takes back a refused change)
///
/// Values are encoded as the server stores them (`Kelp::AttributeSerializer`). Every read is checked: a
/// frame or payload that is short, long, of another type or out of range is refused whole.
namespace Tessel::Wire {

/// The version of this format. A frame of another version is refused.
constexpr std::uint8_t formatVersion = 1;
constexpr int headerSize = 6;

/// Never renumber: the numbers travel.
enum class MessageKind : std::uint8_t {
    Hello = 1,
    Welcome = 2,
    OpenDocument = 3,
    DocumentOpened = 4,
    OpenRefused = 5,
    Transaction = 6,
    Changes = 7,
    TransactionApplied = 8,
    TransactionRefused = 9,
    CloseDocument = 10,
    DocumentListed = 11,
    DocumentUnlisted = 12,
    AssetOffer = 13,
    AssetStored = 14,
    AssetRefused = 15,
    AssetPull = 16,
    AssetChunk = 17,
    SignInRefused = 18,
    TransactionsRecovered = 19,
};

/// Never renumber: the numbers travel.
enum class OperationKind : std::int32_t {
    AddNode = 1,
    DeleteNode = 2,
    SetValue = 3,
    SetVector = 4,
    InsertElement = 5,
    RemoveElement = 6,
    ReplaceElement = 7,
    GuidChanged = 8,
    MoveNode = 9,
    ClearValue = 10,
};

/// A named encoded value, as an added node carries them.
struct AttributeValue {
    QByteArray name;
    unsigned typeCode = 0;
    QByteArray bytes;
};

/// One change of a document's tree. Which fields count depends on `kind` (see the table above).
struct Operation {
    OperationKind kind = OperationKind::SetValue;
    /// The node the operation is about: the new node for AddNode, the former guid for GuidChanged.
    QByteArray nodeGuid;
    /// AddNode, MoveNode: the (new) parent's guid.
    QByteArray parentGuid;
    /// AddNode, MoveNode: the element name; GuidChanged: the new guid; otherwise the attribute's name.
    QByteArray name;
    /// AddNode: the element type key.
    QByteArray typeKey;
    unsigned typeCode = 0;
    std::uint32_t index = 0;
    /// One value, or a vector's values back to back.
    QByteArray bytes;
    /// AddNode: the node's values.
    std::vector<AttributeValue> attributes;
};

struct Frame {
    MessageKind kind = MessageKind::Hello;
    Cobalt::BinaryData payload;
};

/// A frame holding `payload`.
QByteArray encodeFrame(MessageKind kind, Cobalt::BinaryData const& payload);
/// Splits a frame; false, with the reason in `error`, when its header or length is wrong.
bool decodeFrame(QByteArray const& bytes, Frame& frame, QString& error);

void writeOperation(Cobalt::BinaryData& data, Operation const& operation);
/// Reads one operation; false when the data doesn't hold a whole, well-formed one.
bool readOperation(Cobalt::BinaryData& data, Operation& operation);

/// Writes a count and the operations.
void writeOperations(Cobalt::BinaryData& data, std::vector<Operation> const& operations);
/// Reads a count and that many operations; false when any is missing or malformed.
bool readOperations(Cobalt::BinaryData& data, std::vector<Operation>& operations);

/// Reads values in order and remembers whether every read so far succeeded, so that a message is read
/// as a straight sequence and judged once at its end.
class PayloadReader {
public:
    explicit PayloadReader(Cobalt::BinaryData& data) : m_data(data) {}

    PayloadReader& text(QByteArray& value);
    PayloadReader& bytes(QByteArray& value);
    PayloadReader& int32(std::int32_t& value);
    PayloadReader& int64(std::int64_t& value);
    /// An int64 that must lie in 0 .. 2^32 - 1.
    PayloadReader& uint32(std::uint32_t& value);
    /// Whether every read succeeded.
    bool ok() const { return m_ok; }
    /// Whether every read succeeded and nothing is left.
    bool complete() const { return m_ok && m_data.atEnd(); }

private:
    Cobalt::BinaryData& m_data;
    bool m_ok = true;
};

/// Writes a count and the transaction ids (L each).
void writeTransactionIds(Cobalt::BinaryData& data, std::vector<std::int64_t> const& ids);
/// Reads what `writeTransactionIds` wrote; false when any is missing or malformed.
bool readTransactionIds(PayloadReader& reader, std::vector<std::int64_t>& ids);

/// Writes a count and the named values (S name, L type code, B value each).
void writeAttributeValues(Cobalt::BinaryData& data, std::vector<AttributeValue> const& values);
/// Reads what `writeAttributeValues` wrote; false when any is missing or malformed.
bool readAttributeValues(PayloadReader& reader, std::vector<AttributeValue>& values);

} // namespace Tessel::Wire
