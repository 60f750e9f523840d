// Copies one item into a folder with FileStore, as an import does; for timing beside cp.
// Usage: store_copy SOURCE FOLDER

#include "receiving/file_store.h"

#include <cstdio>

int main(int argc, char* argv[]) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: store_copy SOURCE FOLDER\n");
        return 2;
    }
    const auto result = verrabel::FileStore::copy(
        QUrl::fromLocalFile(QString::fromLocal8Bit(argv[1])), QString::fromLocal8Bit(argv[2]));
    if (result.error) {
        std::fprintf(stderr, "store_copy: %s\n", qPrintable(result.error->description));
        return 1;
    }
    return 0;
}
