#include "platform/basalt/Archive.hpp"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Basalt {

namespace {

QString const& emptyString() {
    static QString const empty;
    return empty;
}

// Keys of the JSON form; stored archives depend on them.
char const* const keyTag = "tag";
char const* const keyName = "name";
char const* const keyText = "text";
char const* const keyProperties = "properties";
char const* const keyChildren = "children";

} // namespace

QString const& ArchiveElement::tag() const {
    return m_data ? m_data->tag : emptyString();
}
QString ArchiveElement::get() const {
    return m_data ? m_data->text : QString();
}
QString const& ArchiveElement::name() const {
    return m_data ? m_data->name : emptyString();
}

void ArchiveElement::set(QString const& text) {
    if (m_data) {
        m_data->text = text;
    }
}

void ArchiveElement::setName(QString const& name) {
    if (m_data) {
        m_data->name = name;
    }
}

void ArchiveElement::add(QString const& name, QString const& value) {
    if (m_data) {
        m_data->properties.append({name, value});
    }
}

QString ArchiveElement::property(QString const& name) const {
    if (!m_data) {
        return QString();
    }
    for (auto const& property : m_data->properties) {
        if (property.first == name) {
            return property.second;
        }
    }
    return QString();
}

QVector<std::pair<QString, QString>> ArchiveElement::properties() const {
    return m_data ? m_data->properties : QVector<std::pair<QString, QString>>();
}

void ArchiveElement::add(ArchiveElement const& child) {
    if (m_data && !child.isNull()) {
        m_data->children.append(child);
    }
}

ArchiveIterator ArchiveElement::children() const {
    return m_data ? ArchiveIterator(m_data->children) : ArchiveIterator();
}

int ArchiveElement::childCount() const {
    return m_data ? m_data->children.size() : 0;
}

ArchiveElement Archive::createElement(QString const& tag) {
    auto data = std::make_shared<ArchiveElement::Data>();
    data->tag = tag;
    return ArchiveElement(std::move(data));
}

namespace {

QJsonObject toJsonObject(ArchiveElement const& element) {
    QJsonObject object;
    object.insert(keyTag, element.tag());
    if (!element.name().isEmpty()) {
        object.insert(keyName, element.name());
    }
    if (!element.get().isNull()) {
        object.insert(keyText, element.get());
    }
    QJsonArray properties;
    for (auto const& property : element.properties()) {
        properties.append(QJsonArray{property.first, property.second});
    }
    if (!properties.isEmpty()) {
        object.insert(keyProperties, properties);
    }
    QJsonArray children;
    for (auto child = element.children(); child; ++child) {
        children.append(toJsonObject(*child));
    }
    if (!children.isEmpty()) {
        object.insert(keyChildren, children);
    }
    return object;
}

bool fromJsonObject(Archive& archive, QJsonObject const& object, ArchiveElement& element, QString& error) {
    QJsonValue const tag = object.value(keyTag);
    if (!tag.isString()) {
        error = QStringLiteral("an element has no tag");
        return false;
    }
    element = archive.createElement(tag.toString());
    element.setName(object.value(keyName).toString());
    if (object.contains(keyText)) {
        element.set(object.value(keyText).toString());
    }
    for (QJsonValue const property : object.value(keyProperties).toArray()) {
        QJsonArray const pair = property.toArray();
        if (pair.size() != 2 || !pair.at(0).isString() || !pair.at(1).isString()) {
            error = QStringLiteral("a property of element '%1' is not a pair of texts").arg(tag.toString());
            return false;
        }
        element.add(pair.at(0).toString(), pair.at(1).toString());
    }
    for (QJsonValue const childValue : object.value(keyChildren).toArray()) {
        if (!childValue.isObject()) {
            error = QStringLiteral("a child of element '%1' is not an object").arg(tag.toString());
            return false;
        }
        ArchiveElement child;
        if (!fromJsonObject(archive, childValue.toObject(), child, error)) {
            return false;
        }
        element.add(child);
    }
    return true;
}

} // namespace

QByteArray Archive::toJson() const {
    if (m_root.isNull()) {
        return QByteArray();
    }
    return QJsonDocument(toJsonObject(m_root)).toJson(QJsonDocument::Compact);
}

bool Archive::fromJson(QByteArray const& json, QString* error) {
    QJsonParseError parseError;
    QJsonDocument const document = QJsonDocument::fromJson(json, &parseError);
    QString problem;
    ArchiveElement root;
    if (parseError.error != QJsonParseError::NoError) {
        problem = parseError.errorString();
    } else if (!document.isObject()) {
        problem = QStringLiteral("the archive is not a JSON object");
    } else {
        fromJsonObject(*this, document.object(), root, problem);
    }
    if (!problem.isEmpty()) {
        if (error) {
            *error = problem;
        }
        return false;
    }
    m_root = root;
    return true;
}

} // namespace Basalt
