#pragma once

#include <QSqlQuery>

namespace Tessel {

class SqlConnection;

/// Statements that the server and its migrations run again and again, prepared once per connection.
/// Lives no longer than its connection, on the connection's thread.
class PreparedSqlQueries {
public:
    explicit PreparedSqlQueries(SqlConnection& connection);

    /// "DELETE FROM nodes WHERE id = :id": takes a stored node away, and with it its subtree and its row in
    /// the table of its type, which both hang from it. Bind ":id" and execute.
    QSqlQuery& deleteFromNodes();

private:
    SqlConnection& m_connection;
    QSqlQuery m_deleteFromNodes;
    bool m_deleteFromNodesPrepared = false;
};

} // namespace Tessel
