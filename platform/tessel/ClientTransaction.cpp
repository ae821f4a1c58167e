#include "platform/tessel/ClientTransaction.hpp"

#include <algorithm>
#include <vector>

namespace Tessel {

namespace {

struct Entry {
    void const* key;
    int order;
    std::function<void()> callback;
};

/// The callbacks of each open scope of this thread, innermost last.
std::vector<std::vector<Entry>>& scopes() {
    thread_local std::vector<std::vector<Entry>> stack;
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
        std::vector<Entry> entries = std::move(scopes()[m_depth]);
        scopes()[m_depth].clear();
        std::stable_sort(entries.begin(), entries.end(),
                         [](Entry const& a, Entry const& b) { return a.order < b.order; });
        for (Entry& entry : entries) {
            entry.callback();
        }
    }
    scopes().pop_back();
}

void ClientTransaction::onTransactionEnd(void const* key, int order, std::function<void()> callback) {
    if (scopes().empty()) {
        callback();
        return;
    }
    std::vector<Entry>& entries = scopes().back();
    auto const found = std::find_if(entries.begin(), entries.end(), [&](Entry const& entry) {
        return entry.key == key && entry.order == order;
    });
    if (found != entries.end()) {
        found->callback = std::move(callback);
        return;
    }
    entries.push_back({key, order, std::move(callback)});
}

void ClientTransaction::clearTransactionEndCallback(void const* key) {
    for (std::vector<Entry>& entries : scopes()) {
        entries.erase(std::remove_if(entries.begin(), entries.end(),
                                     [&](Entry const& entry) { return entry.key == key; }),
                      entries.end());
    }
}

bool ClientTransaction::isActive() {
    return !scopes().empty();
}

} // namespace Tessel
