// tavola: the command-line tool of the data model.

#include "tools/tavola/Accounts.hpp"
#include "tools/tavola/Demo.hpp"
#include "tools/tavola/Inspect.hpp"
#include "tools/tavola/Repair.hpp"
#include "tools/tavola/Serve.hpp"
#include "tools/tavola/Upgrade.hpp"

#include <QCoreApplication>
#include <QStringList>
#include <QTextStream>

#include <cstdio>
#include <functional>
#include <map>

namespace {

struct Command {
    QString summary;
    std::function<QString()> help;
    std::function<int(QStringList const&, QTextStream&, QTextStream&)> run;
};

std::map<QString, Command> const& commands() {
    static std::map<QString, Command> const table{
        {QStringLiteral("demo"),
         {QStringLiteral("a server and two clients share a canvas and walk a note through its life"),
          Tavola::demoHelp, Tavola::runDemo}},
        {QStringLiteral("group"),
         {QStringLiteral("add a group of a server's users"), Tavola::groupHelp, Tavola::runGroup}},
        {QStringLiteral("guest"),
         {QStringLiteral("let clients sign in as the guest, or stop them"), Tavola::guestHelp,
          Tavola::runGuest}},
        {QStringLiteral("inspect"),
         {QStringLiteral("the element tree of a stored document, with types, titles and values"),
          Tavola::inspectHelp, Tavola::runInspect}},
        {QStringLiteral("repair"),
         {QStringLiteral("open a stored canvas with the server's operators, store it back, list the repairs"),
          Tavola::repairHelp, Tavola::runRepair}},
        {QStringLiteral("serve"),
         {QStringLiteral("run a server that clients reach over WebSockets"), Tavola::serveHelp,
          Tavola::runServe}},
        {QStringLiteral("user"),
         {QStringLiteral("add a user of a server, or give one a new password"), Tavola::userHelp,
          Tavola::runUser}},
        {QStringLiteral("upgrade"),
         {QStringLiteral("carry a server's store (database and stored documents) forward to this release"),
          Tavola::upgradeHelp, Tavola::runUpgrade}},
    };
    return table;
}

QString usage() {
    QString text = QStringLiteral("usage: tavola COMMAND [ARGUMENTS]\n\ncommands:\n");
    for (auto const& entry : commands()) {
        text += QStringLiteral("  %1  %2\n").arg(entry.first, -8).arg(entry.second.summary);
    }
    return text + QStringLiteral("\n'tavola COMMAND --help' tells more of a command.\n");
}

bool asksForHelp(QString const& argument) {
    return argument == QLatin1String("--help") || argument == QLatin1String("-h");
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty() || asksForHelp(arguments.first())) {
        out << usage();
        return arguments.isEmpty() ? 2 : 0;
    }
    QString const name = arguments.takeFirst();
    auto const command = commands().find(name);
    if (command == commands().end()) {
        err << "tavola: unknown command '" << name << "' (see tavola --help)";
        Qt::endl(err);
        return 2;
    }
    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        out << command->second.help();
        return 0;
    }
    return command->second.run(arguments, out, err);
}
