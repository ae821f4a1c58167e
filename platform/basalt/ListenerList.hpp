#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace Basalt {

namespace detail {
/// Identifiers of listeners, unique in the process, never 0 or -1.
long nextListenerId();
} // namespace detail

/// An ordered list of callbacks, each with a bit mask of the occasions it wants and an optional owner.
///
/// Made for one thread and for reentrance: a callback may add or remove listeners, call the list again, or
/// destroy the object that holds the list. Listeners added during a call are first called by the next call;
/// a listener removed during a call is not called again, even by the call that is running. Calling allocates
/// nothing.
template <typename... Args>
class ListenerListT {
public:
    using Function = std::function<void(Args...)>;

    ListenerListT() = default;
    ListenerListT(ListenerListT const&) = delete;
    ListenerListT& operator=(ListenerListT const&) = delete;

    ~ListenerListT() {
        if (!m_frames) {
            return;
        }
        // Destroyed from inside one of its own callbacks: the running callback must outlive this object, so
        // the outermost call keeps the entries until it returns.
        Frame* outermost = m_frames;
        for (Frame* frame = m_frames; frame; frame = frame->outer) {
            frame->destroyed = true;
            outermost = frame;
        }
        outermost->orphans = std::make_unique<std::vector<std::unique_ptr<Entry>>>(std::move(m_entries));
    }

    /// Adds a listener and returns its identifier.
    long add(Function function, unsigned mask, void const* owner = nullptr) {
        long const id = detail::nextListenerId();
        m_entries.push_back(std::unique_ptr<Entry>(new Entry{id, mask, owner, std::move(function)}));
        return id;
    }

    /// Removes the listener with this identifier; false if there is none. Identifiers grow with each `add`,
    /// so the list is in their order and the listener is found by halving.
    bool remove(long id) {
        auto const found = std::lower_bound(
            m_entries.begin(), m_entries.end(), id,
            [](std::unique_ptr<Entry> const& entry, long wanted) { return entry->id < wanted; });
        if (found == m_entries.end() || (*found)->id != id || (*found)->mask == 0) {
            return false;
        }
        retire(**found);
        compactIfIdle();
        return true;
    }

    /// Takes the bits of `mask` from every listener of `owner`; a listener left with no bit is removed.
    void removeOwner(void const* owner, unsigned mask) {
        for (auto& entry : m_entries) {
            if (entry->owner != owner || entry->mask == 0) {
                continue;
            }
            unsigned const remaining = entry->mask & ~mask;
            if (remaining == 0) {
                retire(*entry);
            } else {
                entry->mask = remaining;
            }
        }
        compactIfIdle(); // only after the walk: compacting replaces the vector being walked
    }

    /// Calls, in order of adding, every listener whose mask meets `mask`. Returns false when the list was
    /// destroyed by a callback, in which case the caller must not touch the object that held it.
    bool call(unsigned mask, Args... args) {
        Frame frame{m_frames, false, nullptr};
        m_frames = &frame;
        std::size_t const count = m_entries.size();
        for (std::size_t i = 0; i < count; ++i) {
            Entry& entry = *m_entries[i];
            if ((entry.mask & mask) == 0) {
                continue;
            }
            entry.function(args...);
            if (frame.destroyed) {
                return false;
            }
        }
        m_frames = frame.outer;
        compactIfIdle();
        return true;
    }

    /// Number of listeners in force.
    std::size_t size() const { return m_entries.size() - m_retired; }
    bool empty() const { return size() == 0; }

private:
    struct Entry {
        long id;
        unsigned mask; // 0 once removed
        void const* owner;
        Function function;
    };
    struct Frame {
        Frame* outer;
        bool destroyed = false;
        // Filled only when the list dies inside a callback: keeps the entries until the call returns.
        std::unique_ptr<std::vector<std::unique_ptr<Entry>>> orphans;
    };

    // A removed entry stays in place (its function may be running) until no call is in progress.
    void retire(Entry& entry) {
        entry.mask = 0;
        ++m_retired;
    }

    // Sweeping once the removed entries are as many as those in force keeps each removal of a long list
    // cheap, however many go one after the other.
    void compactIfIdle() {
        if (!m_frames && m_retired > 0 && m_retired * 2 >= m_entries.size()) {
            compact();
        }
    }

    void compact() {
        m_retired = 0;
        std::vector<std::unique_ptr<Entry>> kept;
        kept.reserve(m_entries.size());
        for (auto& entry : m_entries) {
            if (entry->mask != 0) {
                kept.push_back(std::move(entry));
            }
        }
        m_entries.swap(kept);
    }

    std::vector<std::unique_ptr<Entry>> m_entries;
    Frame* m_frames = nullptr;
    /// Entries removed but still in the list.
    std::size_t m_retired = 0;
};

} // namespace Basalt
