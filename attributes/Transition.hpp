#pragma once

#include "attributes/ReentrantVector.hpp"
#include "attributes/ValueTraits.hpp"
#include "platform/basalt/TransitionManager.hpp"
#include "platform/cobalt/StringUtils.hpp"

#include <QHash>

#include <mutex>

namespace Basalt {

template <typename T>
class AttributeBaseT;

/// One animated attribute: where its value stands between `from` and `to`. Held by value in the manager's
/// vector; the manager's table from attribute to entry is kept true whenever the entry moves.
template <typename T>
struct TransitionAnimT {
    AttributeBaseT<T>* attribute = nullptr; ///< null once the attribute has left
    float progress = 1.0f;                  ///< 0 is `from`, 1 is `to`; negative during the delay
    float duration = 0.0f;
    float delay = 0.0f;
    float x1 = 0.0f;
    float y1 = 0.0f;
    float x2 = 0.0f;
    float y2 = 0.0f;
    T from{};
    T to{};
    float speed = 0.0f; ///< progress per unit of time: +1/duration forward, -1/duration backward

    /// Running, or waiting in its delay.
    bool isActive() const { return (speed > 0 && progress < 1) || (speed < 0 && progress > 0); }

    void setParameters(TransitionParameters const& parameters) {
        duration = parameters.duration;
        delay = parameters.delay;
        x1 = parameters.x1;
        y1 = parameters.y1;
        x2 = parameters.x2;
        y2 = parameters.y2;
    }

    /// Aims the transition at `target` from the shown value `shown`. A target equal to where a running
    /// transition came from turns it back along the same curve, and one equal to where it was going turns
    /// it forward again; anything else starts a new run, delay included.
    void retarget(T const& shown, T const& target) {
        if (speed > 0 && progress < 1 && attribute && ValueTraits<T>::equal(target, from)) {
            speed = -1.0f / duration;
            return;
        }
        if (speed < 0 && progress > 0 && attribute && ValueTraits<T>::equal(target, to)) {
            speed = 1.0f / duration;
            return;
        }
        from = shown;
        to = target;
        speed = 1.0f / duration;
        progress = -delay * speed;
    }
};

/// Drives every transition of one value type. One instance per type, found with `instance()`.
template <typename T>
class TransitionManagerT : public TransitionManager {
public:
    /// The manager of T: the first of `TransitionManager::instances()` that is of this type, or a new one,
    /// which lives as long as the process.
    static TransitionManagerT* instance() {
        std::lock_guard<Cobalt::Mutex> lock(Cobalt::s_onceMutex);
        for (TransitionManager* manager : TransitionManager::instances()) {
            if (auto* typed = dynamic_cast<TransitionManagerT*>(manager)) {
                return typed;
            }
        }
        return new TransitionManagerT();
    }

    /// A new idle entry for `attribute`, at its end: `from` and `to` are the shown value.
    static TransitionAnimT<T>* create(AttributeBaseT<T>* attribute, TransitionParameters const& parameters) {
        TransitionManagerT* const manager = shared();
        TransitionAnimT<T> entry;
        entry.attribute = attribute;
        entry.progress = 1.0f;
        entry.setParameters(parameters);
        entry.from = attribute->m_current;
        entry.to = attribute->m_current;
        entry.speed = 1.0f / parameters.duration;
        return &manager->m_entries.append(std::move(entry)); // which tracks it
    }

    /// Makes `entry` the one found for its attribute, wherever the entry now lies.
    static void track(TransitionAnimT<T>& entry) {
        if (entry.attribute) {
            shared()->m_entryOf.insert(entry.attribute, &entry);
            entry.attribute->m_hasTransition = true;
        }
    }

    /// The entry of `attribute`; null when it has none.
    static TransitionAnimT<T>* entryOf(AttributeBaseT<T> const* attribute) {
        return shared()->m_entryOf.value(attribute, nullptr);
    }

