#pragma once

#include <functional>
#include <map>
#include <typeindex>
#include <typeinfo>

namespace Tessel {

/// Turns keys into new objects and objects back into keys. Each key has one maker and each class one
/// key; the first registration of either stays in force.
template <typename Key, typename Base>
class ObjectFactoryT {
public:
    using Maker = std::function<Base*()>;

    virtual ~ObjectFactoryT() = default;

    /// Registers T under `key`, made with its default constructor. False, changing nothing, if the key has
    /// a maker or T has a key already.
    template <typename T>
    bool addFactory(Key const& key) {
        return addFactory<T>(key, [] { return new T(); });
    }
    /// The same with a maker of its own.
    template <typename T>
    bool addFactory(Key const& key, Maker maker) {
        std::type_index const type(typeid(T));
        if (m_makers.count(key) || m_typeToKey.count(type)) {
            return false;
        }
        m_makers.emplace(key, std::move(maker));
        m_typeToKey.emplace(type, key);
        m_keyToType.emplace(key, type);
        return true;
    }

    /// A new object for `key`, owned by the caller; null for an unknown key.
    Base* create(Key const& key) const {
        auto const maker = m_makers.find(key);
        return maker == m_makers.end() ? nullptr : maker->second();
    }
    bool hasKey(Key const& key) const { return m_makers.count(key) != 0; }

    /// The key of a run-time type; `found` tells whether it has one (a default Key otherwise).
    Key keyOf(std::type_info const& type, bool* found = nullptr) const {
        auto const key = m_typeToKey.find(std::type_index(type));
        if (found) {
            *found = key != m_typeToKey.end();
        }
        return key == m_typeToKey.end() ? Key() : key->second;
    }
    /// The key of an object's run-time type.
    Key keyOf(Base const& object, bool* found = nullptr) const { return keyOf(typeid(object), found); }

    /// The type registered under `key`; `found` tells whether there is one.
    std::type_index typeOf(Key const& key, bool* found = nullptr) const {
        auto const type = m_keyToType.find(key);
        if (found) {
            *found = type != m_keyToType.end();
        }
        return type == m_keyToType.end() ? std::type_index(typeid(void)) : type->second;
    }

    /// The keys, in key order.
    std::map<Key, Maker> const& makers() const { return m_makers; }

protected:
    /// Points the type's key at `key` without touching makers; for a class that serves under a key that
    /// another class already holds.
    void setKeyOfType(std::type_index type, Key const& key) { m_typeToKey[type] = key; }

private:
    std::map<Key, Maker> m_makers;
    std::map<std::type_index, Key> m_typeToKey;
    std::map<Key, std::type_index> m_keyToType;
};

} // namespace Tessel
