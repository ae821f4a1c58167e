#include "platform/basalt/TransitionManager.hpp"

#include "platform/cobalt/StringUtils.hpp"

#include <algorithm>
#include <cmath>
#include <mutex>

namespace Basalt {

namespace {

// Never destroyed: the managers live as long as the process, and the list must outlive every static that
// might still update them at exit.
std::vector<TransitionManager*>& managerList() {
    static auto* const managers = new std::vector<TransitionManager*>();
    return *managers;
}

float bezier(float t, float a, float b) {
    float const u = 1.0f - t;
    return 3.0f * u * u * t * a + 3.0f * u * t * t * b + t * t * t;
}

float bezierSlope(float t, float a, float b) {
    float const u = 1.0f - t;
    return 3.0f * u * u * a + 6.0f * u * t * (b - a) + 3.0f * t * t * (1.0f - b);
}

} // namespace

float BezierTimingFunction::evaluate(float p, float x1, float y1, float x2, float y2) {
    constexpr int maximumSteps = 5;
    constexpr float tolerance = 0.0001f;
    constexpr float damping = 0.9f;
    float t = p;
    for (int step = 0; step < maximumSteps; ++step) {
        float const error = p - bezier(t, x1, x2);
        if (std::fabs(error) < tolerance) {
            break;
        }
        t = std::clamp(t + damping * error / bezierSlope(t, x1, x2), 0.0f, 1.0f);
    }
    return bezier(t, y1, y2);
}

TransitionManager::TransitionManager() {
    std::lock_guard<Cobalt::Mutex> lock(Cobalt::s_singletonMutex);
    managerList().push_back(this);
}

TransitionManager::~TransitionManager() {
    std::lock_guard<Cobalt::Mutex> lock(Cobalt::s_singletonMutex);
    auto& managers = managerList();
    managers.erase(std::remove(managers.begin(), managers.end(), this), managers.end());
}

std::vector<TransitionManager*> const& TransitionManager::instances() {
    return managerList();
}

void TransitionManager::updateAll(float dt) {
    // Index walk: an update may create the manager of another type.
    for (std::size_t i = 0; i < managerList().size(); ++i) {
        managerList()[i]->update(dt);
    }
}

} // namespace Basalt
