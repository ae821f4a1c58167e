#pragma once

#include "attributes/Transition.hpp"
#include "attributes/ValueTraits.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/Attribute.hpp"
#include "platform/basalt/Serializer.hpp"

#include <cstdint>
#include <typeinfo>

namespace Basalt {

/// A typed attribute: one value per stored layer, the layer in force and the value shown.
///
/// Invariant: the layer in force is defined and no layer above it is; without a running transition the
/// shown value is the value of the layer in force. A value written below the layer in force is stored but
/// hidden until the layers above it are cleared.
///
/// Layer arguments: LAYER_DEFAULT to LAYER_ABOVE_USER name a stored layer; LAYER_CURRENT and
/// LAYER_CURRENT_VALUE (and LAYER_COUNT, which is no valid argument) stand for the layer in force.
template <typename T>
class AttributeBaseT : public Attribute {
public:
    using ValueType = T;

    /// An attribute with this default on LAYER_DEFAULT, added to `host` under `name` unless host is null.
    AttributeBaseT(Node* host, QByteArray const& name, T const& defaultValue)
        : Attribute(host, name), m_current(defaultValue), m_values{defaultValue, T{}, T{}, T{}} {}
    /// A temporary with no host and no name and a value-initialised default.
    AttributeBaseT() : AttributeBaseT(nullptr, QByteArray(), T{}) {}
    ~AttributeBaseT() override {
        if (m_hasTransition) {
            TransitionManagerT<T>::release(this);
        }
    }

    /// Stores `value` on `layer`. Listeners hear of it only when the shown value changes.
    virtual void setValue(T const& value, Layer layer) { storeValue(value, layer); }

    /// The value shown.
    T const& value() const { return m_current; }
    operator T const&() const { return m_current; }
    /// The stored layer in force.
    Layer currentLayer() const { return static_cast<Layer>(m_currentLayer); }
    /// The value of a stored layer, defined or not; the special layers read as `asInt` and its kin do.
    T const& valueOnLayer(Layer layer) const { return valueForRead(layer); }

    void clearValue(Layer layer) override { clearStoredValue(layer); }
    bool isValueDefinedOnLayer(Layer layer) const override { return isSpecial(layer) || m_defined[layer]; }
    /// Writes the value of `from` on `to` through the virtual `setValue`.
    void copyValueFromLayer(Layer from, Layer to) override {
        T const source = valueForRead(from);
        setValue(source, to);
    }
    /// Moves the user's value to the default layer and clears the user layer, without an event when the
    /// shown value stays.
    void setAsDefaults() override {
        if (!m_defined[LAYER_USER]) {
            return;
        }
        T const userValue = m_values[LAYER_USER];
        setValue(userValue, LAYER_DEFAULT);
        clearValue(LAYER_USER);
    }
    /// Whether a layer above the default is in force with a value other than the default.
    bool isChanged() const override {
        return m_currentLayer >= LAYER_BELOW_USER &&
               !ValueTraits<T>::same(m_values[LAYER_DEFAULT], m_current);
    }
    /// Pushes the layer in force out again: shows it, or aims the transition at it.
    void emitChange() override {
        if (m_hasTransition) {
            transitionEntry()->retarget(m_current, m_values[m_currentLayer]);
            return;
        }
        m_current = m_values[m_currentLayer];
        notify(ROLE_CHANGE);
    }
    void setTransitionParameters(TransitionParameters parameters) override;
    /// Shows `value` without storing it on any layer, as a transition does; emits if it differs.
    void setAnimatedValue(T const& value) {
        if (ValueTraits<T>::same(value, m_current)) {
            return;
        }
        m_plainUserState = false;
        m_current = value;
        notify(ROLE_CHANGE);
    }
    /// The running transition's entry, or null.
    TransitionAnimT<T> const* transition() const { return transitionEntry(); }

