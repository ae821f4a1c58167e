#pragma once

#include <memory>

namespace Basalt {

/// An identity to tie listeners to: an object embeds a Reference, hands out `weak()` as the owner of its
/// listeners, and those weak pointers expire when the object dies. A copy is a new identity.
class Reference {
public:
    Reference() = default;
    Reference(Reference const&) {}
    Reference& operator=(Reference const&) { return *this; }
    ~Reference() { std::atomic_store(&m_self, std::shared_ptr<Reference>()); }

    /// A weak pointer that expires with this object. Safe from any thread.
    std::weak_ptr<Reference> weak() const;

private:
    mutable std::shared_ptr<Reference> m_self;
};

} // namespace Basalt
