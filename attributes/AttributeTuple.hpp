#pragma once

#include "attributes/AttributeFwd.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/fathom/Size.hpp"
#include "platform/fathom/Vector.hpp"

#include <QRegularExpression>

#include <array>
#include <memory>
#include <type_traits>

namespace Basalt {

/// Two number attributes shown as one value of the pair type T. The components are ordinary attributes of
/// the same host, named after the tuple with "-x" and "-y", and they are what a document stores: the tuple
/// itself isn't serialised. A listener of the tuple hears one change for a write of both components, and
/// one for a change that reached a single component from elsewhere.
template <typename T, typename Derived>
class AttributeTuple : public Attribute {
public:
    using Scalar = std::remove_cv_t<std::remove_reference_t<decltype(std::declval<T>()[0])>>;
    using Component = AttributeT<std::conditional_t<std::is_same_v<Scalar, int>, int, float>>;
    static constexpr int componentCount = 2;

    AttributeTuple(Node* host, QByteArray const& name, T const& defaultValue)
        : Attribute(host, name), m_components{{Component(host, name + "-x", defaultValue[0]),
                                               Component(host, name + "-y", defaultValue[1])}} {
        for (Component& component : m_components) {
            component.setOwnerShorthand(this); // which also brings their changes here
        }
        setSerializable(false);
    }

    /// The shown value of both components.
    T value() const { return valueOnLayer(LAYER_CURRENT_VALUE); }
    /// Both components' values of a layer, as `valueOnLayer` of a component reads it.
    T valueOnLayer(Layer layer) const {
        T result{};
        for (int i = 0; i < componentCount; ++i) {
            result[i] = m_components[i].valueOnLayer(layer); // in the component's own type: exact
        }
        return result;
    }
    operator T() const { return value(); }
    /// Component 0 or 1.
    Component& component(int index) { return m_components[index]; }
    Component const& component(int index) const { return m_components[index]; }

    /// Writes both components on LAYER_USER.
    Derived& operator=(T const& value) {
        ChangeScope scope(*this);
        for (int i = 0; i < componentCount; ++i) {
            m_components[i] = priv_unwrap(value, i);
        }
        return static_cast<Derived&>(*this);
    }

    bool set(float value, Layer layer = LAYER_USER, ValueUnit unit = UNIT_UNSPECIFIED) override {
        return setEach([&](Component& c, int) { return c.set(value, layer, unit); });
    }
    bool set(int value, Layer layer = LAYER_USER, ValueUnit unit = UNIT_UNSPECIFIED) override {
        return setEach([&](Component& c, int) { return c.set(value, layer, unit); });
    }
    bool set(Fathom::Vector2T<float> const& value, Layer layer = LAYER_USER,
             QList<ValueUnit> units = QList<ValueUnit>()) override {
        return setFromVector(value, layer, units);
    }
    bool set(Fathom::Vector3T<float> const& value, Layer layer = LAYER_USER,
             QList<ValueUnit> units = QList<ValueUnit>()) override {
        return setFromVector(value, layer, units);
    }
    bool set(Fathom::Vector4T<float> const& value, Layer layer = LAYER_USER,
             QList<ValueUnit> units = QList<ValueUnit>()) override {
        return setFromVector(value, layer, units);
    }
    /// Component i takes part i modulo the number of parts, so a single part goes to both.
    bool set(StyleValue const& value, Layer layer = LAYER_USER) override {
        if (value.isEmpty()) {
            return false;
        }
        return setEach(
            [&](Component& c, int i) { return c.set(value.part(priv_t2r(i, value.size())), layer); });
    }
    /// Hands one part to each component; false unless the value has one or two parts.
    bool handleShorthand(StyleValue const& value, Cobalt::ArrayMap<Attribute*, StyleValue>& parts) override {
        if (value.size() != 1 && value.size() != 2) {
            return false;
        }
        for (int i = 0; i < componentCount; ++i) {
            parts[&m_components[i]] = value.part(priv_t2r(i, value.size()));
        }
        return true;
    }
    void clearValue(Layer layer) override {
        setEach([&](Component& c, int) {
            c.clearValue(layer);
            return true;
        });
    }
    void setAsDefaults() override {
        setEach([&](Component& c, int) {
            c.setAsDefaults();
            return true;
        });
    }
    bool isChanged() const override { return m_components[0].isChanged() || m_components[1].isChanged(); }
    bool isValueDefinedOnLayer(Layer layer) const override {
        return layer > LAYER_COUNT || m_components[0].isValueDefinedOnLayer(layer) ||
               m_components[1].isValueDefinedOnLayer(layer);
    }
    /// Tells the tuple's listeners of a change; a component's change comes here too. Inside a write of
    /// several components the changes collapse into one at the write's end.
    void emitChange() override {
        if (m_inChanges) {
            m_emitOnChangesEnd = true;
            return;
        }
        Attribute::emitChange();
    }
    void setTransitionParameters(TransitionParameters parameters) override {
        for (auto& component : m_components) {
            component.setTransitionParameters(parameters);
        }
    }
    /// The two component values, joined by one blank.
    QString asString(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const override {
        if (ok) {
            *ok = true;
        }
        return m_components[0].asString(nullptr, layer) + QLatin1Char(' ') +
               m_components[1].asString(nullptr, layer);
    }
    /// Exactly two numbers separated by white space, written on LAYER_USER; anything else gives false and
    /// writes nothing.
    bool deserialize(ArchiveElement const& element) override {
        static QRegularExpression const whiteSpace(QStringLiteral("\\s"));
        QStringList const parts = element.get().split(whiteSpace, Qt::SkipEmptyParts);
        if (parts.size() != componentCount) {
            return false;
        }
        return setEach([&](Component& c, int i) { return c.set(parts[i].toFloat(), LAYER_USER); });
    }

    /// Index of the part for component `index` among `count` parts.
    virtual int priv_t2r(int index, int count) const { return index % count; }
    /// Component `index` of a T, in the components' own type.
    virtual Scalar priv_unwrap(T const& value, int index) const { return value[index]; }
    /// Stores component `index` into a T.
    virtual void priv_setWrapped(T& value, int index, float component) const = 0;

protected:
    /// Marks a multi-component write: the components' changes collapse into one change of the tuple at
    /// its end.
    class ChangeScope {
    public:
        explicit ChangeScope(AttributeTuple& tuple) : m_tuple(tuple) { m_tuple.m_inChanges = true; }
        ~ChangeScope() {
            m_tuple.m_inChanges = false;
            if (m_tuple.m_emitOnChangesEnd) {
                m_tuple.m_emitOnChangesEnd = false;
                m_tuple.emitChange();
            }
        }
        ChangeScope(ChangeScope const&) = delete;
        ChangeScope& operator=(ChangeScope const&) = delete;

    private:
        AttributeTuple& m_tuple;
    };

    /// Runs `write(component, index)` on both components in one change scope; false if either refused.
    template <typename Write>
    bool setEach(Write write) {
        ChangeScope scope(*this);
        bool accepted = true;
        for (int i = 0; i < componentCount; ++i) {
            accepted = write(m_components[i], i) && accepted;
        }
        return accepted;
    }

private:
    template <typename V>
    bool setFromVector(V const& value, Layer layer, QList<ValueUnit> const& units) {
        return setEach([&](Component& c, int i) {
            ValueUnit const unit = units.isEmpty() ? UNIT_UNSPECIFIED : units.at(priv_t2r(i, units.size()));
            return c.set(value[priv_t2r(i, V::size())], layer, unit);
        });
    }

    // Inline: a tuple and its components live and die together.
    std::array<Component, componentCount> m_components;
    bool m_inChanges = false;
    bool m_emitOnChangesEnd = false;
};

/// A location: two floats "NAME-x" and "NAME-y". Its components take their own messages.
class AttributeLocation2f : public AttributeTuple<Fathom::Vector2T<float>, AttributeLocation2f> {
public:
    AttributeLocation2f(Node* host, QByteArray const& name,
                        Fathom::Vector2T<float> const& defaultValue = Fathom::Vector2T<float>())
        : AttributeTuple(host, name, defaultValue) {}
    using AttributeTuple::operator=;

