#pragma once

#include "platform/basalt/ListenerList.hpp"
#include "platform/cobalt/ArrayMap.hpp"
#include "platform/fathom/Vector.hpp"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>

namespace Cobalt {
class BinaryData;
}

namespace Basalt {

class Archive;
class ArchiveElement;
class Node;
class StyleValue;
struct TransitionParameters;

/// Whether an attribute takes part in `serialize`.
class Serializable {
public:
    bool isSerializable() const { return m_serializable; }
    void setSerializable(bool serializable) { m_serializable = serializable; }

private:
    bool m_serializable = true;
};

/// Base of every attribute: a named value on a host node, with listeners.
///
/// Attributes belong to the thread of their document and have no lock. Listeners run synchronously on the
/// thread that made the change; they may change attributes, add and remove listeners, and destroy the
/// attribute they listen to.
///
/// The virtual operations of the base report failure: the `set` overloads return false, the `as` readers set
/// `*ok` false, so a typed attribute overrides only what makes sense for its type.
class Attribute : public Serializable {
public:
    /// Stored layers (0 to 3, a higher one hides a lower one) and three special arguments.
    enum Layer {
        LAYER_DEFAULT = 0,
        LAYER_BELOW_USER = 1,
        LAYER_USER = 2,
        LAYER_ABOVE_USER = 3,
        LAYER_COUNT = 4,   ///< number of stored layers; never an argument
        LAYER_CURRENT = 5, ///< the stored layer in force
        LAYER_CURRENT_VALUE =
            6, ///< the value shown, which differs from the layer in force during a transition
    };
    /// What a number given to `set` means.
    enum ValueUnit { UNIT_UNSPECIFIED = 0, UNIT_NUMBER = 1, UNIT_PERCENTAGE = 2 };
    /// Listener roles, a bit mask.
    enum ListenerRole { ROLE_DELETE = 1, ROLE_CHANGE = 2, ROLE_HOST_CHANGE = 4 };

    using Listener = std::function<void()>;

    /// No host and no name; used for temporaries.
    Attribute();
    /// With a non-null host, adds itself to the host under `name`; with null it stays detached. Names given
    /// here are shared by all attributes of the same name made on the thread, so they should come from a
    /// fixed vocabulary (the keys of the classes); elements are named later, with `setName`.
    Attribute(Node* host, QByteArray const& name);
    Attribute(Attribute const&) = delete;
    Attribute& operator=(Attribute const&) = delete;
    /// Tells ROLE_DELETE listeners, then leaves the host.
    virtual ~Attribute();

