#pragma once

// Bundled stand-in for <folly/Unit.h>: folly's names and semantics, only the part the data model uses.

#include <type_traits>

namespace folly {

/// The value type of "nothing": the result type of futures whose continuation returns void.
/// Every Unit equals every other Unit. Future<void> is not a thing in folly; Future<Unit> is.
struct Unit {
    constexpr bool operator==(const Unit& /*other*/) const { return true; }
    constexpr bool operator!=(const Unit& /*other*/) const { return false; }
};

/// The one Unit value.
inline constexpr Unit unit{};

/// Maps void to Unit and leaves every other type alone.
template <typename T>
struct lift_unit {
    using type = T;
};
template <>
struct lift_unit<void> {
    using type = Unit;
};
template <typename T>
using lift_unit_t = typename lift_unit<T>::type;

/// Maps Unit back to void and leaves every other type alone.
template <typename T>
struct drop_unit {
    using type = T;
};
template <>
struct drop_unit<Unit> {
    using type = void;
};
template <typename T>
using drop_unit_t = typename drop_unit<T>::type;

/// An empty tag type naming a list of types; used for overload selection, e.g.
/// `future.thenError(folly::tag_t<MyError>{}, handler)`. Real folly declares it in Traits.h /
/// Utility.h; it lives here so that every futures header sees it.
template <typename... T>
struct tag_t {};

/// A ready-made tag_t value: `future.thenError(folly::tag<MyError>, handler)`.
template <typename... T>
inline constexpr tag_t<T...> tag{};

} // namespace folly
