// Runs a fuzz target over the files named on the command line, without the fuzzing engine: the test run
// replays every seed and every crash ever found this way.

#include <QByteArray>
#include <QFile>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        QFile file(QString::fromLocal8Bit(argv[i]));
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "cannot read %s\n", argv[i]);
            return 1;
        }
        QByteArray const input = file.readAll();
        LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(input.constData()),
                               static_cast<std::size_t>(input.size()));
    }
    std::printf("replayed %d inputs\n", argc - 1);
    return 0;
}
