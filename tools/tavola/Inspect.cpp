#include "tools/tavola/Inspect.hpp"

#include "tools/tavola/Commands.hpp"
#include "tools/tavola/LocalSites.hpp"

#include "framework/CanvasElement.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ElementFactory.hpp"
#include "platform/tessel/JSONMigration.hpp"

#include <QJsonArray>

namespace Tavola {

namespace {

constexpr char inspectedId[] = "inspected";

QString versionsText(Tessel::JSONMigrationReport const& report) {
    return QStringLiteral("stored at version %1 of its chain, read at version %2 (%3 steps ran)")
        .arg(report.fromVersion)
        .arg(report.toVersion)
        .arg(report.stepsRun.size());
}

/// The value an attribute holds on the user layer as text; a list as its count of values. Empty when it
/// holds nothing written.
QString valueText(Basalt::Attribute& attribute, Kelp::TypeRegistry const& registry) {
    unsigned typeCode = 0;
    unsigned valueSize = 0;
    auto const serializer = registry.createSerializer(&attribute, typeCode, valueSize);
    if (serializer && (typeCode & Kelp::TYPE_VECTOR_FLAG) != 0) {
        QByteArray const values = serializer->serialize(attribute);
        return values.isEmpty() || valueSize == 0
                   ? QString()
                   : QStringLiteral("%1 values").arg(values.size() / valueSize);
    }
    return attribute.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER) ? attribute.asString() : QString();
}

/// Prints the element and everything below it, `depth` levels in.
void printTree(Tessel::Element& element, Tessel::ElementFactory const& factory,
               Kelp::TypeRegistry const& registry, int depth, QTextStream& out) {
    QString const indent(depth * 2, QLatin1Char(' '));
    out << indent << factory.keyOf(element);
    if (auto const* item = dynamic_cast<Datamodel::CanvasElement const*>(&element)) {
        out << " \"" << item->uiTitle() << "\"";
    }
    out << "  [" << element.name() << "]\n";
    std::vector<Tessel::Element*> children;
    for (Basalt::Node::Entry const& entry : element.attributes()) {
        if (auto* child = dynamic_cast<Tessel::Element*>(entry.second)) {
            children.push_back(child);
        } else if (QString const value = Tessel::Element::isSharedAttribute(*entry.second)
                                             ? valueText(*entry.second, registry)
                                             : QString();
                   !value.isEmpty()) {
            out << indent << "    " << entry.first << " = " << value << "\n";
        }
    }
    for (Tessel::Element* child : children) {
        printTree(*child, factory, registry, depth + 1, out);
    }
}

void inspect(QString const& path, QTextStream& out) {
    QByteArray type;
    QJsonObject stored = readStored(path, type);
    QJsonObject forward = stored;
    Tessel::JSONMigrationReport const report = Tessel::JSONMigrations::instance().migrate(type, forward);
    out << path << ": a \"" << type << "\" document of "
        << stored.value(QStringLiteral("nodes")).toArray().size() << " nodes, " << versionsText(report)
        << "\n";

    LocalSites sites;
    auto const server = sites.makeServer();
    sites.openStored(*server, inspectedId, stored);
    LocalClient reader(QStringLiteral("inspect"));
    sites.join(reader, *server, inspectedId, type);
    printTree(*reader.document->documentRoot(), *server->documentType(type)->factory,
              *reader.connection->typeRegistry(), 0, out);
}

} // namespace

QString inspectHelp() {
    return QStringLiteral(
        "usage: tavola inspect FILE\n"
        "\n"
        "Reads a stored document, brings it forward through the chain of its type to this release, and\n"
        "prints its element tree: each element's type key, title and name, and under it the values written\n"
        "on it (lists as their count of values). The file is only read.\n");
}

int runInspect(QStringList const& arguments, QTextStream& out, QTextStream& err) {
    QString file;
    if (!takeFileArgument("inspect", arguments, err, file)) {
        return 2;
    }
    return runGuarded("inspect", out, err, [&] { inspect(file, out); });
}

} // namespace Tavola
