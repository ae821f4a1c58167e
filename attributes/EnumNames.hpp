#pragma once

#include "platform/cobalt/ArrayMap.hpp"

#include <QByteArray>

#include <initializer_list>

namespace Basalt {

/// One row of an enumeration's name table.
struct EnumName {
    char const* name;
    int value;
};

/// The names of an enumeration: a flat map from lower-cased name to number, sorted byte-wise for a binary
/// search by name; a search by number scans it. Shared by every attribute of the enumeration and never
/// owned by them.
class EnumNames {
public:
    /// Reads the rows up to the first one with a null name. Names are lower-cased; a second row with the
    /// same name is ignored.
    EnumNames(std::initializer_list<EnumName> rows);

    /// The number of a name, which must already be lower-case; false if it isn't listed.
    bool find(QByteArray const& lowerName, int& value) const;
    /// Whether some row has this number.
    bool contains(int value) const;
    /// The name of a number as stored (lower-case); a null array if the number isn't listed.
    QByteArray name(int value) const;
    int size() const { return static_cast<int>(m_byName.size()); }

    /// The rows in order of their names.
    using Map = Cobalt::ArrayMap<QByteArray, int>;
    Map const& rows() const { return m_byName; }

private:
    Map m_byName;
};

} // namespace Basalt
