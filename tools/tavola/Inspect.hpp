#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

namespace Tavola {

/// `tavola inspect FILE`: the element tree of a stored document, brought forward to this release, with each
/// element's type, title and the values written on it. Returns the exit status.
int runInspect(QStringList const& arguments, QTextStream& out, QTextStream& err);

/// The help text of `tavola inspect`.
QString inspectHelp();

} // namespace Tavola
