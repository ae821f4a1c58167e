#pragma once

#include "folly/Executor.h"

#include <QObject>

namespace Tessel {

/// Runs work on a thread's Qt event loop, one item at a time, in the order added: the executor of a document
/// whose operators use `QTimer`, and of a client that lives in a Qt application. `add` may be called from
/// any thread.
class QtExecutor final : public folly::Executor {
public:
    /// Work runs on the event loop of the thread that makes the executor.
    QtExecutor();
    ~QtExecutor() override;
    QtExecutor(QtExecutor const&) = delete;
    QtExecutor& operator=(QtExecutor const&) = delete;

    void add(folly::Func func) override;

private:
    QObject m_context;
};

} // namespace Tessel
