#include "platform/tessel/PostgresDocumentStore.hpp"

#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/SqlConnection.hpp"
#include "platform/tessel/StoredDocument.hpp"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>
#include <QSqlError>
#include <QSqlRecord>
#include <QVariant>
#include <QtEndian>

#include <cmath>
#include <cstring>
#include <limits>

namespace Tessel {

namespace {

QString key(char const* name) {
    return QString::fromLatin1(name);
}

QString quoted(QString const& identifier) {
    return QLatin1Char('"') + QString(identifier).replace(QLatin1Char('"'), QStringLiteral("\"\"")) +
           QLatin1Char('"');
}

/// The table of a type key, and the column of an attribute key.
QString tableOf(QString const& typeKey) {
    return typeKey + QLatin1Char('s');
}
QString columnOf(QByteArray const& attributeKey) {
    return QString::fromUtf8(attributeKey).replace(QLatin1Char('-'), QLatin1Char('_'));
}

bool isUuid(QString const& id) {
    static QRegularExpression const s_uuid(
        QStringLiteral("^[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}$"));
    return s_uuid.match(id).hasMatch();
}

// --- Values between their bytes and the text of a column

QString floatText(float value) {
    if (std::isnan(value)) {
        return QStringLiteral("NaN");
    }
    if (std::isinf(value)) {
        return value > 0 ? QStringLiteral("Infinity") : QStringLiteral("-Infinity");
    }
    // Nine significant digits read back to the same float.
    return QString::number(static_cast<double>(value), 'g', 9);
}

bool parseFloat(QString const& text, float& value) {
    if (text == QLatin1String("NaN")) {
        value = std::numeric_limits<float>::quiet_NaN();
        return true;
    }
    if (text == QLatin1String("Infinity") || text == QLatin1String("-Infinity")) {
        value = text.startsWith(QLatin1Char('-')) ? -std::numeric_limits<float>::infinity()
                                                  : std::numeric_limits<float>::infinity();
        return true;
    }
    bool ok = false;
    value = text.toFloat(&ok);
    return ok;
}

std::vector<float> floatsOf(QByteArray const& bytes) {
    std::vector<float> values(static_cast<std::size_t>(bytes.size()) / sizeof(float));
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = qFromLittleEndian<float>(bytes.constData() + i * sizeof(float));
    }
    return values;
}

void appendFloat(QByteArray& bytes, float value) {
    char raw[sizeof(float)];
    qToLittleEndian<float>(value, raw);
    bytes.append(raw, sizeof(raw));
}

QString floatArrayText(QByteArray const& bytes) {
    QStringList numbers;
    for (float value : floatsOf(bytes)) {
        numbers << floatText(value);
    }
    return QLatin1Char('{') + numbers.join(QLatin1Char(',')) + QLatin1Char('}');
}

/// The numbers of an array's text ("{1,2}"), or of a composite's ("(1,2)"), in order.
bool appendFloats(QString const& list, QByteArray& bytes) {
    for (QString const& number : list.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        float value = 0;
        if (!parseFloat(number.trimmed(), value)) {
            return false;
        }
        appendFloat(bytes, value);
    }
    return true;
}

QString bezierArrayText(QByteArray const& bytes) {
    constexpr int kNodeFloats = 9;
    std::vector<float> const values = floatsOf(bytes);
    QStringList nodes;
    for (std::size_t i = 0; i + kNodeFloats <= values.size(); i += kNodeFloats) {
        QStringList numbers;
        for (int j = 0; j < kNodeFloats; ++j) {
            numbers << floatText(values[i + static_cast<std::size_t>(j)]);
        }
        nodes << QStringLiteral("\"(%1)\"").arg(numbers.join(QLatin1Char(',')));
    }
    return QLatin1Char('{') + nodes.join(QLatin1Char(',')) + QLatin1Char('}');
}

bool bezierArrayBytes(QString const& text, QByteArray& bytes) {
    static QRegularExpression const s_node(QStringLiteral("\\(([^)]*)\\)"));
    auto matches = s_node.globalMatch(text);
    while (matches.hasNext()) {
        if (!appendFloats(matches.next().captured(1), bytes)) {
            return false;
        }
    }
    return true;
}

bool isFloatPair(unsigned base) {
    return base == Kelp::TYPE_VECTOR2_FLOAT32 || base == Kelp::TYPE_LOCATION2_FLOAT32 ||
           base == Kelp::TYPE_SIZE2_FLOAT32;
}

bool isInt64(unsigned base) {
    return base == Kelp::TYPE_INT64 || base == Kelp::TYPE_UINT64 || base == Kelp::TYPE_TIMESTAMP;
}

/// The SQL text of a value for a column of `sqlType`, and the SQL type to cast it to; a null text when
/// the column can't hold it.
QString columnText(QString const& sqlType, unsigned typeCode, QByteArray const& bytes) {
    bool const vector = (typeCode & Kelp::TYPE_VECTOR_FLAG) != 0;
    unsigned const base = typeCode & ~Kelp::TYPE_VECTOR_FLAG;
    if (sqlType == QLatin1String("bytea")) {
        return QStringLiteral("\\x") + QString::fromLatin1(bytes.toHex());
    }
    if (vector) {
        if (sqlType == QLatin1String("_float4") && base == Kelp::TYPE_FLOAT32 && bytes.size() % 4 == 0) {
            return floatArrayText(bytes);
        }
        if (sqlType == QLatin1String("_bezier_node") && base == Kelp::TYPE_BEZIER_NODE &&
            bytes.size() % 36 == 0) {
            return bezierArrayText(bytes);
        }
        return QString();
    }
    if (sqlType == QLatin1String("float4") && base == Kelp::TYPE_FLOAT32 && bytes.size() == 4) {
        return floatText(floatsOf(bytes).front());
    }
    if (sqlType == QLatin1String("_float4") && isFloatPair(base) && bytes.size() == 8) {
        return floatArrayText(bytes);
    }
    if (sqlType == QLatin1String("int4") && base == Kelp::TYPE_INT32 && bytes.size() == 4) {
        return QString::number(qFromLittleEndian<qint32>(bytes.constData()));
    }
    if (sqlType == QLatin1String("int8") && isInt64(base) && bytes.size() == 8) {
        return QString::number(qFromLittleEndian<qint64>(bytes.constData()));
    }
    if (sqlType == QLatin1String("bool") && base == Kelp::TYPE_BOOL && bytes.size() == 1 &&
        (bytes[0] == 0 || bytes[0] == 1)) {
        return bytes[0] ? QStringLiteral("true") : QStringLiteral("false");
    }
    if (sqlType == QLatin1String("text") && base == Kelp::TYPE_STRING && !bytes.contains('\0')) {
        QString const text = QString::fromUtf8(bytes);
        return text.toUtf8() == bytes ? text : QString();
    }
    return QString();
}

/// The expression that reads a column as text: bytes in hex, whatever the connection's output format for
/// them, and the rest in PostgreSQL's text form.
QString columnAsText(QString const& column, QString const& sqlType) {
    return sqlType == QLatin1String("bytea") ? QStringLiteral("encode(%1, 'hex')").arg(quoted(column))
                                             : quoted(column) + QStringLiteral("::text");
}

/// The bytes of a column's text (`columnAsText`); false when the text can't be read.
bool columnBytes(QString const& sqlType, QString const& text, QByteArray& bytes) {
    bytes.clear();
    if (sqlType == QLatin1String("bytea")) {
        bytes = QByteArray::fromHex(text.toLatin1());
        return true;
    }
    if (sqlType == QLatin1String("_float4")) {
        return text.startsWith(QLatin1Char('{')) && appendFloats(text.mid(1, text.size() - 2), bytes);
    }
    if (sqlType == QLatin1String("_bezier_node")) {
        return bezierArrayBytes(text, bytes);
    }
    if (sqlType == QLatin1String("float4")) {
        float value = 0;
        if (!parseFloat(text, value)) {
            return false;
        }
        appendFloat(bytes, value);
        return true;
    }
    bool ok = true;
    if (sqlType == QLatin1String("int4")) {
        char raw[4];
        qToLittleEndian<qint32>(text.toInt(&ok), raw);
        bytes = QByteArray(raw, sizeof(raw));
    } else if (sqlType == QLatin1String("int8")) {
        char raw[8];
        qToLittleEndian<qint64>(text.toLongLong(&ok), raw);
        bytes = QByteArray(raw, sizeof(raw));
    } else if (sqlType == QLatin1String("bool")) {
        bytes = QByteArray(1, text == QLatin1String("true") || text == QLatin1String("t") ? 1 : 0);
    } else if (sqlType == QLatin1String("text")) {
        bytes = text.toUtf8();
    } else {
        return false;
    }
    return ok;
}

/// The stored form of a value read from a column.
QJsonObject storedAttribute(ServerNodeTypeDefinition::AttributeDefinition const& definition,
                            QByteArray const& bytes) {
    QJsonObject attribute{{key(StoredKey::name), QString::fromUtf8(definition.name)},
                          {key(StoredKey::typeCode), static_cast<qint64>(definition.typeCode)}};
    if ((definition.typeCode & Kelp::TYPE_VECTOR_FLAG) == 0) {
        attribute.insert(key(StoredKey::value), QString::fromLatin1(bytes.toBase64()));
        return attribute;
    }
    attribute.insert(key(StoredKey::values), QString::fromLatin1(bytes.toBase64()));
    attribute.insert(key(StoredKey::size),
                     definition.valueSize ? bytes.size() / static_cast<int>(definition.valueSize) : 0);
    return attribute;
}

QByteArray storedBytes(QJsonObject const& attribute) {
    QJsonValue const value = attribute.contains(key(StoredKey::values))
                                 ? attribute.value(key(StoredKey::values))
                                 : attribute.value(key(StoredKey::value));
    return QByteArray::fromBase64(value.toString().toLatin1());
}

QString failed(QSqlQuery const& query, QString const& what) {
    return QStringLiteral("%1: %2").arg(what, query.lastError().text());
}

} // namespace

