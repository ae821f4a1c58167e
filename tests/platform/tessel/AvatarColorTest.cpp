#include "platform/tessel/AvatarColor.hpp"

#include <gtest/gtest.h>

#include <QColor>
#include <QSet>

#include <cmath>

namespace {

QColor asQColor(Cobalt::Color const& color) {
    return QColor::fromRgbF(color.red, color.green, color.blue, color.alpha);
}

QString seedNumber(int i) {
    return QStringLiteral("user%1@example.org").arg(i);
}

} // namespace

TEST(AvatarColor, TheSameSeedAlwaysGivesTheSameColour) {
    for (char const* seed : {"", "alice@example.org", "bob@example.org", "\u00e9l\u00e8ve@example.org"}) {
        QString const text = QString::fromUtf8(seed);
        EXPECT_EQ(Tessel::randomAvatarColor(text), Tessel::randomAvatarColor(QString(text)))
            << "the colour depends on the seed alone: " << seed;
    }
}

TEST(AvatarColor, SeedsThatDifferOnlyInCaseShareTheirColour) {
    EXPECT_EQ(Tessel::randomAvatarColor(QStringLiteral("Alice@Example.ORG")),
              Tessel::randomAvatarColor(QStringLiteral("alice@example.org")));
}

TEST(AvatarColor, ColoursAreOpaqueHuesOfOneSaturationAndLightness) {
    for (int i = 0; i < 50; ++i) {
        Cobalt::Color const color = Tessel::randomAvatarColor(seedNumber(i));
        SCOPED_TRACE(seedNumber(i).toStdString());
        EXPECT_EQ(color.alpha, 1.0f) << "avatars are opaque";
        QColor const hsl = asQColor(color).toHsl();
        EXPECT_NEAR(hsl.hslSaturationF(), 0.55, 0.01);
        EXPECT_NEAR(hsl.lightnessF(), 0.45, 0.01);
        double const step = hsl.hslHueF() * 24.0;
        EXPECT_NEAR(step, std::round(step), 0.02) << "hues lie on a wheel of 24 steps";
    }
}

TEST(AvatarColor, DifferentSeedsSpreadOverTheWheel) {
    QSet<QRgb> seen;
    for (int i = 0; i < 100; ++i) {
        seen.insert(asQColor(Tessel::randomAvatarColor(seedNumber(i))).rgb());
    }
    EXPECT_GE(seen.size(), 12) << "a hundred users spread over at least half of the 24 colours";
}
