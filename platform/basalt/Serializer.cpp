#include "platform/basalt/Serializer.hpp"

#include "platform/cobalt/Color.hpp"
#include "platform/cobalt/StringUtils.hpp"
#include "platform/cobalt/TimeStamp.hpp"
#include "platform/fathom/Vector.hpp"

#include <typeindex>
#include <unordered_map>

namespace Basalt {

namespace {

std::unordered_map<std::type_index, QString> buildKnownNames() {
    return {
        {typeid(float), QStringLiteral("float")},
        {typeid(int), QStringLiteral("int")},
        {typeid(long), QStringLiteral("long")},
        {typeid(unsigned long), QStringLiteral("unsigned long")},
        {typeid(bool), QStringLiteral("bool")},
        {typeid(QString), QStringLiteral("string")},
        {typeid(Cobalt::ColorPMA), QStringLiteral("color")},
        {typeid(Cobalt::TimeStamp), QStringLiteral("timestamp")},
        {typeid(Fathom::Vector2T<float>), QStringLiteral("vector2:float")},
        {typeid(Fathom::Vector2T<int>), QStringLiteral("vector2:int")},
    };
}

} // namespace

QString Serializer::tagName(std::type_info const& type) {
    static std::unordered_map<std::type_index, QString> const knownNames = buildKnownNames();
    auto const known = knownNames.find(std::type_index(type));
    if (known != knownNames.end()) {
        return known->second;
    }
    return QString::fromLatin1(Cobalt::StringUtils::demangle(type.name()));
}

} // namespace Basalt
