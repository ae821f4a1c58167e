#include "platform/tessel/ClientTransaction.hpp"

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Tessel {

namespace {

struct Entry {
    void const* key;
    int order;
    /// Empty once the key's entries were cleared.
    std::function<void()> callback;
};

struct KeyAndOrder {
    void const* key;
    int order;
    bool operator==(KeyAndOrder const& other) const { return key == other.key && order == other.order; }
};

struct KeyAndOrderHash {
    std::size_t operator()(KeyAndOrder const& value) const {
        return std::hash<void const*>()(value.key) ^ (std::hash<int>()(value.order) * 0x9e3779b97f4a7c15ULL);
    }
};

/// The callbacks of one open scope, in order of queueing, with where each key's entries are: a transaction
/// that touches many elements queues and clears many entries, each at a constant cost.
struct Scope {
    std::vector<Entry> entries;
    std::unordered_map<KeyAndOrder, std::size_t, KeyAndOrderHash> positions;
    std::unordered_map<void const*, std::vector<std::size_t>> byKey;

    bool empty() const { return entries.empty(); }
};

/// The open scopes of this thread, innermost last.
std::vector<Scope>& scopes() {
    thread_local std::vector<Scope> stack;
    return stack;
}

} // namespace

ClientTransaction::ClientTransaction() {
    m_depth = scopes().size();
    scopes().emplace_back();
}

ClientTransaction::~ClientTransaction() {
    // Callbacks may queue more: they join this scope and run in the next pass.
    while (!scopes()[m_depth].empty()) {
        std::vector<Entry> entries = std::move(scopes()[m_depth].entries);
        scopes()[m_depth] = Scope();
        std::stable_sort(entries.begin(), entries.end(),
                         [](Entry const& a, Entry const& b) { return a.order < b.order; });
        for (Entry& entry : entries) {
            if (entry.callback) {
                entry.callback();
            }
        }
    }
    scopes().pop_back();
}

void ClientTransaction::onTransactionEnd(void const* key, int order, std::function<void()> callback) {
    if (scopes().empty()) {
        callback();
        return;
    }
    Scope& scope = scopes().back();
    auto const found = scope.positions.find({key, order});
    if (found != scope.positions.end()) {
        scope.entries[found->second].callback = std::move(callback);
        return;
    }
    scope.positions.emplace(KeyAndOrder{key, order}, scope.entries.size());
    scope.byKey[key].push_back(scope.entries.size());
    scope.entries.push_back({key, order, std::move(callback)});
}

void ClientTransaction::clearTransactionEndCallback(void const* key) {
    for (Scope& scope : scopes()) {
        auto const found = scope.byKey.find(key);
        if (found == scope.byKey.end()) {
            continue;
        }
        for (std::size_t const position : found->second) {
            Entry& entry = scope.entries[position];
            entry.callback = nullptr;
            scope.positions.erase({key, entry.order});
        }
        scope.byKey.erase(found);
    }
}

bool ClientTransaction::isActive() {
    return !scopes().empty();
}

} // namespace Tessel
