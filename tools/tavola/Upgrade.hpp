#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

namespace Tavola {

QString upgradeHelp();
/// `tavola upgrade DIR [--postgres CONNINFO]`: carries a server's store forward to this release.
int runUpgrade(QStringList const& arguments, QTextStream& out, QTextStream& err);

} // namespace Tavola
