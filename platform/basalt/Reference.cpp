#include "platform/basalt/Reference.hpp"

namespace Basalt {

std::weak_ptr<Reference> Reference::weak() const {
    std::shared_ptr<Reference> self = std::atomic_load(&m_self);
    if (self) {
        return self;
    }
    // The pointer owns nothing: the object's own lifetime ends the identity, not the last holder.
    std::shared_ptr<Reference> fresh(const_cast<Reference*>(this), [](Reference*) {});
    if (std::atomic_compare_exchange_strong(&m_self, &self, fresh)) {
        return fresh;
    }
    return self; // another thread built it first; `self` now holds its pointer
}

} // namespace Basalt
