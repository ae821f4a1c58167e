#pragma once

#include "platform/basalt/Attribute.hpp"
#include "platform/basalt/Node.hpp"

#include <type_traits>

namespace Basalt {

/// A pointer to an attribute that turns null when the attribute is deleted. It listens for ROLE_DELETE on
/// its target and stops listening when it is reset or destroyed. One thread, like the attributes.
template <typename A>
class WeakAttributePtrT {
public:
    WeakAttributePtrT() = default;
    explicit WeakAttributePtrT(A* target) { reset(target); }
    WeakAttributePtrT(WeakAttributePtrT const& other) { reset(other.m_target); }
    WeakAttributePtrT& operator=(WeakAttributePtrT const& other) {
        reset(other.m_target);
        return *this;
    }
    WeakAttributePtrT& operator=(A* target) {
        reset(target);
        return *this;
    }
    ~WeakAttributePtrT() { reset(nullptr); }

    /// Stops following the old target and follows `target`, which may be null.
    void reset(A* target = nullptr) {
        // Checked here rather than on the class, so that a member may point at a class declared later.
        static_assert(std::is_base_of_v<Attribute, A>, "a weak pointer tracks an attribute");
        if (m_target && m_listenerId != -1) {
            m_target->removeListener(m_listenerId);
        }
        m_listenerId = -1;
        m_target = target;
        if (m_target) {
            m_listenerId = m_target->addListener([this] { m_target = nullptr; }, Attribute::ROLE_DELETE);
        }
    }

    /// The target, or null once it has been deleted.
    A* get() const { return m_target; }
    A* operator->() const { return m_target; }
    A& operator*() const { return *m_target; }
    explicit operator bool() const { return m_target != nullptr; }

private:
    A* m_target = nullptr;
    long m_listenerId = -1;
};

/// The same for a node.
template <typename N>
class WeakNodePtrT : public WeakAttributePtrT<N> {
public:
    using WeakAttributePtrT<N>::WeakAttributePtrT;
    using WeakAttributePtrT<N>::operator=;
    WeakNodePtrT() = default;
    WeakNodePtrT(WeakNodePtrT const&) = default;
    WeakNodePtrT& operator=(WeakNodePtrT const&) = default;
    ~WeakNodePtrT() { static_assert(std::is_base_of_v<Node, N>, "a weak node pointer tracks a node"); }
};

} // namespace Basalt
