#include "attributes/AttributeVectorContainer.hpp"

#include "platform/basalt/ChangeObserver.hpp"
#include "platform/basalt/Node.hpp"

namespace Basalt {

void AttributeContainerBase::send(AttributeEvent::Type type, unsigned long key) {
    m_events.send(type, key);
    if (ChangeObserver* const observer = host() ? host()->changeObserver() : nullptr) {
        observer->containerChanged(*this, AttributeEvent{type, key});
    }
}

template class AttributeVectorContainer<float>;
template class AttributeVectorContainer<int>;
template class AttributeVectorContainer<long>;
template class AttributeVectorContainer<Cobalt::ColorPMA>;
template class AttributeVectorContainer<Sienna::BezierNode>;

} // namespace Basalt
