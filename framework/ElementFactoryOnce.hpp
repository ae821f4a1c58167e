#pragma once

#include "platform/cobalt/StringUtils.hpp"
#include "platform/tessel/ElementFactory.hpp"

#include <atomic>
#include <memory>
#include <mutex>

namespace Datamodel {

/// The one factory of a document type, built by `build` on the first call from any thread and shared
/// after: the flag is tested without a lock, then again under `Cobalt::s_onceMutex`, so it is built exactly
/// once and later calls take no lock.
template <typename Build>
std::shared_ptr<Tessel::ElementFactory>
elementFactoryOnce(std::atomic<bool>& built, std::shared_ptr<Tessel::ElementFactory>& factory, Build build) {
    if (!built.load(std::memory_order_acquire)) {
        std::lock_guard<Cobalt::Mutex> lock(Cobalt::s_onceMutex);
        if (!built.load(std::memory_order_relaxed)) {
            factory = build();
            built.store(true, std::memory_order_release);
        }
    }
    return factory;
}

} // namespace Datamodel
