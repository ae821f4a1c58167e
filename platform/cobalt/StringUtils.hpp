#pragma once

#include "platform/cobalt/Mutex.hpp"

#include <QByteArray>
#include <QString>

#include <limits>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeinfo>

namespace Cobalt {

/// Guards one-time set-ups (a function-local flag is tested, then set under this lock). Recursive, because a
/// set-up may trigger another.
extern Mutex s_onceMutex;
/// Guards the creation of process-wide singletons. Recursive for the same reason.
extern Mutex s_singletonMutex;

/// Text conversions of values and type names.
namespace StringUtils {

/// The readable form of a mangled type name ("N6Cobalt5ColorE" gives "Cobalt::Color"). A name that can't be
/// demangled comes back as it is.
QByteArray demangle(char const* mangledName);

namespace detail {

template <typename T, typename = void>
struct HasStreamOutput : std::false_type {};
template <typename T>
struct HasStreamOutput<T, std::void_t<decltype(std::declval<std::ostream&>() << std::declval<T const&>())>>
    : std::true_type {};

} // namespace detail

/// The text of a value as a default-formatted output stream writes it: floats get six significant digits.
/// Enumerations are written as their number.
template <typename T>
QString toString(T const& value) {
    if constexpr (std::is_same_v<T, QString>) {
        return value;
    } else if constexpr (std::is_same_v<T, QByteArray>) {
        return QString::fromUtf8(value);
    } else if constexpr (std::is_enum_v<T>) {
        // Promoted, so that an enumeration stored in one byte is written as a number, not as a character.
        return toString(+static_cast<std::underlying_type_t<T>>(value));
    } else {
        static_assert(detail::HasStreamOutput<T>::value, "toString needs an output stream operator");
        std::ostringstream stream;
        stream << value;
        return QString::fromStdString(stream.str());
    }
}

/// Reads a value from text by stream extraction. Returns false, leaving `value` as it was, when the text
/// doesn't hold a whole value of T (trailing white space is allowed, anything else is not).
template <typename T>
bool fromString(QString const& text, T& value) {
    if constexpr (std::is_same_v<T, QString>) {
        value = text;
        return true;
    } else if constexpr (std::is_same_v<T, QByteArray>) {
        value = text.toUtf8();
        return true;
    } else if constexpr (std::is_enum_v<T>) {
        using Underlying = std::underlying_type_t<T>;
        // Read as the promoted type: a stream reads a one-byte type as a character, not as a number.
        using Number = decltype(+Underlying{});
        Number number{};
        if (!fromString(text, number)) {
            return false;
        }
        if constexpr (sizeof(Underlying) < sizeof(Number)) {
            if (number < std::numeric_limits<Underlying>::lowest() ||
                number > std::numeric_limits<Underlying>::max()) {
                return false;
            }
        }
        value = static_cast<T>(number);
        return true;
    } else {
        std::istringstream stream(text.toStdString());
        T parsed{};
        if (!(stream >> parsed)) {
            return false;
        }
        stream >> std::ws;
        if (!stream.eof()) {
            return false;
        }
        value = parsed;
        return true;
    }
}

/// As above, returning the value; a value-initialised T when the text can't be read. `ok` tells which.
template <typename T>
T fromString(QString const& text, bool* ok = nullptr) {
    T value{};
    bool const parsed = fromString(text, value);
    if (ok) {
        *ok = parsed;
    }
    return value;
}

} // namespace StringUtils
} // namespace Cobalt