    /// Writes the value into a new element of `archive`; a null element when there is nothing to write.
    virtual ArchiveElement serialize(Archive& archive) const;
    /// Takes a value from an archive element, on LAYER_USER.
    virtual bool deserialize(ArchiveElement const& element);
    /// Takes a value from a message, on LAYER_USER. `id` says which part of the value the message holds.
    /// A message that can't be read is dropped.
    virtual void eventProcess(QByteArray const& id, Cobalt::BinaryData& data);
    virtual float asFloat(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const;
    virtual int asInt(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const;
    virtual QString asString(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const;
    virtual bool set(float value, Layer layer = LAYER_USER, ValueUnit unit = UNIT_UNSPECIFIED);
    virtual bool set(int value, Layer layer = LAYER_USER, ValueUnit unit = UNIT_UNSPECIFIED);
    virtual bool set(QString const& value, Layer layer = LAYER_USER, ValueUnit unit = UNIT_UNSPECIFIED);
    virtual bool set(Fathom::Vector2T<float> const& value, Layer layer = LAYER_USER,
                     QList<ValueUnit> units = QList<ValueUnit>());
    virtual bool set(Fathom::Vector3T<float> const& value, Layer layer = LAYER_USER,
                     QList<ValueUnit> units = QList<ValueUnit>());
    virtual bool set(Fathom::Vector4T<float> const& value, Layer layer = LAYER_USER,
                     QList<ValueUnit> units = QList<ValueUnit>());
    virtual bool set(StyleValue const& value, Layer layer = LAYER_USER);
    /// The type tag that `serialize` writes.
    virtual QByteArray type() const;
    virtual void copyValueFromLayer(Layer from, Layer to);
    virtual bool isChanged() const;
    virtual void clearValue(Layer layer);
    /// Called by an archive reader just before it hands the attribute a stored value that must take the
    /// place of what it holds. A list empties itself here, as reading a list appends to it; the base does
    /// nothing, since reading a single value replaces it anyway.
    virtual void clearBeforeRestore();
    /// Splits a shorthand value over component attributes; false if this attribute has none.
    virtual bool handleShorthand(StyleValue const& value, Cobalt::ArrayMap<Attribute*, StyleValue>& parts);
    /// True for every special layer (above LAYER_COUNT).
    virtual bool isValueDefinedOnLayer(Layer layer) const;
    /// A child attribute by name; null for a plain attribute.
    virtual Attribute* attribute(QByteArray const& name) const;
    virtual void setAsDefaults();
    virtual void setTransitionParameters(TransitionParameters parameters);
    /// Calls every ROLE_CHANGE listener, synchronously, in order of adding.
    virtual void emitChange();
    /// Calls every ROLE_DELETE listener.
    virtual void emitDelete();

    QByteArray const& name() const { return m_name; }
    /// Renames the attribute; its host finds it under the new name.
    void setName(QByteArray const& name);
    Node* host() const { return m_host; }
    /// Leaves the host, which forgets it; ROLE_HOST_CHANGE listeners then read a null host.
    void removeHost();

    /// Registers a listener for a mask of roles; returns its identifier for `removeListener(long)`.
    long addListener(Listener listener, int role);
    /// The same, remembered under `owner` for `removeListener(Node*, int)`.
    long addListener(Node* owner, Listener listener, int role);
    void removeListener(long id);
    /// Takes the roles in `role` from every listener of `owner`; a listener left with none is removed.
    void removeListener(Node* owner, int role);
    /// Number of listeners registered.
    std::size_t listenerCount() const { return m_listeners ? m_listeners->size() : 0; }

    /// The tuple that owns this component, so that style handling and changes go to it; null for a plain
    /// attribute.
    Attribute* ownerShorthand() const { return m_ownerShorthand; }
    void setOwnerShorthand(Attribute* owner) { m_ownerShorthand = owner; }

protected:
    /// The one copy of `name` that this thread shares among the attributes and events of that name.
    static QByteArray sharedName(QByteArray const& name);

    /// Calls the listeners of these roles, and then, for a change, the shorthand owner's `emitChange` (a
    /// change of a component is a change of its tuple, told without a listener of its own) or else the
    /// host's change observer. Returns false
    /// when a listener destroyed this attribute. Either way the caller must return at once without
    /// touching any member, since the owner's listeners may have destroyed it too.
    bool notify(int role) {
        if (m_listeners && !m_listeners->call(static_cast<unsigned>(role))) {
            return false;
        }
        if (role == ROLE_CHANGE) {
            if (m_ownerShorthand) {
                m_ownerShorthand->emitChange();
            } else if (m_host) {
                reportChangeToHost();
            }
        }
        return true;
    }
    /// Tells the host's change observer, if it has one, that this attribute changed.
    void reportChangeToHost();

    // The layer bookkeeping of the typed attributes, declared first so that it fills the room beside the
    // serialisable flag, which would otherwise be padding: a canvas holds a great many attributes. Other
    // attributes leave it alone.
    bool m_defined[LAYER_COUNT] = {true, false, false, false};
    /// The stored layer in force; one byte, as the four layers fit.
    std::int8_t m_currentLayer = LAYER_DEFAULT;
    /// LAYER_USER is in force, stored and shown, with no transition and nothing a subclass attaches, and the
    /// last write came through `AttributeBaseT::writeValue` on this object's own class: writing the shown
    /// value again on LAYER_USER changes nothing. Cleared by everything that could make that untrue.
    bool m_plainUserState = false;
    /// A transition runs; its entry is kept by the transition manager of the value type.
    bool m_hasTransition = false;

private:
    friend class Node;
    /// Called by the host when it takes the attribute or lets it go.
    void setHostFromNode(Node* host);

    QByteArray m_name;
    Node* m_host = nullptr;
    Attribute* m_ownerShorthand = nullptr;
    // Created on the first listener: most attributes of a document have none.
    std::unique_ptr<ListenerListT<>> m_listeners;
};

} // namespace Basalt
