#include "platform/tessel/ElementArchive.hpp"

#include "platform/cobalt/StringUtils.hpp"
#include "platform/cobalt/Trace.hpp"

#include <QStringList>

#include <typeinfo>

namespace Tessel {

namespace {

// Collects the problems of one call: each is logged when it happens, and all of them reach the caller's
// text when the call ends.
class Problems {
public:
    Problems(char const* operation, QString* error) : m_operation(operation), m_error(error) {}
    Problems(Problems const&) = delete;
    Problems& operator=(Problems const&) = delete;
    ~Problems() {
        if (m_error) {
            *m_error = m_texts.join(QLatin1Char('\n'));
        }
    }

    void add(QString const& text) {
        Cobalt::Trace::warning("ElementArchive::%s # %s", m_operation, qPrintable(text));
        m_texts.append(text);
    }

private:
    char const* m_operation;
    QString* m_error;
    QStringList m_texts;
};

// Where an element sits in its tree, for messages: the names from the root down, joined by '/'.
QString childPath(QString const& parentPath, QString const& name) {
    QString const shown = name.isEmpty() ? QStringLiteral("<unnamed>") : name;
    return parentPath.isEmpty() ? shown : parentPath + QLatin1Char('/') + shown;
}

QString className(Element const& element) {
    return QString::fromLatin1(Cobalt::StringUtils::demangle(typeid(element).name()));
}

bool isElementEntry(Basalt::ArchiveElement const& entry) {
    return !entry.isNull() && entry.tag() == ElementArchive::elementTag();
}

QByteArray storedKey(Basalt::ArchiveElement const& entry) {
    return entry.property(ElementArchive::keyProperty()).toUtf8();
}

class TreeWriter {
public:
    TreeWriter(ElementFactory const& factory, Basalt::Archive& archive, Problems& problems)
        : m_factory(factory), m_archive(archive), m_problems(problems) {}

    // The entry of `element` and everything below it; null when it is left out.
    Basalt::ArchiveElement write(Element const& element, QString const& parentPath) const {
        QString const path = childPath(parentPath, QString::fromUtf8(element.name()));
        bool known = false;
        QByteArray const key = m_factory.keyOf(element, &known);
        if (!known) {
            m_problems.add(QStringLiteral("Element '%1' of class %2 has no type key in the factory; it is "
                                          "left out with its children")
                               .arg(path, className(element)));
            return Basalt::ArchiveElement();
        }
        Basalt::ArchiveElement entry = m_archive.createElement(ElementArchive::elementTag());
        if (entry.isNull()) {
            return entry;
        }
        if (!element.name().isEmpty()) {
            entry.setName(QString::fromUtf8(element.name()));
        }
        entry.add(ElementArchive::keyProperty(), QString::fromUtf8(key));
        if (!element.guid().isEmpty()) {
            entry.add(ElementArchive::guidProperty(), QString::fromUtf8(element.guid()));
        }
        writeAttributes(element, entry, path);
        return entry;
    }

private:
    // Values and child elements in the element's own order; refused or empty ones add nothing.
    void writeAttributes(Element const& element, Basalt::ArchiveElement& entry, QString const& path) const {
        for (Basalt::Node::Entry const& attribute : element.attributes()) {
            if (!attribute.second->isSerializable()) {
                continue;
            }
            if (auto const* child = dynamic_cast<Element const*>(attribute.second)) {
                entry.add(write(*child, path));
            } else {
                entry.add(attribute.second->serialize(m_archive));
            }
        }
    }

    ElementFactory const& m_factory;
    Basalt::Archive& m_archive;
    Problems& m_problems;
};

class TreeReader {
public:
    TreeReader(ElementFactory const& factory, Problems& problems)
        : m_factory(factory), m_problems(problems) {}

    // A new element of the entry's key with the entry's guid and name, nothing more yet; null when it
    // can't be made.
    std::unique_ptr<Element> make(Basalt::ArchiveElement const& entry, QString const& path) const {
        QByteArray const key = storedKey(entry);
        if (key.isEmpty()) {
            m_problems.add(
                QStringLiteral("Element '%1' has no type key; it is left out with its children").arg(path));
            return nullptr;
        }
        std::unique_ptr<Element> element(m_factory.create(key));
        if (!element) {
            m_problems.add(QStringLiteral("Element '%1' has the type key '%2', which the factory doesn't "
                                          "know; it is left out with its children")
                               .arg(path, QString::fromUtf8(key)));
            return nullptr;
        }
        restoreIdentity(*element, entry);
        return element;
    }

    static void restoreIdentity(Element& element, Basalt::ArchiveElement const& entry) {
        element.setGuid(entry.property(ElementArchive::guidProperty()).toUtf8());
        element.setName(entry.name().toUtf8());
    }

