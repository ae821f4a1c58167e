#include "tools/tavola/Accounts.hpp"

#include "platform/tessel/UserAccounts.hpp"

#include <QDir>

#include <cstdio>

namespace Tavola {

namespace {

/// The arguments after the action: --data DIR and the names.
struct AccountArguments {
    QString action;
    QString data;
    QStringList names;
};

bool parse(QStringList const& arguments, AccountArguments& parsed, QString& error) {
    QStringList rest = arguments;
    if (rest.isEmpty()) {
        error = QStringLiteral("an action is missing");
        return false;
    }
    parsed.action = rest.takeFirst();
    while (!rest.isEmpty()) {
        QString const argument = rest.takeFirst();
        if (argument == QLatin1String("--data")) {
            if (rest.isEmpty()) {
                error = QStringLiteral("--data needs a directory");
                return false;
            }
            parsed.data = rest.takeFirst();
        } else {
            parsed.names << argument;
        }
    }
    if (parsed.data.isEmpty()) {
        error = QStringLiteral("--data DIR is missing");
        return false;
    }
    return true;
}

/// The first line of standard input: a password is never an argument, where other users could read it.
QString passwordFromInput() {
    QTextStream in(stdin);
    return in.readLine();
}

int fail(char const* command, QString const& error, QTextStream& err, int status = 1) {
    err << "tavola " << command << ": " << error;
    Qt::endl(err);
    return status;
}

/// Loads the accounts of the data directory, lets `change` change them, and saves them.
int changeAccounts(char const* command, QString const& data, QTextStream& out, QTextStream& err,
                   std::function<bool(Tessel::UserAccounts&, QString&, QString&)> const& change) {
    QString const path = QDir(data).filePath(QLatin1String(Tessel::UserAccounts::fileName));
    Tessel::UserAccounts accounts;
    QString error;
    QString done;
    QDir().mkpath(data);
    if (!accounts.load(path, error) || !change(accounts, done, error) || !accounts.save(path, error)) {
        return fail(command, error, err);
    }
    out << done << "\n";
    out.flush();
    return 0;
}

} // namespace

QString userHelp() {
    return QStringLiteral(
        "usage: tavola user add --data DIR NAME\n"
        "       tavola user passwd --data DIR NAME\n"
        "\n"
        "Adds a user to the server whose data directory is DIR, or gives it a new password. The password is\n"
        "the first line of standard input. Passwords are kept only as salted PBKDF2 hashes in "
        "DIR/users.json;\n"
        "once a user exists, `tavola serve --data DIR` lets only users with their passwords in.\n");
}

int runUser(QStringList const& arguments, QTextStream& out, QTextStream& err) {
    AccountArguments parsed;
    QString error;
    if (!parse(arguments, parsed, error) || parsed.names.size() != 1 ||
        (parsed.action != QLatin1String("add") && parsed.action != QLatin1String("passwd"))) {
        return fail("user", error.isEmpty() ? QStringLiteral("expected add or passwd, and one NAME") : error,
                    err, 2);
    }
    QString const name = parsed.names.first();
    QString const password = passwordFromInput();
    return changeAccounts("user", parsed.data, out, err,
                          [&](Tessel::UserAccounts& accounts, QString& done, QString& failure) {
                              if (parsed.action == QLatin1String("add")) {
                                  unsigned const id = accounts.addUser(name, password, failure);
                                  done = QStringLiteral("user '%1' added, with id %2").arg(name).arg(id);
                                  return id != 0;
                              }
                              done = QStringLiteral("user '%1' has a new password").arg(name);
                              return accounts.setPassword(name, password, failure);
                          });
}

QString groupHelp() {
    return QStringLiteral("usage: tavola group add --data DIR NAME USER...\n"
                          "\n"
                          "Makes the group NAME of the server whose data directory is DIR hold the users "
                          "named, who must exist.\n");
}

int runGroup(QStringList const& arguments, QTextStream& out, QTextStream& err) {
    AccountArguments parsed;
    QString error;
    if (!parse(arguments, parsed, error) || parsed.action != QLatin1String("add") || parsed.names.isEmpty()) {
        return fail("group", error.isEmpty() ? QStringLiteral("expected add, a NAME and its USERs") : error,
                    err, 2);
    }
    QString const name = parsed.names.takeFirst();
    return changeAccounts(
        "group", parsed.data, out, err, [&](Tessel::UserAccounts& accounts, QString& done, QString& failure) {
            done = QStringLiteral("group '%1' holds %2 users").arg(name).arg(parsed.names.size());
            return accounts.setGroup(name, parsed.names, failure);
        });
}

QString guestHelp() {
    return QStringLiteral(
        "usage: tavola guest allow --data DIR\n"
        "       tavola guest block --data DIR\n"
        "\n"
        "Lets clients of the server whose data directory is DIR sign in as \"guest\", with no "
        "password,\nor stops them (the default). A guest opens what links to canvases "
        "grant.\n");
}

int runGuest(QStringList const& arguments, QTextStream& out, QTextStream& err) {
    AccountArguments parsed;
    QString error;
    bool const allow = !arguments.isEmpty() && arguments.first() == QLatin1String("allow");
    if (!parse(arguments, parsed, error) || !parsed.names.isEmpty() ||
        (!allow && parsed.action != QLatin1String("block"))) {
        return fail("guest", error.isEmpty() ? QStringLiteral("expected allow or block") : error, err, 2);
    }
    return changeAccounts(
        "guest", parsed.data, out, err, [&](Tessel::UserAccounts& accounts, QString& done, QString&) {
            accounts.setGuestsAllowed(allow);
            done = allow ? QStringLiteral("guests may sign in") : QStringLiteral("guests are blocked");
            return true;
        });
}

} // namespace Tavola
