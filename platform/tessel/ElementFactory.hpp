#pragma once

#include "platform/tessel/AttributeGroups.hpp"
#include "platform/tessel/Element.hpp"
#include "platform/tessel/ObjectFactoryT.hpp"

#include <QByteArray>

#include <cstddef>
#include <map>
#include <memory>

namespace Tessel {

/// The element factory of one document type: type keys to makers and back, the lock groups of some keys,
/// and the maker of the root of the document's transient part. A new factory knows the key "node" for a
/// plain `Tessel::Element`.
///
/// Built once and then only read, from any thread.
class ElementFactory : public ObjectFactoryT<QByteArray, Element> {
public:
    ElementFactory();

    using ObjectFactoryT::addFactory;
    /// Registers T under `key` as `addFactory<T>(key)` does and then, when `groups` isn't null, stores the
    /// groups under the key, replacing earlier ones (also when the key was taken already).
    template <typename T>
    bool addFactory(QByteArray const& key, std::shared_ptr<AttributeGroups> groups) {
        return addFactory<T>(
            key, [] { return new T(); }, std::move(groups));
    }
    /// `nullptr` for the groups means no groups. Without this overload such a call would be ambiguous, as
    /// `nullptr` would do for the maker of `ObjectFactoryT::addFactory` too.
    template <typename T>
    bool addFactory(QByteArray const& key, std::nullptr_t) {
        return addFactory<T>(key, std::shared_ptr<AttributeGroups>());
    }
    /// The same with a maker of its own, for a class without a default constructor.
    template <typename T>
    bool addFactory(QByteArray const& key, Maker maker, std::shared_ptr<AttributeGroups> groups) {
        bool const added = ObjectFactoryT::addFactory<T>(key, std::move(maker));
        if (groups) {
            m_groups[key] = std::move(groups);
        }
        return added;
    }

    /// Makes T the class of the transient root. When `key` has a maker already, only T's key is pointed
    /// at it; otherwise T is registered under `key`. Either way T becomes the transient root's maker.
    template <typename T>
    void setTransientRoot(QByteArray const& key) {
        if (hasKey(key)) {
            setKeyOfType(std::type_index(typeid(T)), key);
        } else {
            ObjectFactoryT::addFactory<T>(key);
        }
        m_transientRootMaker = [] { return new T(); };
    }

    /// A new transient root, owned by the caller; null when none was set.
    Element* createTransientRoot() const { return m_transientRootMaker ? m_transientRootMaker() : nullptr; }

    /// The groups of a key; null when it has none.
    std::shared_ptr<AttributeGroups> findAttributeGroupsForType(QByteArray const& key) const;

private:
    std::function<Element*()> m_transientRootMaker;
    std::map<QByteArray, std::shared_ptr<AttributeGroups>> m_groups;
};

} // namespace Tessel
