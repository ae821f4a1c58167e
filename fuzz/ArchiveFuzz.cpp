// Stored archives come from disk and from older releases: any text must load without harm, and whatever
// loads must write out and load again to the same text.

#include "fuzz/FuzzTree.hpp"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Basalt::Archive archive;
    if (!archive.fromJson(QByteArray(reinterpret_cast<char const*>(data), static_cast<int>(size)))) {
        return 0;
    }
    FuzzSupport::Tree tree;
    tree.root.deserialize(archive.root());
    tree.root.isChanged();

    Basalt::Archive written;
    written.setRoot(tree.root.serialize(written));
    QByteArray const text = written.toJson();
    Basalt::Archive reread;
    if (!reread.fromJson(text) || reread.toJson() != text) {
        std::abort(); // what we write we must read back unchanged
    }
    return 0;
}
