#include "platform/cobalt/StringUtils.hpp"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace Cobalt {

Mutex s_onceMutex(true);
Mutex s_singletonMutex(true);

namespace StringUtils {

QByteArray demangle(char const* mangledName) {
    if (!mangledName) {
        return QByteArray();
    }
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> readable(
        abi::__cxa_demangle(mangledName, nullptr, nullptr, &status), &std::free);
    if (status != 0 || !readable) {
        return QByteArray(mangledName);
    }
    return QByteArray(readable.get());
}

} // namespace StringUtils
} // namespace Cobalt
