#pragma once

#include "file_store.h"

#include <optional>
#include <unistd.h>

namespace verrabel {

/// Closes a descriptor when it goes out of scope.
class Descriptor {
public:
    explicit Descriptor(int fd)
        : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool valid() const { return m_fd >= 0; }

private:
    int m_fd;
};

/// The system's error `code`, described in the user's language.
[[nodiscard]] FileError systemError(int code);

/// Copies the entry `sourceName` of the open folder `sourceFolder` to the new name `targetName`
/// in `targetFolder`: a file with its data (cloned where the file system shares blocks, holes
/// kept as holes), a folder with everything in it, a symbolic link as a link; permissions and
/// times kept. Pipes, sockets and devices are refused without being opened. What a failed copy
/// made is left for the caller to remove.
[[nodiscard]] std::optional<FileError> copyTree(int sourceFolder, const char* sourceName,
                                                int targetFolder, const char* targetName);

/// Removes an entry and, for a folder, everything in it, without following links.
void removeTree(int folder, const char* name);

} // namespace verrabel