PostgresDocumentStore::PostgresDocumentStore(QString connectionInfo,
                                             QList<std::shared_ptr<DBMigrationList>> chains)
    : m_connectionInfo(std::move(connectionInfo)), m_chains(std::move(chains)) {}

PostgresDocumentStore::~PostgresDocumentStore() {
    // Prepared statements go before their connection.
    m_statements.clear();
}

QString PostgresDocumentStore::location(QByteArray const& id) const {
    return QStringLiteral("postgres document '%1'").arg(QString::fromUtf8(id));
}

SqlConnection* PostgresDocumentStore::connection(QString& error) {
    return openOnce(
        m_connection, [this](SqlConnection& connection) { return connection.openPostgres(m_connectionInfo); },
        m_chains, error);
}

PostgresDocumentStore::Columns const& PostgresDocumentStore::columnsOf(QString const& table) {
    auto found = m_tables.find(table);
    if (found != m_tables.end()) {
        return found.value();
    }
    Columns columns;
    QSqlQuery& query = prepared(QStringLiteral("SELECT column_name, udt_name FROM information_schema.columns "
                                               "WHERE table_schema = current_schema() AND table_name = ?"));
    query.addBindValue(table);
    if (query.exec()) {
        while (query.next()) {
            columns.emplace(query.value(0).toString(), query.value(1).toString());
        }
    }
    return m_tables.insert(table, columns).value();
}

