#pragma once

#include <QStringList>

#include <QTextStream>

namespace Tavola {

/// `tavola demo`: a server and two clients in one process share a fresh canvas and walk through the life of
/// a note, printing what each site sees. Returns the exit status.
int runDemo(QStringList const& arguments, QTextStream& out, QTextStream& err);

/// The help text of `tavola demo`.
QString demoHelp();

} // namespace Tavola
