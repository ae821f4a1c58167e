#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

namespace Tavola {

/// `tavola repair FILE`: opens a stored canvas on a server with the canvas operators, stores it back and
/// lists what was repaired. Returns the exit status.
int runRepair(QStringList const& arguments, QTextStream& out, QTextStream& err);

/// The help text of `tavola repair`.
QString repairHelp();

} // namespace Tavola