    QByteArray type() const override { return QByteArrayLiteral("location2:float"); }
    void priv_setWrapped(Fathom::Vector2T<float>& value, int index, float component) const override {
        (index == 0 ? value.x : value.y) = component;
    }
};

/// A size: width and height, as floats or ints. A message holds both at once.
template <typename S>
class AttributeT<Fathom::SizeT<S>, std::enable_if_t<std::is_same_v<S, float> || std::is_same_v<S, int>>>
    : public AttributeTuple<Fathom::SizeT<S>, AttributeT<Fathom::SizeT<S>>> {
    using Base = AttributeTuple<Fathom::SizeT<S>, AttributeT<Fathom::SizeT<S>>>;

public:
    AttributeT(Node* host, QByteArray const& name, Fathom::SizeT<S> const& defaultValue = Fathom::SizeT<S>())
        : Base(host, name, defaultValue) {}
    using Base::operator=;

    QByteArray type() const override { return "size2:" + Serializer::tagName(typeid(S)).toUtf8(); }
    void priv_setWrapped(Fathom::SizeT<S>& value, int index, float component) const override {
        (index == 0 ? value.width : value.height) = static_cast<S>(component);
    }
    /// Reads both numbers and writes them on LAYER_USER; logs a warning when the message can't be read.
    void eventProcess(QByteArray const&, Cobalt::BinaryData& data) override {
        bool ok = false;
        Fathom::Vector2T<float> size;
        if constexpr (std::is_same_v<S, float>) {
            size = data.readVector2Float32(&ok);
        } else {
            Fathom::Vector2T<int> const whole = data.readVector2Int32(&ok);
            size = Fathom::Vector2T<float>(static_cast<float>(whole.x), static_cast<float>(whole.y));
        }
        if (!ok) {
            Cobalt::Trace::warning("AttributeSizeT::eventProcess # Failed to parse data");
            return;
        }
        this->set(size, Attribute::LAYER_USER, QList<Attribute::ValueUnit>());
    }
};

extern template class AttributeTuple<Fathom::Vector2T<float>, AttributeLocation2f>;
extern template class AttributeT<Fathom::SizeT<float>>;
extern template class AttributeT<Fathom::SizeT<int>>;

} // namespace Basalt
