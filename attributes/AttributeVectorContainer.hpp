#pragma once

#include "attributes/ValueTraits.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/Attribute.hpp"
#include "platform/basalt/AttributeEventListenerList.hpp"
#include "platform/basalt/Serializer.hpp"
#include "platform/cobalt/Color.hpp"
#include "platform/sienna/BezierNode.hpp"

#include <QStringList>

#include <typeinfo>
#include <vector>

namespace Basalt {

/// Base of attributes that hold several values. Owners follow its changes through `events()`.
class AttributeContainerBase : public Attribute {
public:
    using Attribute::Attribute;

    bool deserialize(ArchiveElement const& element) override = 0;
    QByteArray type() const override = 0;

    /// Where the container reports which values changed.
    AttributeEventListenerList& events() { return m_events; }

protected:
    /// Tells the owners, then the host's change observer.
    void send(AttributeEvent::Type type, unsigned long key);

private:
    AttributeEventListenerList m_events;
};

/// A list of values in one attribute, for float, int, long, `Cobalt::ColorPMA` and `Sienna::BezierNode`.
/// Each change is reported through `events()`: the whole list (type 2, key 0), an insertion (8), a removal
/// (16) or a new value (32), with the index as key.
template <typename T>
class AttributeVectorContainer : public AttributeContainerBase {
public:
    /// `clearOnDeserialize` makes `deserialize` replace the list rather than append to it.
    AttributeVectorContainer(Node* host, QByteArray const& name, bool clearOnDeserialize = false)
        : AttributeContainerBase(host, name), m_clearOnDeserialize(clearOnDeserialize) {}

    std::vector<T> const& values() const { return m_values; }
    std::size_t size() const { return m_values.size(); }
    T const& at(std::size_t index) const { return m_values.at(index); }
    bool clearsOnDeserialize() const { return m_clearOnDeserialize; }

    /// Replaces the whole list.
    void setValues(std::vector<T> values) {
        m_values = std::move(values);
        send(AttributeEvent::LIST_CHANGED, 0);
    }
    void append(T const& value) { insert(m_values.size(), value); }
    /// Inserts before `index`; an index past the end appends.
    void insert(std::size_t index, T const& value) {
        index = std::min(index, m_values.size());
        m_values.insert(m_values.begin() + static_cast<std::ptrdiff_t>(index), value);
        send(AttributeEvent::ELEMENT_INSERTED, index);
    }
    /// False if there is no such index.
    bool removeAt(std::size_t index) {
        if (index >= m_values.size()) {
            return false;
        }
        m_values.erase(m_values.begin() + static_cast<std::ptrdiff_t>(index));
        send(AttributeEvent::ELEMENT_REMOVED, index);
        return true;
    }
    /// False if there is no such index.
    bool replace(std::size_t index, T const& value) {
        if (index >= m_values.size()) {
            return false;
        }
        m_values[index] = value;
        send(AttributeEvent::ELEMENT_CHANGED, index);
        return true;
    }
    void clear() { setValues({}); }
    /// Empties the list, reporting it like `clear`, unless it is empty already.
    void clearBeforeRestore() override {
        if (!m_values.empty()) {
            clear();
        }
    }

    /// An element named after the attribute ("AttributeVectorContainer" without a name), with one child
    /// per value. Children the archive refuses are left out.
    ArchiveElement serialize(Archive& archive) const override {
        QString const tag =
            name().isEmpty() ? QStringLiteral("AttributeVectorContainer") : QString::fromUtf8(name());
        ArchiveElement element = archive.createElement(tag);
        if (element.isNull()) {
            return element;
        }
        element.setName(QString::fromUtf8(name()));
        element.add(QStringLiteral("type"), QString::fromUtf8(type()));
        static QString const valueTag = Serializer::tagName(typeid(T));
        for (T const& value : m_values) {
            ArchiveElement child = archive.createElement(valueTag);
            if (child.isNull()) {
                continue;
            }
            child.set(ValueTraits<T>::toText(value));
            element.add(child);
        }
        return element;
    }
    /// Appends one value per child, after emptying the list if it clears on deserialize; a child whose
    /// text can't be read gives the parser's result (0 for numbers, opaque black for colours, a zero node
    /// for Bézier nodes). Reports the whole list as changed unless it was and stays empty.
    bool deserialize(ArchiveElement const& element) override {
        bool const wasEmpty = m_values.empty();
        if (m_clearOnDeserialize && !wasEmpty) {
            m_values.clear();
        }
        for (auto child = element.children(); child; ++child) {
            T value{};
            ValueTraits<T>::parse(child->get(), value);
            m_values.push_back(value);
        }
        if (!wasEmpty || !m_values.empty()) {
            send(AttributeEvent::LIST_CHANGED, 0);
        }
        return true;
    }
    /// "vector:" and the name of T.
    QByteArray type() const override { return "vector:" + Serializer::tagName(typeid(T)).toUtf8(); }
    /// The values' texts joined with ", ".
    QString asString(bool* ok = nullptr, Layer = LAYER_CURRENT_VALUE) const override {
        if (ok) {
            *ok = true;
        }
        QStringList texts;
        for (T const& value : m_values) {
            texts.append(ValueTraits<T>::toText(value));
        }
        return texts.join(QStringLiteral(", "));
    }

private:
    std::vector<T> m_values;
    bool m_clearOnDeserialize;
};

extern template class AttributeVectorContainer<float>;
extern template class AttributeVectorContainer<int>;
extern template class AttributeVectorContainer<long>;
extern template class AttributeVectorContainer<Cobalt::ColorPMA>;
extern template class AttributeVectorContainer<Sienna::BezierNode>;

} // namespace Basalt
