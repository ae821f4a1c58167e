#include "attributes/EnumNames.hpp"

namespace Basalt {

EnumNames::EnumNames(std::initializer_list<EnumName> rows) {
    for (EnumName const& row : rows) {
        if (!row.name) {
            break;
        }
        m_byName.emplace(QByteArray(row.name).toLower(), row.value);
    }
}

bool EnumNames::find(QByteArray const& lowerName, int& value) const {
    auto const found = m_byName.find(lowerName);
    if (found == m_byName.end()) {
        return false;
    }
    value = found->second;
    return true;
}

bool EnumNames::contains(int value) const {
    return !name(value).isNull();
}

QByteArray EnumNames::name(int value) const {
    for (auto const& row : m_byName) {
        if (row.second == value) {
            return row.first;
        }
    }
    return QByteArray();
}

} // namespace Basalt