    /// Parts `attribute` from its entry, which is dropped on a later update; the attribute is left as it
    /// is, showing whatever the transition showed last.
    static void release(AttributeBaseT<T>* attribute) {
        TransitionManagerT* const manager = shared();
        auto const found = manager->m_entryOf.find(attribute);
        if (found != manager->m_entryOf.end()) {
            found.value()->attribute = nullptr;
            manager->m_entryOf.erase(found);
        }
        attribute->m_hasTransition = false;
    }

    void update(float dt) override;

    int countActiveTransitions() const override {
        int count = 0;
        for (TransitionAnimT<T> const& entry : m_entries) {
            count += entry.attribute && entry.isActive() ? 1 : 0;
        }
        return count;
    }

    /// Entries held, finished and dead ones included.
    std::size_t entryCount() const { return m_entries.size(); }

private:
    TransitionManagerT() = default;

    static TransitionManagerT* shared() {
        static TransitionManagerT* const manager = instance();
        return manager;
    }

    /// Drops dead entries at `index` by moving the last entry into the slot. False when the walk ends.
    bool dropDeadEntries(std::size_t index);
    /// Moves one entry on by `dt`; true with the value to show when it moved.
    static bool advance(TransitionAnimT<T>& entry, float dt, T& value);

    Cobalt::ReentrantVector<TransitionAnimT<T>> m_entries;
    // The entry of each attribute that has one.
    QHash<AttributeBaseT<T> const*, TransitionAnimT<T>*> m_entryOf;
};

template <typename T>
bool TransitionManagerT<T>::dropDeadEntries(std::size_t index) {
    while (m_entries[index].attribute == nullptr) {
        std::size_t const last = m_entries.size() - 1;
        if (index == last) {
            m_entries.erase(last);
            return false;
        }
        m_entries[index] = std::move(m_entries[last]);
        track(m_entries[index]);
        m_entries[last].attribute = nullptr; // the moved-out slot must not clear the moved entry's owner
        m_entries.erase(last);
    }
    return true;
}

template <typename T>
bool TransitionManagerT<T>::advance(TransitionAnimT<T>& entry, float dt, T& value) {
    if (entry.speed > 0) {
        if (entry.progress >= 1) {
            return false;
        }
        entry.progress += entry.speed * dt;
        if (entry.progress >= 1) {
            value = entry.to;
            return true;
        }
        if (entry.progress < 0) {
            return false; // still in the delay
        }
    } else if (entry.speed < 0) {
        if (entry.progress <= 0) {
            return false;
        }
        entry.progress += entry.speed * dt;
        if (entry.progress <= 0) {
            value = entry.from;
            return true;
        }
        if (entry.progress > 1) {
            return false;
        }
    } else {
        return false;
    }
    float const y = BezierTimingFunction::evaluate(entry.progress, entry.x1, entry.y1, entry.x2, entry.y2);
    value = ValueTraits<T>::blend(entry.from, entry.to, y);
    return true;
}

template <typename T>
void TransitionManagerT<T>::update(float dt) {
    // The end is fixed now, so entries added by listeners during this walk wait for the next update.
    typename Cobalt::ReentrantVector<TransitionAnimT<T>>::Iterator current(m_entries, 0);
    typename Cobalt::ReentrantVector<TransitionAnimT<T>>::Iterator end(m_entries, m_entries.size());
    while (current.index() < end.index() && current.index() < m_entries.size()) {
        if (!dropDeadEntries(current.index())) {
            break;
        }
        T value{};
        if (advance(m_entries[current.index()], dt, value)) {
            AttributeBaseT<T>* const attribute = m_entries[current.index()].attribute;
            // Listeners run here and may start, stop or destroy transitions; the iterators follow.
            attribute->setAnimatedValue(value);
        }
        current.step();
    }
}

} // namespace Basalt

namespace Cobalt {

template <typename T>
struct ReentrantVectorTraits<Basalt::TransitionAnimT<T>> {
    static void relocated(Basalt::TransitionAnimT<T>& entry) { Basalt::TransitionManagerT<T>::track(entry); }
    static void removed(Basalt::TransitionAnimT<T>& entry) {
        if (entry.attribute) {
            Basalt::TransitionManagerT<T>::release(entry.attribute);
        }
    }
};

} // namespace Cobalt
