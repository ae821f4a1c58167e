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

    /// A weak pointer that expires with this object, or at the next `reset`. Safe from any thread.
    std::weak_ptr<Reference> weak() const;
    /// Ends the identity handed out so far: every weak pointer from `weak` expires, so listeners tied to it
    /// stop at once; later calls to `weak` give a new identity. Safe from any thread.
    void reset() { std::atomic_store(&m_self, std::shared_ptr<Reference>()); }

private:
    mutable std::shared_ptr<Reference> m_self;
};

} // namespace Basalt
