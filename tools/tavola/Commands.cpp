#include "tools/tavola/Commands.hpp"

#include <exception>

namespace Tavola {

int runGuarded(char const* command, QTextStream& out, QTextStream& err, std::function<void()> const& body) {
    try {
        body();
        return 0;
    } catch (std::exception const& failure) {
        out.flush();
        err << "tavola " << command << ": " << failure.what();
        Qt::endl(err);
        return 1;
    }
}

bool takeFileArgument(char const* command, QStringList const& arguments, QTextStream& err, QString& file) {
    if (arguments.size() != 1) {
        err << "tavola " << command << ": "
            << (arguments.isEmpty() ? QStringLiteral("a FILE is missing")
                                    : QStringLiteral("unexpected argument '%1'").arg(arguments.at(1)))
            << " (see tavola " << command << " --help)";
        Qt::endl(err);
        return false;
    }
    file = arguments.first();
    return true;
}

} // namespace Tavola
