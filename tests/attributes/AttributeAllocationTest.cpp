#include "attributes/AttributeT.hpp"
#include "tests/support/AllocationCounter.hpp"

#include <gtest/gtest.h>

namespace {

constexpr int writes = 10000;

// Documents hold very many attributes written all the time: a write must never touch the heap.
template <typename A, typename V>
std::size_t allocationsOfAlternatingWrites(A& attribute, V const& first, V const& second) {
    int notified = 0;
    attribute.addListener([&notified] { ++notified; }, Basalt::Attribute::ROLE_CHANGE);
    attribute = first; // warm up: the first write may settle lazily built state
    TestSupport::AllocationCounter counter;
    for (int i = 0; i < writes; ++i) {
        attribute = (i % 2 == 0) ? second : first;
    }
    std::size_t const allocations = counter.count();
    EXPECT_EQ(notified, writes + 1) << "every alternating write must reach the listener";
    return allocations;
}

} // namespace

TEST(AttributeAllocation, CounterSeesAnAllocation) {
    TestSupport::AllocationCounter counter;
    // A direct call: the compiler may drop a new-expression paired with its delete, but not this.
    void* memory = ::operator new(16);
    ::operator delete(memory);
    EXPECT_EQ(counter.count(), 1u) << "the counter must see allocations, or the tests below prove nothing";
}

TEST(AttributeAllocation, FloatWritesWithAListenerAllocateNothing) {
    Basalt::AttributeT<float> attribute(nullptr, "width", 0.0f);
    EXPECT_EQ(allocationsOfAlternatingWrites(attribute, 1.0f, 2.0f), 0u);
}

TEST(AttributeAllocation, IntegerWritesAllocateNothing) {
    Basalt::AttributeT<int> ints(nullptr, "count", 0);
    EXPECT_EQ(allocationsOfAlternatingWrites(ints, 1, 2), 0u);
    Basalt::AttributeT<long> longs(nullptr, "id", 0);
    EXPECT_EQ(allocationsOfAlternatingWrites(longs, 1L, 2L), 0u);
}

TEST(AttributeAllocation, ColorAndVectorWritesAllocateNothing) {
    Basalt::AttributeT<Cobalt::ColorPMA> color(nullptr, "background-color", Cobalt::ColorPMA());
    EXPECT_EQ(
        allocationsOfAlternatingWrites(color, Cobalt::ColorPMA(1, 0, 0, 1), Cobalt::ColorPMA(0, 1, 0, 1)),
        0u);
    Basalt::AttributeT<Fathom::Vector2T<float>> vector(nullptr, "offset", Fathom::Vector2T<float>());
    EXPECT_EQ(
        allocationsOfAlternatingWrites(vector, Fathom::Vector2T<float>(1, 2), Fathom::Vector2T<float>(3, 4)),
        0u);
}

TEST(AttributeAllocation, TextWritesOfExistingStringsAllocateNothing) {
    // Qt's strings are shared on copy, so storing an existing text copies no characters.
    QString const first = QStringLiteral("first");
    QString const second = QStringLiteral("second");
    Basalt::AttributeT<QString> text(nullptr, "text", QString());
    EXPECT_EQ(allocationsOfAlternatingWrites(text, first, second), 0u);
}

TEST(AttributeAllocation, TupleWritesAllocateNothing) {
    Basalt::Node host;
    Basalt::AttributeLocation2f location(&host, "location");
    EXPECT_EQ(allocationsOfAlternatingWrites(location, Fathom::Vector2T<float>(1, 2),
                                             Fathom::Vector2T<float>(3, 4)),
              0u);
}
