#include "platform/tessel/PreparedSqlQueries.hpp"

#include "platform/tessel/SqlConnection.hpp"

namespace Tessel {

PreparedSqlQueries::PreparedSqlQueries(SqlConnection& connection)
    : m_connection(connection), m_deleteFromNodes(connection.database()) {}

QSqlQuery& PreparedSqlQueries::deleteFromNodes() {
    // Prepared on first use: a connection whose store has no "nodes" yet must still make the object.
    if (!m_deleteFromNodesPrepared) {
        m_deleteFromNodes = QSqlQuery(m_connection.database());
        m_deleteFromNodesPrepared =
            m_deleteFromNodes.prepare(QStringLiteral("DELETE FROM nodes WHERE id = :id"));
    }
    return m_deleteFromNodes;
}

} // namespace Tessel
