#pragma once

#include <vector>

namespace Basalt {

/// How an attribute animates a new value: over `duration` seconds after `delay` seconds, along the cubic
/// Bézier timing curve from (0, 0) to (1, 1) with control points (x1, y1) and (x2, y2). A duration that is
/// not above 0 switches transitions off. The default curve is the common "ease".
struct TransitionParameters {
    float duration = 0.0f;
    float delay = 0.0f;
    float x1 = 0.25f;
    float y1 = 0.1f;
    float x2 = 0.25f;
    float y2 = 1.0f;
};

/// The timing curve: maps progress in time to progress of the value.
class BezierTimingFunction {
public:
    BezierTimingFunction(float x1, float y1, float x2, float y2) : m_x1(x1), m_y1(y1), m_x2(x2), m_y2(y2) {}

    /// The curve's y at time progress `p` in 0 to 1. Solves x(t) = p by at most five damped Newton steps
    /// (factor 0.9, t clamped to 0..1), stopping early once |p - x(t)| < 0.0001; the bounded cost matters
    /// more than the last digit.
    float y(float p) const { return evaluate(p, m_x1, m_y1, m_x2, m_y2); }

    /// The same procedure for a curve given by its four numbers, for callers that keep them inline.
    static float evaluate(float p, float x1, float y1, float x2, float y2);

private:
    float m_x1, m_y1, m_x2, m_y2;
};

/// Base of the per-type transition managers. Each manager enters itself in `instances()` when built; the
/// application's main loop calls `update` on every manager of that list, on the thread of the documents.
class TransitionManager {
public:
    TransitionManager();
    TransitionManager(TransitionManager const&) = delete;
    TransitionManager& operator=(TransitionManager const&) = delete;
    /// Leaves the list.
    virtual ~TransitionManager();

    /// Moves every running transition on by `dt` (the unit of durations and delays).
    virtual void update(float dt) = 0;
    /// Transitions that are running or waiting in their delay, and still have an attribute.
    virtual int countActiveTransitions() const = 0;

    /// Every manager, in order of creation. Guarded by `Cobalt::s_singletonMutex` while it changes.
    static std::vector<TransitionManager*> const& instances();
    /// Calls `update(dt)` on every manager.
    static void updateAll(float dt);
};

} // namespace Basalt
