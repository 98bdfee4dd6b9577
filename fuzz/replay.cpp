// Runs every seed of a target's corpus through it: "fuzz_replay NAME DIR".
// A crash, a sanitizer report or a hang fails the test.
#include "target.h"

#include <QDirIterator>
#include <QFile>

#include <cstdio>
#include <cstring>

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: fuzz_replay TARGET CORPUS-DIR\n");
        return 2;
    }
    for (const auto &t : velotte::fuzz::targets()) {
        if (std::strcmp(t.name, argv[1]) != 0)
            continue;
        int runs = 0;
        QDirIterator it(QString::fromLocal8Bit(argv[2]), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            QFile f(it.next());
            if (!f.open(QIODevice::ReadOnly))
                return 1;
            t.run(f.readAll());
            ++runs;
        }
        std::printf("%s: %d inputs\n", t.name, runs);
        return runs > 0 ? 0 : 1; // an empty corpus tests nothing
    }
    std::fprintf(stderr, "no fuzz target %s\n", argv[1]);
    return 2;
}