    /// Writes the highest layer that the archive's mask wants and that is defined; null if there is none.
    ArchiveElement serialize(Archive& archive) const override;
    /// Parses the element's text and writes it on LAYER_USER.
    bool deserialize(ArchiveElement const& element) override {
        T value = m_current;
        if (!ValueTraits<T>::parse(element.get(), value)) {
            return false;
        }
        setValue(value, LAYER_USER);
        return true;
    }
    /// The value's text.
    QString asString(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const override {
        if (ok) {
            *ok = true;
        }
        return ValueTraits<T>::toText(valueForRead(layer));
    }
    QByteArray type() const override { return Serializer::tagName(typeid(T)).toUtf8(); }

protected:
    static bool isSpecial(Layer layer) { return layer >= LAYER_COUNT; }
    int resolve(Layer layer) const { return isSpecial(layer) ? int(m_currentLayer) : int(layer); }
    T const& valueForRead(Layer layer) const {
        if (layer == LAYER_CURRENT_VALUE) {
            return m_current;
        }
        return m_values[resolve(layer)];
    }

    /// The steps of `setValue`, callable without the virtual call. The common cases (a new value with no
    /// transition, or a value already stored and shown) stay inline; layer moves and transitions don't.
    void storeValue(T const& value, Layer layer) {
        int const target = resolve(layer);
        if (target != m_currentLayer || m_hasTransition) {
            storeValueSlowly(value, target);
            return;
        }
        if (ValueTraits<T>::same(value, m_current)) {
            if (!ValueTraits<T>::same(value, m_values[target])) {
                m_values[target] = value; // shown but not yet stored, after setAnimatedValue
            }
            return;
        }
        m_values[target] = value;
        m_current = value;
        notify(ROLE_CHANGE);
    }
    /// The steps of `setValue` for a resolved layer, every case included.
    void storeValueSlowly(T const& value, int target);
    /// The steps of `clearValue`.
    void clearStoredValue(Layer layer);

    /// Writes through `Self::setValue` without a virtual call when this object is exactly a `Self`, so
    /// that the steps inline; any subclass that overrides `setValue` is still honoured. The type_info
    /// objects are compared by address: should a loader ever duplicate one, the write merely takes the
    /// virtual call.
    ///
    /// The commonest writes, the user's value again or a new one, skip even that once the flag says that
    /// the last write was such an exact one on LAYER_USER and that nothing has touched the state since. So
    /// `Self::setValue` on LAYER_USER of that state must do what `storePlainUserValue` does, as every
    /// setValue of the templates does.
    template <typename Self>
    void writeValue(T const& value, Layer layer) {
        if (layer == LAYER_USER && m_plainUserState) {
            if (!ValueTraits<T>::same(value, m_current)) {
                storePlainUserValue(value);
            }
            return;
        }
        if (&typeid(*this) == &typeid(Self)) {
            // Set before the write: whatever its listeners do to this attribute clears it again.
            m_plainUserState =
                resolve(layer) == LAYER_USER && m_currentLayer <= LAYER_USER && !m_hasTransition;
            static_cast<Self*>(this)->Self::setValue(value, layer);
        } else {
            setValue(value, layer);
        }
    }
    /// For what the base doesn't see, such as an expression a subclass attaches to a layer.
    void forgetPlainUserState() { m_plainUserState = false; }

    /// Shared by `eventProcess` of the types that travel as one scalar: drops what can't be read.
    template <typename Self>
    void processScalar(Cobalt::BinaryData& data) {
        bool ok = false;
        T const value = ValueTraits<T>::read(data, &ok);
        if (ok) {
            writeValue<Self>(value, LAYER_USER);
        }
    }

private:
    friend class TransitionManagerT<T>;

    /// A new value on LAYER_USER while it is in force, stored and shown, with no transition.
    void storePlainUserValue(T const& value) {
        m_values[LAYER_USER] = value;
        m_current = value;
        notify(ROLE_CHANGE);
    }

    /// The entry of the running transition, kept by the manager of T; null when there is none. Looked up
    /// there rather than pointed at from here: few attributes ever animate, and a canvas holds a great many.
    TransitionAnimT<T>* transitionEntry() const {
        return m_hasTransition ? TransitionManagerT<T>::entryOf(this) : nullptr;
    }

    T m_current;
    T m_values[LAYER_COUNT];
    // Which layers are defined, the layer in force and whether the state is plain: in the base, see there.
};

template <typename T>
void AttributeBaseT<T>::storeValueSlowly(T const& value, int target) {
    if (target != LAYER_USER) {
        m_plainUserState = false;
    }
    if (target < m_currentLayer) {
        m_values[target] = value;
        m_defined[target] = true;
        return;
    }
    if (ValueTraits<T>::same(value, m_current)) {
        bool const targetUnchanged =
            !m_hasTransition || ValueTraits<T>::equal(m_values[m_currentLayer], value);
        m_currentLayer = target;
        m_values[target] = value;
        m_defined[target] = true;
        if (!targetUnchanged) {
            transitionEntry()->retarget(m_current, value);
        }
        return;
    }
    m_currentLayer = target;
    m_values[target] = value;
    m_defined[target] = true;
    if (m_hasTransition) {
        transitionEntry()->retarget(m_current, value);
        return;
    }
    m_current = value;
    notify(ROLE_CHANGE);
}

template <typename T>
void AttributeBaseT<T>::clearStoredValue(Layer layer) {
    m_plainUserState = false;
    int const cleared = resolve(layer);
    if (cleared == LAYER_DEFAULT && m_currentLayer == LAYER_DEFAULT) {
        return; // the default stays defined while it is all there is
    }
    m_defined[cleared] = false;
    if (cleared != m_currentLayer) {
        return;
    }
    int shown = cleared - 1;
    while (shown > LAYER_DEFAULT && !m_defined[shown]) {
        --shown;
    }
    m_defined[shown] = true; // only matters if the default was cleared below a higher layer
    m_currentLayer = shown;
    if (ValueTraits<T>::same(m_values[shown], m_values[cleared])) {
        return;
    }
    if (m_hasTransition) {
        transitionEntry()->retarget(m_current, m_values[shown]);
        return;
    }
    m_current = m_values[shown];
    notify(ROLE_CHANGE);
}

template <typename T>
void AttributeBaseT<T>::setTransitionParameters(TransitionParameters parameters) {
    if (!(parameters.duration > 0)) {
        if (!m_hasTransition) {
            return;
        }
        // Detach first: a listener of the jump below may destroy this attribute.
        TransitionManagerT<T>::release(this);
        setAnimatedValue(m_values[m_currentLayer]);
        return;
    }
    if (!m_hasTransition) {
        m_plainUserState = false;
        TransitionManagerT<T>::create(this, parameters);
        return;
    }
    TransitionAnimT<T>* const entry = transitionEntry();
    entry->setParameters(parameters);
    entry->speed = (entry->speed < 0 ? -1.0f : 1.0f) / parameters.duration;
}

template <typename T>
ArchiveElement AttributeBaseT<T>::serialize(Archive& archive) const {
    int layer = LAYER_ABOVE_USER;
    while (layer >= LAYER_DEFAULT &&
           !(m_defined[layer] && (archive.layerMask() & Archive::layerBit(layer)))) {
        --layer;
    }
    if (layer < LAYER_DEFAULT) {
        return ArchiveElement();
    }
    static QString const tag = Serializer::tagName(typeid(T));
    ArchiveElement element = archive.createElement(tag);
    element.set(ValueTraits<T>::toText(m_values[layer]));
    if (element.isNull()) {
        return element;
    }
    if (!name().isEmpty()) {
        element.setName(QString::fromUtf8(name()));
    }
    element.add(QStringLiteral("type"), QString::fromUtf8(type()));
    return element;
}

} // namespace Basalt
