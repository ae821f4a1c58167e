#pragma once

#include "platform/basalt/ListenerList.hpp"
#include "platform/cobalt/Flags.hpp"

namespace Basalt {

/// What changed in an attribute that holds several values, and which one (`key`).
struct AttributeEvent {
    /// Event types; their numbers are shared with clients. Never renumber.
    enum Type {
        LIST_CHANGED = 2,     ///< the whole list changed
        ELEMENT_INSERTED = 8, ///< an element was inserted at `key`
        ELEMENT_REMOVED = 16, ///< the element at `key` was removed
        ELEMENT_CHANGED = 32, ///< the element at `key` got a new value
    };
    Type type;
    unsigned long key;
};

/// Listeners of `AttributeEvent`s, each for a set of types. One thread; callbacks may add and remove
/// listeners.
class AttributeEventListenerList {
public:
    using Function = std::function<void(AttributeEvent)>;

    unsigned long addListener(Cobalt::FlagsT<AttributeEvent::Type> types, Function listener) {
        return static_cast<unsigned long>(m_listeners.add(std::move(listener), types.bits()));
    }
    void removeListener(unsigned long id) { m_listeners.remove(static_cast<long>(id)); }
    /// Calls the listeners of `type` with the event for `key`.
    void send(AttributeEvent::Type type, unsigned long key) {
        m_listeners.call(static_cast<unsigned>(type), AttributeEvent{type, key});
    }
    std::size_t size() const { return m_listeners.size(); }

private:
    ListenerListT<AttributeEvent> m_listeners;
};

} // namespace Basalt