QSqlQuery& PostgresDocumentStore::prepared(QString const& statement) {
    auto found = m_statements.find(statement);
    if (found == m_statements.end()) {
        QSqlQuery query(m_connection->database());
        query.prepare(statement);
        found = m_statements.insert(statement, query);
    }
    return found.value();
}

bool PostgresDocumentStore::write(QByteArray const& id, ServerDocumentType const& type,
                                  QJsonObject const& stored, StoredListing const& listing, QString& error) {
    SqlConnection* const database = connection(error);
    if (!database) {
        return false;
    }
    auto const fail = [&](QString reason) {
        database->rollback();
        error = QStringLiteral("Can't store %1: %2").arg(location(id), reason);
        return false;
    };
    if (!database->begin()) {
        error = database->lastError();
        return false;
    }
    if (!writeListing(*database, id, type.name, listing, error)) {
        return fail(error);
    }
    QJsonObject info = stored;
    info.remove(key(StoredKey::nodes));
    QSqlQuery& update = prepared(QStringLiteral("UPDATE documents SET info = CAST(? AS jsonb) WHERE id = ?"));
    update.addBindValue(QString::fromUtf8(QJsonDocument(info).toJson(QJsonDocument::Compact)));
    update.addBindValue(QString::fromUtf8(id));
    QSqlQuery& clear = prepared(QStringLiteral("DELETE FROM nodes WHERE document_id = ?"));
    clear.addBindValue(QString::fromUtf8(id));
    if (!update.exec()) {
        return fail(failed(update, QStringLiteral("the document's row")));
    }
    if (!clear.exec()) {
        return fail(failed(clear, QStringLiteral("the document's former nodes")));
    }
    // Parents come before their children in the stored form, as the rows of children need their parents.
    for (QJsonValue const& node : stored.value(key(StoredKey::nodes)).toArray()) {
        if (!writeNode(id, type, node.toObject(), error)) {
            return fail(error);
        }
    }
    if (!database->commit()) {
        return fail(database->lastError());
    }
    return true;
}

