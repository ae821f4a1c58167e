#include "platform/tessel/ElementFactory.hpp"

namespace Tessel {

ElementFactory::ElementFactory() {
    ObjectFactoryT::addFactory<Element>(QByteArrayLiteral("node"));
}

std::shared_ptr<AttributeGroups> ElementFactory::findAttributeGroupsForType(QByteArray const& key) const {
    auto const groups = m_groups.find(key);
    return groups == m_groups.end() ? nullptr : groups->second;
}

} // namespace Tessel
