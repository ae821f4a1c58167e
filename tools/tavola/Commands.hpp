#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <functional>

namespace Tavola {

/// Runs a command's `body`: 0 when it returns, 1 with one line "tavola COMMAND: reason" on `err` when it
/// throws.
int runGuarded(char const* command, QTextStream& out, QTextStream& err, std::function<void()> const& body);

/// The one FILE argument of a command; false, with one line on `err`, when there isn't exactly one.
bool takeFileArgument(char const* command, QStringList const& arguments, QTextStream& err, QString& file);

} // namespace Tavola
