#include "platform/files_at.h"

#include "platform/ticks.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <system_error>
#include <thread>

namespace qdvm {

namespace {

HRESULT ResultOf(int error) {
    switch (error) {
        case 0:
            return S_OK;
        case ENOENT:
            return HResultFromWin32(ERROR_FILE_NOT_FOUND);
        case ENOTDIR:
        case ENAMETOOLONG:
            return HResultFromWin32(ERROR_PATH_NOT_FOUND);
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR:
            return E_ACCESSDENIED;
        case ENOMEM:
            return E_OUTOFMEMORY;
        default:
            return E_FAIL;
    }
}

// Owns an open file.
class Descriptor {
public:
    explicit Descriptor(int number) : descriptor(number) {}
    ~Descriptor() { (void)Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return descriptor; }
    bool IsOpen() const { return descriptor >= 0; }

    // Reports what a network file system may only tell here.
    bool Close() {
        const int closing = descriptor;
        descriptor = -1;
        return closing < 0 || close(closing) == 0;
    }

private:
    int descriptor;
};

int OpenFile(const std::string& path, int flags) {
    constexpr mode_t kEverybody = 0666;  // less what the user's mask takes away
    int descriptor = -1;
    do {
        descriptor = open(path.c_str(), flags | O_CLOEXEC, kEverybody);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

HRESULT ReadAll(int descriptor, std::vector<std::uint8_t>& contents) {
    constexpr std::size_t kStep = 1 << 16;
    std::size_t used = 0;
    for (;;) {
        if (contents.size() - used < kStep) {
            contents.resize(contents.size() + kStep + contents.size() / 2);
        }
        const ssize_t got = read(descriptor, contents.data() + used, contents.size() - used);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return ResultOf(errno);
        }
        if (got == 0) {
            contents.resize(used);
            return S_OK;
        }
        used += static_cast<std::size_t>(got);
    }
}

HRESULT WriteAll(int descriptor, std::span<const std::uint8_t> contents) {
    while (!contents.empty()) {
        const ssize_t put = write(descriptor, contents.data(), contents.size());
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put < 0) {
            return ResultOf(errno);
        }
        contents = contents.subspan(static_cast<std::size_t>(put));
    }
    return S_OK;
}

HRESULT WriteInPlace(const std::string& path, std::span<const std::uint8_t> contents) {
    Descriptor file(OpenFile(path, O_WRONLY));
    if (!file.IsOpen()) {
        return ResultOf(errno);
    }
    const HRESULT result = WriteAll(file.Get(), contents);
    return Failed(result) || file.Close() ? result : E_FAIL;
}

// The name behind all links, so that the file itself is replaced and not a link to it.
std::string ResolveLinks(const std::string& path) {
    char* const resolved = realpath(path.c_str(), nullptr);
    if (resolved == nullptr) {
        return path;
    }
    std::string result = resolved;
    std::free(resolved);
    return result;
}

std::string TemporaryNameFor(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    return path + "." + std::to_string(getpid()) + "-" + std::to_string(counter.fetch_add(1)) +
           ".tmp";
}

HRESULT WriteNewFile(const std::string& path, const struct stat* replaced,
                     std::span<const std::uint8_t> contents) {
    Descriptor file(OpenFile(path, O_WRONLY | O_CREAT | O_EXCL));
    if (!file.IsOpen()) {
        return ResultOf(errno);
    }
    if (replaced != nullptr) {
        (void)fchmod(file.Get(), replaced->st_mode & 07777);
    }
    HRESULT result = WriteAll(file.Get(), contents);
    // Before the file takes the name of the old one, or a crash could leave neither.
    if (Succeeded(result) && fsync(file.Get()) != 0) {
        result = ResultOf(errno);
    }
    return Failed(result) || file.Close() ? result : E_FAIL;
}

}  // namespace

HRESULT ReadFileAt(const std::string& path, std::vector<std::uint8_t>& contents) {
    contents.clear();
    Descriptor file(OpenFile(path, O_RDONLY));
    if (!file.IsOpen()) {
        return ResultOf(errno);
    }
    HRESULT result = E_OUTOFMEMORY;
    try {
        result = ReadAll(file.Get(), contents);
    } catch (const std::bad_alloc&) {
        result = E_OUTOFMEMORY;
    }
    if (Failed(result)) {
        contents.clear();
    }
    return result;
}

HRESULT ReplaceFileAt(const std::string& path, std::span<const std::uint8_t> contents) {
    const std::string target = ResolveLinks(path);
    struct stat status = {};
    const bool isThere = stat(target.c_str(), &status) == 0;
    if (isThere && S_ISDIR(status.st_mode)) {
        return E_ACCESSDENIED;
    }
    if (isThere && !S_ISREG(status.st_mode)) {
        return WriteInPlace(target, contents);
    }
    const std::string temporary = TemporaryNameFor(target);
    HRESULT result = WriteNewFile(temporary, isThere ? &status : nullptr, contents);
    if (Succeeded(result) && std::rename(temporary.c_str(), target.c_str()) != 0) {
        result = ResultOf(errno);
    }
    if (Failed(result)) {
        (void)unlink(temporary.c_str());
    }
    return result;
}

HRESULT TouchFileAt(const std::string& path) {
    const Descriptor file(OpenFile(path, O_RDWR | O_CREAT));
    return file.IsOpen() ? S_OK : ResultOf(errno);
}

bool IsFileAt(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

std::string WorkingDirectoryPath() {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::current_path(error);
    return error ? std::string() : path.string();
}

bool RegularFileSizeAt(const std::string& path, std::uint64_t* bytes) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    *bytes = static_cast<std::uint64_t>(status.st_size);
    return true;
}

HRESULT MakeDirectories(const std::string& path) {
    constexpr mode_t kOwnerOnly = 0700;
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string part = path.substr(0, end);
        if (mkdir(part.c_str(), kOwnerOnly) != 0 && errno != EEXIST) {
            return ResultOf(errno);
        }
        if (end == std::string::npos) {
            return S_OK;
        }
    }
}

std::string SettingsDirectory() {
    const auto variable = [](const char* name) {
        const char* const value = std::getenv(name);
        return std::string(value != nullptr ? value : "");
    };
    if (std::string given = variable("QDVM_SETTINGS_DIR"); !given.empty()) {
        return given;
    }
    // A relative directory there is to be passed over.
    if (std::string config = variable("XDG_CONFIG_HOME"); config.starts_with('/')) {
        return config;
    }
    const std::string home = variable("HOME");
    return home.empty() ? home : home + "/.config";
}

DirectoryTurn::~DirectoryTurn() {
    if (descriptor >= 0) {
        (void)close(descriptor);  // which also ends the turn
    }
}

HRESULT DirectoryTurn::Take(const std::string& directory) {
    constexpr std::uint32_t kLimitMs = 10000;
    descriptor = OpenFile(directory, O_RDONLY | O_DIRECTORY);
    if (descriptor < 0) {
        return ResultOf(errno);
    }
    // Asked again and again, since a wait for the lock itself would have no end if the process that
    // holds it has been halted.
    const std::uint32_t start = TickCountMs();
    while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return ResultOf(errno);
        }
        if (TickCountMs() - start > kLimitMs) {
            return HResultFromWin32(ERROR_SHARING_VIOLATION);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return S_OK;
}

}  // namespace qdvm