bool PostgresDocumentStore::writeNode(QByteArray const& documentId, ServerDocumentType const& type,
                                      QJsonObject const& node, QString& error) {
    QString const id = node.value(key(StoredKey::id)).toString();
    QString const parent = node.value(key(StoredKey::parentId)).toString();
    QString const typeKey = node.value(key(StoredKey::type)).toString();
    if (!isUuid(id) || (!parent.isEmpty() && !isUuid(parent))) {
        error = QStringLiteral("node '%1' has an id that is no UUID in lower case").arg(id);
        return false;
    }
    QString const table = tableOf(typeKey);
    Columns const& columns = columnsOf(table);
    ServerNodeTypeDefinition const* const definition = type.nodeTypes.type(typeKey.toUtf8());
    QStringList names;
    QStringList texts;
    QStringList casts;
    QJsonArray leftovers;
    for (QJsonValue const& value : node.value(key(StoredKey::attributes)).toArray()) {
        QJsonObject const attribute = value.toObject();
        QByteArray const name = attribute.value(key(StoredKey::name)).toString().toUtf8();
        auto const typeCode = static_cast<unsigned>(attribute.value(key(StoredKey::typeCode)).toDouble());
        auto const column = columns.find(columnOf(name));
        QString const text = column != columns.end() && column->first != QLatin1String(StoredKey::id) &&
                                     definition && definition->attributeTypeDefinition(name, typeCode)
                                 ? columnText(column->second, typeCode, storedBytes(attribute))
                                 : QString();
        if (text.isNull()) {
            leftovers.append(attribute);
            continue;
        }
        names << quoted(column->first);
        texts << text;
        casts << QStringLiteral("CAST(? AS %1)")
                     .arg(column->second.startsWith(QLatin1Char('_'))
                              ? quoted(column->second.mid(1)) + QStringLiteral("[]")
                              : quoted(column->second));
    }
    QSqlQuery& insertNode =
        prepared(QStringLiteral("INSERT INTO nodes (id, document_id, parent_id, type, name, attributes) "
                                "VALUES (CAST(? AS uuid), ?, CAST(? AS uuid), ?, ?, ?)"));
    insertNode.addBindValue(id);
    insertNode.addBindValue(QString::fromUtf8(documentId));
    insertNode.addBindValue(parent.isEmpty() ? QVariant(QVariant::String) : QVariant(parent));
    insertNode.addBindValue(typeKey);
    insertNode.addBindValue(node.value(key(StoredKey::name)).toString());
    insertNode.addBindValue(leftovers.isEmpty()
                                ? QVariant(QVariant::ByteArray)
                                : QVariant(QJsonDocument(leftovers).toJson(QJsonDocument::Compact)));
    if (!insertNode.exec()) {
        error = failed(insertNode, QStringLiteral("node '%1'").arg(id));
        return false;
    }
    if (names.isEmpty()) {
        return true;
    }
    QSqlQuery& insertValues =
        prepared(QStringLiteral("INSERT INTO %1 (id, %2) VALUES (CAST(? AS uuid), %3)")
                     .arg(quoted(table), names.join(QStringLiteral(", ")), casts.join(QStringLiteral(", "))));
    insertValues.addBindValue(id);
    for (QString const& text : texts) {
        insertValues.addBindValue(text);
    }
    if (!insertValues.exec()) {
        error = failed(insertValues, QStringLiteral("the values of node '%1'").arg(id));
        return false;
    }
    return true;
}

