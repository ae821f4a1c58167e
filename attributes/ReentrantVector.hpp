#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace Cobalt {

/// What a ReentrantVector tells its entries when they move or leave. Entries that others point at (a
/// transition entry and its attribute's back pointer) specialise this to keep those pointers true.
template <typename T>
struct ReentrantVectorTraits {
    /// `entry` now lives at a new address.
    static void relocated(T&) {}
    /// `entry` is about to be erased.
    static void removed(T&) {}
};

/// A vector that may be changed while someone walks it. Walkers use `Iterator`, which registers with the
/// vector; an erase adjusts every registered iterator so that none skips or repeats an entry. One thread.
template <typename T>
class ReentrantVector {
public:
    using Traits = ReentrantVectorTraits<T>;

    /// A position in the vector that follows erasures: an erase before it moves it back, an erase at it
    /// leaves it in place and makes the next `step` stay, so the entry that moved into the place is seen.
    class Iterator {
    public:
        Iterator(ReentrantVector& vector, std::size_t index) : m_vector(&vector), m_index(index) {
            m_vector->addIterator(this);
        }
        Iterator(Iterator const&) = delete;
        Iterator& operator=(Iterator const&) = delete;
        ~Iterator() { m_vector->removeIterator(this); }

        std::size_t index() const { return m_index; }
        /// Moves to the next entry, or stays if the entry here was just erased.
        void step() {
            if (m_erasedHere) {
                m_erasedHere = false;
            } else {
                ++m_index;
            }
        }

    private:
        friend class ReentrantVector;
        ReentrantVector* m_vector;
        std::size_t m_index;
        bool m_erasedHere = false;
    };

    ReentrantVector() = default;
    ReentrantVector(ReentrantVector const&) = delete;
    ReentrantVector& operator=(ReentrantVector const&) = delete;

    std::size_t size() const { return m_items.size(); }
    bool empty() const { return m_items.empty(); }
    T& operator[](std::size_t index) { return m_items[index]; }
    T const& operator[](std::size_t index) const { return m_items[index]; }
    T& back() { return m_items.back(); }
    typename std::vector<T>::const_iterator begin() const { return m_items.begin(); }
    typename std::vector<T>::const_iterator end() const { return m_items.end(); }

    /// Appends; when the storage grows, every entry is told it moved.
    T& append(T item) {
        bool const grows = m_items.size() == m_items.capacity();
        m_items.push_back(std::move(item));
        if (grows) {
            for (T& entry : m_items) {
                Traits::relocated(entry);
            }
        } else {
            Traits::relocated(m_items.back());
        }
        return m_items.back();
    }

    /// Erases one entry, shifting the later ones down, and adjusts the registered iterators.
    void erase(std::size_t index) {
        Traits::removed(m_items[index]);
        for (std::size_t i = index + 1; i < m_items.size(); ++i) {
            m_items[i - 1] = std::move(m_items[i]);
            Traits::relocated(m_items[i - 1]);
        }
        m_items.pop_back();
        for (Iterator* iterator : m_iterators) {
            if (iterator->m_index > index) {
                --iterator->m_index;
            } else if (iterator->m_index == index) {
                iterator->m_erasedHere = true;
            }
        }
    }

    void addIterator(Iterator* iterator) { m_iterators.push_back(iterator); }
    void removeIterator(Iterator* iterator) {
        m_iterators.erase(std::remove(m_iterators.begin(), m_iterators.end(), iterator), m_iterators.end());
    }

private:
    std::vector<T> m_items;
    std::vector<Iterator*> m_iterators;
};

} // namespace Cobalt
