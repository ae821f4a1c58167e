#pragma once

#include <cstddef>
#include <functional>

namespace Tessel {

/// The end of an incoming transaction: while the platform applies changes that came from the server, a
/// `ClientTransaction` scope is open on the document's thread, and callbacks queued with `onTransactionEnd`
/// run when it closes. Listeners use it to announce a burst of changes once.
class ClientTransaction {
public:
    /// Opens a scope on this thread; scopes nest, and the innermost one takes the callbacks.
    ClientTransaction();
    /// Runs the callbacks queued in this scope, in ascending order, and those they queue in turn.
    ~ClientTransaction();
    ClientTransaction(ClientTransaction const&) = delete;
    ClientTransaction& operator=(ClientTransaction const&) = delete;

    /// Queues `callback` for the end of the current incoming transaction: one entry per key and order (a
    /// second call replaces the function and keeps the place), run in ascending order of `order`, then of
    /// queueing. With no transaction open on this thread the callback runs at once.
    static void onTransactionEnd(void const* key, int order, std::function<void()> callback);
    /// Forgets the key's entries in every open scope of this thread; called from destructors.
    static void clearTransactionEndCallback(void const* key);
    /// Whether an incoming transaction is being applied on this thread.
    static bool isActive();

private:
    /// This scope's place in the thread's stack of scopes.
    std::size_t m_depth;
};

} // namespace Tessel
