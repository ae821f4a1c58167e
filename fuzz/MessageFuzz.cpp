// Messages arrive from other clients through the server: any bytes, under any identifier, must be read or
// dropped without harm. Input: one byte giving the identifier's length, the identifier, then the message.

#include "fuzz/FuzzTree.hpp"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    std::size_t const idLength = std::min<std::size_t>(data[0], size - 1);
    QByteArray const id(reinterpret_cast<char const*>(data + 1), static_cast<int>(idLength));
    QByteArray const bytes(reinterpret_cast<char const*>(data + 1 + idLength),
                           static_cast<int>(size - 1 - idLength));
    FuzzSupport::Tree tree;
    Cobalt::BinaryData message(bytes);
    tree.root.eventProcess(id, message);
    // The same message once more, as a value that repeats, then to every attribute by its own name.
    message.rewind();
    tree.root.eventProcess(id, message);
    for (auto const& entry : tree.root.attributes()) {
        Cobalt::BinaryData again(bytes);
        entry.second->eventProcess(QByteArray(), again);
    }
    return 0;
}
