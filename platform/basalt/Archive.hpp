#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include <memory>
#include <utility>

namespace Basalt {

class ArchiveIterator;

/// One element of an archive: a tag (the kind of value), an optional name (the attribute's key), a text,
/// named properties and child elements. A handle: copies share the same element. A default-constructed
/// element is null; operations on a null element do nothing and reads give empty results.
class ArchiveElement {
public:
    ArchiveElement() = default;

    bool isNull() const { return !m_data; }
    QString const& tag() const;
    /// The element's text.
    QString get() const;
    void set(QString const& text);
    QString const& name() const;
    void setName(QString const& name);
    /// Adds a named property ("type" and the like).
    void add(QString const& name, QString const& value);
    /// The property's value; a null string when absent.
    QString property(QString const& name) const;
    QVector<std::pair<QString, QString>> properties() const;
    /// Adds a child. A null child is ignored.
    void add(ArchiveElement const& child);
    ArchiveIterator children() const;
    int childCount() const;

private:
    friend class Archive;
    struct Data {
        QString tag;
        QString name;
        QString text;
        QVector<std::pair<QString, QString>> properties;
        QVector<ArchiveElement> children;
    };
    explicit ArchiveElement(std::shared_ptr<Data> data) : m_data(std::move(data)) {}

    std::shared_ptr<Data> m_data;
};

/// Walks the children of an element: `for (auto it = e.children(); it; ++it) use(*it);`
class ArchiveIterator {
public:
    ArchiveIterator() = default;
    explicit operator bool() const { return m_index < m_children.size(); }
    ArchiveElement const& operator*() const { return m_children.at(m_index); }
    ArchiveElement const* operator->() const { return &m_children.at(m_index); }
    ArchiveIterator& operator++() {
        ++m_index;
        return *this;
    }

private:
    friend class ArchiveElement;
    explicit ArchiveIterator(QVector<ArchiveElement> children) : m_children(std::move(children)) {}

    QVector<ArchiveElement> m_children;
    int m_index = 0;
};

/// Hands out elements and holds the tree written into it. It carries the layer mask that tells attributes
/// which stored layers to write: bit n stands for layer n (bit 0 the default layer ... bit 3 the layer
/// above the user's).
///
/// The text form is JSON, so an archive can be stored and read back; reading refuses malformed text and
/// leaves the archive as it was.
class Archive {
public:
    /// Every stored layer.
    static constexpr unsigned LAYERS_ALL = 0xf;
    static constexpr unsigned layerBit(int layer) { return 1u << layer; }

    explicit Archive(unsigned layerMask = LAYERS_ALL) : m_layerMask(layerMask) {}
    virtual ~Archive() = default;

    unsigned layerMask() const { return m_layerMask; }
    void setLayerMask(unsigned mask) { m_layerMask = mask; }

    /// A new element with this tag, not yet placed anywhere. An archive may refuse an element by returning a
    /// null one; writers skip what is refused.
    virtual ArchiveElement createElement(QString const& tag);

    ArchiveElement const& root() const { return m_root; }
    void setRoot(ArchiveElement const& root) { m_root = root; }

    /// The tree under the root as JSON text; empty when there is no root.
    QByteArray toJson() const;
    /// Replaces the root with the tree in `json`. On malformed input returns false, keeps the old root and,
    /// if `error` is given, says what is wrong.
    bool fromJson(QByteArray const& json, QString* error = nullptr);

private:
    unsigned m_layerMask;
    ArchiveElement m_root;
};

} // namespace Basalt
