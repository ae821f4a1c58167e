#pragma once

#include "platform/cobalt/Flags.hpp"

#include "folly/Executor.h"

#include <QMutex>
#include <QMutexLocker>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

namespace Basalt {

/// Options of a `Basalt::Event` listener.
enum class EventFlag : unsigned {
    ONE_SHOT = 1, ///< called by at most one raise, then removed
};

/// A typed signal, safe across threads: listeners are added, removed and raised from any thread.
///
/// A listener without an executor is called at once on the raising thread; one with an executor gets a
/// task on that executor with copies of the arguments. A listener with an owner is skipped, and removed,
/// once the owner has died; a task whose owner dies before it runs does nothing. A listener added during a
/// raise first hears the next raise. The mutex guards bookkeeping only and is never held during a call.
///
/// The state lives behind a shared pointer, so an event may be destroyed by one of its own listeners.
template <typename... Args>
class Event {
public:
    using Function = std::function<void(Args...)>;
    using Flags = Cobalt::FlagsT<EventFlag>;

    Event() : m_d(std::make_shared<D>()) {}
    Event(Event const&) = delete;
    Event& operator=(Event const&) = delete;

    /// Adds a listener with every option. `owner` empty means the listener has no owner; `executor` null
    /// means it is called on the raising thread.
    void addListener(folly::Executor* executor, std::optional<std::weak_ptr<void>> owner, int id, Flags flags,
                     Function function) {
        Listener listener(executor, std::move(owner), id, flags, std::move(function));
        QMutexLocker lock(&m_d->mutex);
        if (m_d->raiseDepth > 0) {
            m_d->pending.push_back(std::move(listener));
            m_d->hasPending = true;
        } else {
            m_d->listeners.push_back(std::move(listener));
        }
    }
    /// Shorter forms; each returns the identifier it gave the listener.
    int addListener(Function function, Flags flags = Flags()) {
        return add(nullptr, std::nullopt, flags, std::move(function));
    }
    int addListener(std::weak_ptr<void> owner, Function function, Flags flags = Flags()) {
        return add(nullptr, std::move(owner), flags, std::move(function));
    }
    int addListener(folly::Executor* executor, Function function, Flags flags = Flags()) {
        return add(executor, std::nullopt, flags, std::move(function));
    }
    int addListener(folly::Executor* executor, std::weak_ptr<void> owner, Function function,
                    Flags flags = Flags()) {
        return add(executor, std::move(owner), flags, std::move(function));
    }

    /// Deactivates every listener with this identifier; false if there was none. It is dropped at the end
    /// of the outermost raise, or at once when no raise runs.
    bool removeListener(int id) {
        QMutexLocker lock(&m_d->mutex);
        bool found = false;
        for (std::vector<Listener>* list : {&m_d->listeners, &m_d->pending}) {
            for (Listener& listener : *list) {
                if (listener.id == id && listener.active.exchange(false)) {
                    found = true;
                }
            }
        }
        m_d->needsCleanup = m_d->needsCleanup || found;
        if (m_d->raiseDepth == 0) {
            tidy(*m_d);
        }
        return found;
    }

    /// Listeners that are active, pending ones included.
    int listenerCount() const {
        QMutexLocker lock(&m_d->mutex);
        int count = 0;
        for (std::vector<Listener> const* list : {&m_d->listeners, &m_d->pending}) {
            for (Listener const& listener : *list) {
                count += listener.active.load() ? 1 : 0;
            }
        }
        return count;
    }