DocumentStore::ReadResult PostgresDocumentStore::read(QByteArray const& id, ServerDocumentType const& type,
                                                      QJsonObject& stored, QString& error) {
    SqlConnection* const database = connection(error);
    if (!database) {
        return ReadResult::Failed;
    }
    QSqlQuery& document = prepared(QStringLiteral("SELECT info::text FROM documents WHERE id = ?"));
    document.addBindValue(QString::fromUtf8(id));
    if (!document.exec()) {
        error = failed(document, location(id));
        return ReadResult::Failed;
    }
    if (!document.next()) {
        return ReadResult::Missing;
    }
    QJsonObject result = QJsonDocument::fromJson(document.value(0).toString().toUtf8()).object();
    document.finish();

    QSqlQuery& nodes = prepared(QStringLiteral(
        "SELECT id::text, parent_id::text, type, name, attributes FROM nodes WHERE document_id = ?"));
    nodes.addBindValue(QString::fromUtf8(id));
    if (!nodes.exec()) {
        error = failed(nodes, location(id));
        return ReadResult::Failed;
    }
    std::map<QString, QJsonObject> byId;
    QStringList order;
    while (nodes.next()) {
        QJsonObject node{
            {key(StoredKey::id), nodes.value(0).toString()},
            {key(StoredKey::type), nodes.value(2).toString()},
            {key(StoredKey::name), nodes.value(3).toString()},
            {key(StoredKey::attributes), QJsonDocument::fromJson(nodes.value(4).toByteArray()).array()}};
        if (!nodes.value(1).isNull()) {
            node.insert(key(StoredKey::parentId), nodes.value(1).toString());
        }
        order << nodes.value(0).toString();
        byId.emplace(order.last(), node);
    }
    nodes.finish();
    if (!readValues(id, type, byId, error)) {
        return ReadResult::Failed;
    }
    QJsonArray array;
    for (QString const& nodeId : order) {
        array.append(byId[nodeId]);
    }
    result.insert(key(StoredKey::nodes), array);
    // The tables are carried forward by the database chains: what they hold is this release's form.
    JSONMigrations::instance().markCurrent(type.name, result);
    stored = result;
    return ReadResult::Found;
}

bool PostgresDocumentStore::readValues(QByteArray const& documentId, ServerDocumentType const& type,
                                       std::map<QString, QJsonObject>& nodes, QString& error) {
    QSet<QString> typeKeys;
    for (auto const& node : nodes) {
        typeKeys.insert(node.second.value(key(StoredKey::type)).toString());
    }
    for (QString const& typeKey : typeKeys) {
        ServerNodeTypeDefinition const* const definition = type.nodeTypes.type(typeKey.toUtf8());
        Columns const& columns = columnsOf(tableOf(typeKey));
        if (!definition || columns.empty()) {
            continue;
        }
        // The columns of the attributes that this release's type declares, in its order.
        std::vector<std::pair<ServerNodeTypeDefinition::AttributeDefinition const*, QString>> read;
        QStringList selected{QStringLiteral("id::text")};
        for (auto const& attribute : definition->attributes()) {
            auto const column = columns.find(columnOf(attribute.name));
            if (column != columns.end() && column->first != QLatin1String(StoredKey::id)) {
                read.emplace_back(&attribute, column->second);
                selected << columnAsText(column->first, column->second);
            }
        }
        QSqlQuery& query =
            prepared(QStringLiteral("SELECT %1 FROM %2 WHERE id IN (SELECT id FROM nodes WHERE "
                                    "document_id = ?)")
                         .arg(selected.join(QStringLiteral(", ")), quoted(tableOf(typeKey))));
        query.addBindValue(QString::fromUtf8(documentId));
        if (!query.exec()) {
            error =
                failed(query, QStringLiteral("the values of '%1' in %2").arg(typeKey, location(documentId)));
            return false;
        }
        while (query.next()) {
            QJsonObject& node = nodes[query.value(0).toString()];
            QJsonArray attributes = node.value(key(StoredKey::attributes)).toArray();
            for (std::size_t i = 0; i < read.size(); ++i) {
                QVariant const value = query.value(static_cast<int>(i) + 1);
                QByteArray bytes;
                if (value.isNull()) {
                    continue;
                }
                if (!columnBytes(read[i].second, value.toString(), bytes)) {
                    error = QStringLiteral("the value of '%1' of node '%2' in %3 can't be read: %4")
                                .arg(QString::fromUtf8(read[i].first->name), query.value(0).toString(),
                                     location(documentId), value.toString());
                    return false;
                }
                attributes.append(storedAttribute(*read[i].first, bytes));
            }
            node.insert(key(StoredKey::attributes), attributes);
        }
        query.finish();
    }
    return true;
}

bool PostgresDocumentStore::remove(QByteArray const& id, QString& error) {
    SqlConnection* const database = connection(error);
    return database && removeListing(*database, id, error);
}

} // namespace Tessel
