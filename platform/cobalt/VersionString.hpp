#pragma once

#include <QString>
#include <QVector>

namespace Cobalt {

/// A dotted version such as "3.2.0", compared component by component as numbers. A missing component counts
/// as 0, so "3.2" equals "3.2.0". A component's leading digits are its number ("2-beta" is 2); a component
/// without digits is 0.
class VersionString {
public:
    VersionString() = default;
    explicit VersionString(QString const& text);

    QString const& toString() const { return m_text; }
    /// The numbers of the components, in order.
    QVector<int> const& components() const { return m_components; }
    bool isEmpty() const { return m_components.isEmpty(); }

    bool operator<(VersionString const& other) const { return compare(other) < 0; }
    bool operator>(VersionString const& other) const { return compare(other) > 0; }
    bool operator<=(VersionString const& other) const { return compare(other) <= 0; }
    bool operator>=(VersionString const& other) const { return compare(other) >= 0; }
    bool operator==(VersionString const& other) const { return compare(other) == 0; }
    bool operator!=(VersionString const& other) const { return compare(other) != 0; }

    /// Negative, zero or positive as this version is below, equal to or above `other`.
    int compare(VersionString const& other) const;

private:
    QString m_text;
    QVector<int> m_components;
};

} // namespace Cobalt
