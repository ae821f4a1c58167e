#include "tools/tavola/Repair.hpp"

#include "tools/tavola/Commands.hpp"
#include "tools/tavola/LocalSites.hpp"

#include "canvas/SharedCanvas.hpp"
#include "operators/ServerOperators.hpp"
#include "platform/cobalt/TraceCapture.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/StoredDocument.hpp"

#include <QJsonArray>

#include <map>
#include <stdexcept>

namespace Tavola {

namespace {

constexpr char repairedId[] = "repaired";

using StoredNodes = std::map<QString, QJsonObject>;

StoredNodes nodesById(QJsonObject const& stored) {
    StoredNodes nodes;
    for (QJsonValue const& value : stored.value(QStringLiteral("nodes")).toArray()) {
        QJsonObject const node = value.toObject();
        nodes.emplace(node.value(QStringLiteral("id")).toString(), node);
    }
    return nodes;
}

/// An attribute's stored value, whatever its kind.
using StoredValues = std::map<QString, QJsonValue>;

StoredValues valuesOf(QJsonObject const& node) {
    StoredValues values;
    for (QJsonValue const& value : node.value(QStringLiteral("attributes")).toArray()) {
        QJsonObject const attribute = value.toObject();
        values[attribute.value(QStringLiteral("name")).toString()] =
            attribute.contains(QStringLiteral("values")) ? attribute.value(QStringLiteral("values"))
                                                         : attribute.value(QStringLiteral("value"));
    }
    return values;
}

QString nodeText(QJsonObject const& node) {
    QString const name = node.value(QStringLiteral("name")).toString();
    return QStringLiteral("%1 (%2)").arg(name.isEmpty() ? node.value(QStringLiteral("id")).toString() : name,
                                         node.value(QStringLiteral("type")).toString());
}

/// One line per node that came, went or whose values changed between the two stored forms.
QStringList changes(QJsonObject const& before, QJsonObject const& after) {
    StoredNodes const old = nodesById(before);
    StoredNodes const now = nodesById(after);
    QStringList lines;
    for (auto const& [id, node] : now) {
        auto const former = old.find(id);
        if (former == old.end()) {
            lines << QStringLiteral("added    ") + nodeText(node);
            continue;
        }
        StoredValues const was = valuesOf(former->second);
        QStringList changed;
        for (auto const& [name, value] : valuesOf(node)) {
            auto const previous = was.find(name);
            if (previous == was.end()) {
                changed << name + QStringLiteral(" (new)");
            } else if (previous->second != value) {
                changed << name;
            }
        }
        if (!changed.isEmpty()) {
            lines << QStringLiteral("changed  ") + nodeText(node) + QStringLiteral(": ") +
                         changed.join(QStringLiteral(", "));
        }
    }
    for (auto const& [id, node] : old) {
        if (!now.count(id)) {
            lines << QStringLiteral("removed  ") + nodeText(node);
        }
    }
    return lines;
}

void repair(QString const& path, QTextStream& out) {
    QByteArray type;
    QJsonObject const stored = readStored(path, type);
    if (type != Datamodel::SharedCanvas::documentType()) {
        throw std::runtime_error("'" + path.toStdString() + "' holds a \"" + type.toStdString() +
                                 "\" document; only canvases are repaired");
    }
    QJsonObject before = stored;
    Tessel::JSONMigrations::instance().migrate(type, before);
    // A repair pins nothing: no idle time.
    Datamodel::registerTavolaServerOperators(0.0f, {});

    LocalSites sites;
    auto const server = sites.makeServer();
    QJsonObject after;
    QStringList logged;
    {
        Cobalt::TraceCapture const repairs;
        after = Tessel::StoredDocument::fromDocument(*sites.openStored(*server, repairedId, stored));
        logged = repairs.messages();
    }
    QString error;
    if (!Tessel::StoredDocument::write(path, after, error)) {
        throw std::runtime_error(error.toStdString());
    }
    QStringList const changed = changes(before, after);
    out << path << ": stored back with " << changed.size() << " changes\n";
    for (QString const& line : logged) {
        out << "  logged   " << line << "\n";
    }
    for (QString const& line : changed) {
        out << "  " << line << "\n";
    }
}

} // namespace

QString repairHelp() {
    return QStringLiteral(
        "usage: tavola repair FILE\n"
        "\n"
        "Opens a stored canvas on a server in this process with the canvas operators, which create what it\n"
        "lacks and repair what is broken (fixed children, connectors whose ends are gone, depths, anchor "
        "ids,\n"
        "colour presets, text colours, slides that show nothing), then stores it back in FILE, whole or not "
        "at\n"
        "all, and lists what was logged and every node added, removed or changed.\n");
}

int runRepair(QStringList const& arguments, QTextStream& out, QTextStream& err) {
    QString file;
    if (!takeFileArgument("repair", arguments, err, file)) {
        return 2;
    }
    return runGuarded("repair", out, err, [&] { repair(file, out); });
}

} // namespace Tavola
