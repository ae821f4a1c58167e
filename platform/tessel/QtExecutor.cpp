#include "platform/tessel/QtExecutor.hpp"

#include <QMetaObject>

#include <memory>

namespace Tessel {

QtExecutor::QtExecutor() = default;

QtExecutor::~QtExecutor() = default;

void QtExecutor::add(folly::Func func) {
    // Qt copies the functor it queues; the work itself may only move.
    auto work = std::make_shared<folly::Func>(std::move(func));
    QMetaObject::invokeMethod(
        &m_context, [work] { (*work)(); }, Qt::QueuedConnection);
}

} // namespace Tessel
