#include "platform/cobalt/VersionString.hpp"

#include <QStringList>

#include <algorithm>

namespace Cobalt {

namespace {

int leadingNumber(QString const& component) {
    int digits = 0;
    while (digits < component.size() && component.at(digits).isDigit()) {
        ++digits;
    }
    return digits == 0 ? 0 : component.left(digits).toInt();
}

} // namespace

VersionString::VersionString(QString const& text) : m_text(text) {
    QString const trimmed = text.trimmed();
    if (trimmed.isEmpty()) {
        return;
    }
    for (QString const& component : trimmed.split(QLatin1Char('.'))) {
        m_components.append(leadingNumber(component.trimmed()));
    }
}

int VersionString::compare(VersionString const& other) const {
    int const count = std::max(m_components.size(), other.m_components.size());
    for (int i = 0; i < count; ++i) {
        int const mine = m_components.value(i, 0);
        int const theirs = other.m_components.value(i, 0);
        if (mine != theirs) {
            return mine < theirs ? -1 : 1;
        }
    }
    return 0;
}

} // namespace Cobalt