    /// Calls or schedules every active listener, in order of adding.
    void raise(Args... args) const {
        std::shared_ptr<D> const d = m_d; // keeps the state alive if a listener destroys this event
        RaiseScope scope(*d);
        std::size_t const count = d->listeners.size();
        for (std::size_t i = 0; i < count; ++i) {
            deliver(d->listeners[i], scope, args...);
        }
    }

private:
    struct Listener {
        Listener(folly::Executor* executor_, std::optional<std::weak_ptr<void>> owner_, int id_, Flags flags_,
                 Function function_)
            : executor(executor_), owner(owner_ ? *owner_ : std::weak_ptr<void>()), id(id_), flags(flags_),
              hasOwner(owner_.has_value()), active(true), function(std::move(function_)) {}
        Listener(Listener&& other) noexcept
            : executor(other.executor), owner(std::move(other.owner)), id(other.id), flags(other.flags),
              hasOwner(other.hasOwner), active(other.active.load()), function(std::move(other.function)) {}
        Listener& operator=(Listener&& other) noexcept {
            executor = other.executor;
            owner = std::move(other.owner);
            id = other.id;
            flags = other.flags;
            hasOwner = other.hasOwner;
            active.store(other.active.load());
            function = std::move(other.function);
            return *this;
        }

        folly::Executor* executor;
        std::weak_ptr<void> owner;
        int id;
        Flags flags;
        bool hasOwner;
        std::atomic<bool> active;
        Function function;
    };

    struct D {
        QMutex mutex;
        std::vector<Listener> listeners;
        std::vector<Listener> pending;
        int raiseDepth = 0;
        bool hasPending = false;
        bool needsCleanup = false;
    };

    /// Counts a raise in and out; the outermost one tidies up, also when a listener throws.
    class RaiseScope {
    public:
        explicit RaiseScope(D& d) : m_d(d) {
            QMutexLocker lock(&m_d.mutex);
            ++m_d.raiseDepth;
        }
        ~RaiseScope() {
            QMutexLocker lock(&m_d.mutex);
            m_d.needsCleanup = m_d.needsCleanup || m_cleanupNeeded;
            if (--m_d.raiseDepth == 0) {
                tidy(m_d);
            }
        }
        void noteCleanup() { m_cleanupNeeded = true; }

    private:
        D& m_d;
        bool m_cleanupNeeded = false;
    };

    int add(folly::Executor* executor, std::optional<std::weak_ptr<void>> owner, Flags flags,
            Function function) {
        static std::atomic<int> counter{0};
        int const id = counter.fetch_add(1, std::memory_order_relaxed) + 1;
        addListener(executor, std::move(owner), id, flags, std::move(function));
        return id;
    }

    /// Erases inactive listeners, keeping the order, and appends the pending ones. Under the mutex, with
    /// no raise running.
    static void tidy(D& d) {
        if (d.needsCleanup) {
            d.needsCleanup = false;
            std::vector<Listener> kept;
            kept.reserve(d.listeners.size());
            for (Listener& listener : d.listeners) {
                if (listener.active.load()) {
                    kept.push_back(std::move(listener));
                }
            }
            d.listeners.swap(kept);
        }
        if (d.hasPending) {
            d.hasPending = false;
            for (Listener& listener : d.pending) {
                d.listeners.push_back(std::move(listener));
            }
            d.pending.clear();
        }
    }

    static void deliver(Listener& listener, RaiseScope& scope, Args const&... args) {
        if (listener.flags.test(EventFlag::ONE_SHOT)) {
            if (!listener.active.exchange(false)) {
                return;
            }
            scope.noteCleanup();
        } else if (!listener.active.load()) {
            return;
        }
        std::shared_ptr<void> lockedOwner;
        if (listener.hasOwner) {
            lockedOwner = listener.owner.lock();
            if (!lockedOwner) {
                listener.active.store(false);
                scope.noteCleanup();
                return;
            }
        }
        if (!listener.executor) {
            listener.function(args...);
            return;
        }
        listener.executor->add([function = listener.function, owner = listener.owner,
                                hasOwner = listener.hasOwner, arguments = std::make_tuple(args...)]() {
            std::shared_ptr<void> const alive = hasOwner ? owner.lock() : nullptr;
            if (hasOwner && !alive) {
                return;
            }
            std::apply(function, arguments);
        });
    }

    std::shared_ptr<D> m_d;
};

} // namespace Basalt
