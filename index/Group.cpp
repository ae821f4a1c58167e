#include "index/Group.hpp"

namespace Datamodel {

Group::Group()
    : Tessel::Element(Flags::fromBits(3)), groupName(this, QByteArrayLiteral("group-name")),
      description(this, QByteArrayLiteral("description")) {}

GroupContainer::GroupContainer() : Tessel::Element(Flags::fromBits(3)) {}

Group* GroupContainer::findGroupById(int id) const {
    return dynamic_cast<Group*>(attribute(QByteArray::number(id)));
}

} // namespace Datamodel
