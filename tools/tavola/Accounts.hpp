#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

namespace Tavola {

QString userHelp();
/// `tavola user add|passwd --data DIR NAME`: a server's users; the password is read from standard input.
int runUser(QStringList const& arguments, QTextStream& out, QTextStream& err);

QString groupHelp();
/// `tavola group add --data DIR NAME USER...`: a server's groups of users.
int runGroup(QStringList const& arguments, QTextStream& out, QTextStream& err);

QString guestHelp();
/// `tavola guest allow|block --data DIR`: whether clients may sign in as the guest.
int runGuest(QStringList const& arguments, QTextStream& out, QTextStream& err);

} // namespace Tavola
