#include "platform/cobalt/VersionString.hpp"

#include <gtest/gtest.h>

using Cobalt::VersionString;

namespace {

struct OrderRow {
    char const* left;
    char const* right;
    int sign; // -1: left is older, 0: same version, 1: left is newer
};

// Components compare as numbers; missing ones count as 0; a component's leading digits are its number.
OrderRow const orderRows[] = {
    {"3.2.0", "3.10.0", -1},
    {"3.10.0", "3.9.9", 1},
    {"3.2", "3.2.0", 0},
    {"3.2.0.0", "3.2", 0},
    {"3", "3.0.1", -1},
    {"10", "9", 1},
    {"1.0.0", "1.0.0", 0},
    {"2-beta", "2", 0},
    {"2-beta", "2.0.0", 0},
    {"2-beta", "3", -1},
    {"1.2-rc1", "1.2.0", 0},
    {"1.2-rc1", "1.10-rc1", -1},
    {"3.x", "3.0", 0},
    {"3.x.1", "3.0.1", 0},
    {"", "0", 0},
    {"", "0.0.1", -1},
    {"", "", 0},
    {"0.9", "1", -1},
};

int signOf(int value) {
    return value < 0 ? -1 : value > 0 ? 1 : 0;
}

} // namespace

TEST(VersionString, ComparesComponentByComponentAsNumbers) {
    for (OrderRow const& row : orderRows) {
        VersionString const left{QString::fromLatin1(row.left)};
        VersionString const right{QString::fromLatin1(row.right)};
        SCOPED_TRACE(::testing::Message() << '"' << row.left << "\" vs \"" << row.right << '"');
        EXPECT_EQ(signOf(left.compare(right)), row.sign);
        EXPECT_EQ(signOf(right.compare(left)), -row.sign) << "comparison must be antisymmetric";
        EXPECT_EQ(left < right, row.sign < 0);
        EXPECT_EQ(left > right, row.sign > 0);
        EXPECT_EQ(left <= right, row.sign <= 0);
        EXPECT_EQ(left >= right, row.sign >= 0);
        EXPECT_EQ(left == right, row.sign == 0);
        EXPECT_EQ(left != right, row.sign != 0);
    }
}

TEST(VersionString, ComponentsAreTheLeadingNumbers) {
    EXPECT_EQ(VersionString(QStringLiteral("3.10.2-beta")).components(), (QVector<int>{3, 10, 2}));
    EXPECT_EQ(VersionString(QStringLiteral("2-beta")).components(), (QVector<int>{2}));
    EXPECT_EQ(VersionString(QStringLiteral("4.rc.7")).components(), (QVector<int>{4, 0, 7}));
}

TEST(VersionString, KeepsTheTextItWasMadeFrom) {
    EXPECT_EQ(VersionString(QStringLiteral("3.2-beta")).toString(), QStringLiteral("3.2-beta"));
    EXPECT_TRUE(VersionString().toString().isEmpty());
}

TEST(VersionString, EmptyTextIsAnEmptyVersion) {
    EXPECT_TRUE(VersionString().isEmpty());
    EXPECT_TRUE(VersionString(QString()).isEmpty());
    EXPECT_TRUE(VersionString(QStringLiteral("")).isEmpty());
    EXPECT_TRUE(VersionString(QStringLiteral("   ")).isEmpty());
    EXPECT_TRUE(VersionString().components().isEmpty());
    EXPECT_FALSE(VersionString(QStringLiteral("0")).isEmpty());
    EXPECT_EQ(VersionString(), VersionString(QStringLiteral("")));
    EXPECT_LT(VersionString(), VersionString(QStringLiteral("0.0.1")));
}
