#include "platform/tessel/AvatarColor.hpp"

#include <QColor>

#include <cstdint>

namespace Tessel {

namespace {

constexpr int s_hueCount = 24;
constexpr double s_saturation = 0.55;
constexpr double s_lightness = 0.45;

/// FNV-1a over the bytes: fixed here rather than taken from Qt, whose hashes may change between
/// releases and would then recolour every user.
std::uint32_t stableHash(QByteArray const& bytes) {
    std::uint32_t hash = 2166136261u;
    for (char const byte : bytes) {
        hash ^= static_cast<std::uint8_t>(byte);
        hash *= 16777619u;
    }
    return hash;
}

} // namespace

Cobalt::Color randomAvatarColor(QString const& seed) {
    int const hueIndex = static_cast<int>(stableHash(seed.toLower().toUtf8()) % s_hueCount);
    QColor const color =
        QColor::fromHslF(static_cast<double>(hueIndex) / s_hueCount, s_saturation, s_lightness);
    return Cobalt::Color(static_cast<float>(color.redF()), static_cast<float>(color.greenF()),
                         static_cast<float>(color.blueF()), 1.0f);
}

} // namespace Tessel