    // The values and the child elements of an entry, into its element. Each child joins its host before
    // its own values and children arrive, as in a live document, so that listeners that go through the
    // host hear of them.
    void fill(Element& element, Basalt::ArchiveElement const& entry, QString const& path) const {
        readValues(element, entry, path);
        for (auto child = entry.children(); child; ++child) {
            if (!isElementEntry(*child)) {
                continue;
            }
            QString const childEntryPath = childPath(path, child->name());
            if (std::unique_ptr<Element> made = make(*child, childEntryPath)) {
                Element& added = *made;
                element.addAttribute(made.release());
                fill(added, *child, childEntryPath);
            }
        }
    }

private:
    // The element's own deserialisation sees the value entries only, all at once, so that a class that
    // reads its values in its own way still can; element entries are not values.
    void readValues(Element& element, Basalt::ArchiveElement const& entry, QString const& path) const {
        Basalt::Archive scratch;
        Basalt::ArchiveElement values = scratch.createElement(entry.tag());
        for (auto child = entry.children(); child; ++child) {
            if (!isElementEntry(*child)) {
                values.add(*child);
            }
        }
        clearBeforeRestore(element, values);
        if (values.childCount() > 0 && !element.deserialize(values)) {
            m_problems.add(QStringLiteral("Element '%1' (%2) refused some of its stored values; they keep "
                                          "the values they had")
                               .arg(path, QString::fromUtf8(storedKey(entry))));
        }
    }

    // A stored value takes the place of what the element holds, whatever its constructor put there: a list
    // would otherwise be read after the values it already has. Nested nodes alike.
    static void clearBeforeRestore(Basalt::Attribute& target, Basalt::ArchiveElement const& stored) {
        for (auto child = stored.children(); child; ++child) {
            if (Basalt::Attribute* const attribute = target.attribute(child->name().toUtf8())) {
                attribute->clearBeforeRestore();
                clearBeforeRestore(*attribute, *child);
            }
        }
    }

    ElementFactory const& m_factory;
    Problems& m_problems;
};

// False, with the problem noted, unless `entry` is an element entry at all.
bool checkRootEntry(Basalt::ArchiveElement const& entry, Problems& problems) {
    if (isElementEntry(entry)) {
        return true;
    }
    problems.add(entry.isNull() ? QStringLiteral("There is no entry to read")
                                : QStringLiteral("The entry '%1' (tag '%2') is not an element entry")
                                      .arg(entry.name(), entry.tag()));
    return false;
}

} // namespace

QString const& ElementArchive::elementTag() {
    static QString const tag = QStringLiteral("tessel:element");
    return tag;
}

QString const& ElementArchive::keyProperty() {
    static QString const name = QStringLiteral("key");
    return name;
}

QString const& ElementArchive::guidProperty() {
    static QString const name = QStringLiteral("guid");
    return name;
}

Basalt::ArchiveElement ElementArchive::writeElementTree(Element const& root, ElementFactory const& factory,
                                                        Basalt::Archive& archive, QString* error) {
    Problems problems("writeElementTree", error);
    return TreeWriter(factory, archive, problems).write(root, QString());
}

std::unique_ptr<Element> ElementArchive::readElementTree(Basalt::ArchiveElement const& entry,
                                                         ElementFactory const& factory, QString* error) {
    Problems problems("readElementTree", error);
    if (!checkRootEntry(entry, problems)) {
        return nullptr;
    }
    QString const path = childPath(QString(), entry.name());
    TreeReader const reader(factory, problems);
    std::unique_ptr<Element> root = reader.make(entry, path);
    if (root) {
        reader.fill(*root, entry, path);
    }
    return root;
}

bool ElementArchive::readElementTreeInto(Element& root, Basalt::ArchiveElement const& entry,
                                         ElementFactory const& factory, QString* error) {
    Problems problems("readElementTreeInto", error);
    if (!checkRootEntry(entry, problems)) {
        return false;
    }
    bool known = false;
    QByteArray const key = factory.keyOf(root, &known);
    if (!known || key != storedKey(entry)) {
        problems.add(QStringLiteral("Element '%1' is stored with the type key '%2', but the element to read "
                                    "it into is of class %3, whose key is '%4'")
                         .arg(childPath(QString(), entry.name()), QString::fromUtf8(storedKey(entry)),
                              className(root), known ? QString::fromUtf8(key) : QStringLiteral("<none>")));
        return false;
    }
    TreeReader::restoreIdentity(root, entry);
    TreeReader(factory, problems).fill(root, entry, childPath(QString(), entry.name()));
    return true;
}

} // namespace Tessel
