#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

namespace Tavola {

QString serveHelp();
/// `tavola serve --data DIR [--listen ADDRESS:PORT] [--postgres CONNINFO]`: a server process.
int runServe(QStringList const& arguments, QTextStream& out, QTextStream& err);

} // namespace Tavola
