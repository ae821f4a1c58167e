#pragma once

// Counts the change notifications of one attribute.
//
// Usage:
//     TestSupport::CountingListener changes(attribute);
//     attribute.set(5);
//     EXPECT_EQ(changes.count(), 1);
//
// An optional callback runs inside each notification, after the count went up, so a test can read the
// attribute as a listener sees it (or write to it, for reentrance). The helper notices when the attribute is
// destroyed and then neither touches it again nor fails on its own destruction.

#include "platform/basalt/Attribute.hpp"

#include <functional>
#include <utility>

namespace TestSupport {

class CountingListener {
public:
    explicit CountingListener(Basalt::Attribute& attribute, std::function<void()> onChange = {})
        : m_attribute(&attribute), m_onChange(std::move(onChange)) {
        m_changeId = attribute.addListener(
            [this] {
                ++m_count;
                if (m_onChange) {
                    m_onChange();
                }
            },
            Basalt::Attribute::ROLE_CHANGE);
        m_deleteId = attribute.addListener(
            [this] {
                ++m_deletes;
                m_attribute = nullptr;
            },
            Basalt::Attribute::ROLE_DELETE);
    }
    CountingListener(CountingListener const&) = delete;
    CountingListener& operator=(CountingListener const&) = delete;
    ~CountingListener() {
        if (m_attribute) {
            m_attribute->removeListener(m_changeId);
            m_attribute->removeListener(m_deleteId);
        }
    }

    /// ROLE_CHANGE calls so far.
    int count() const { return m_count; }
    /// ROLE_DELETE calls so far.
    int deletes() const { return m_deletes; }
    /// Whether the attribute was destroyed while this listener was attached.
    bool attributeGone() const { return m_attribute == nullptr; }
    void reset() { m_count = 0; }

private:
    Basalt::Attribute* m_attribute;
    std::function<void()> m_onChange;
    long m_changeId = 0;
    long m_deleteId = 0;
    int m_count = 0;
    int m_deletes = 0;
};

} // namespace TestSupport
